#include "HXApplication.h"

#include <QMainWindow>

int main(int argc, char *argv[])
{
    HXApplication app(argc, argv);
    QMainWindow window;
    window.setWindowTitle(QObject::tr("Kea"));
    window.resize(1100, 720);
    window.show();
    return app.exec();
}
