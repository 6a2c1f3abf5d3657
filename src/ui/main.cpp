#include "HXApplication.h"

int main(int argc, char *argv[])
{
    HXApplication app(argc, argv);
    QStringList paths = HXApplication::arguments().mid(1);
    paths.removeIf([](const QString &argument) { return argument.startsWith(u'-'); });
    app.openInitialWindows(paths);
    return HXApplication::exec();
}
