#include "HXApplication.h"
#include "HXApplicationInstance.h"

#include <QMainWindow>

int main(int argc, char *argv[])
{
    if (const std::optional<int> status = HXApplicationInstance::runBeforeApplication(argc, argv))
        return *status;
    HXApplication app(argc, argv);
    HXApplicationInstance instance;
    instance.listen();
    QMainWindow window;
    window.setWindowTitle(QObject::tr("Kea"));
    window.resize(1100, 720);
    window.show();
    instance.openArguments(HXApplicationInstance::documentArguments(app.arguments().mid(1)));
    return app.exec();
}
