#include "HXApplication.h"
#include "HXApplicationInstance.h"
#include "HXDocumentWindow.h"
#include "HXWindowDesktopServices.h"
#include "HXWindowManager.h"

int main(int argc, char *argv[])
{
    if (const std::optional<int> status = HXApplicationInstance::runBeforeApplication(argc, argv))
        return *status;
    HXApplication app(argc, argv, true);
    HXWindowDesktopServices desktopServices;
    HXDesktopServices::setSharedServices(&desktopServices);
    HXApplicationInstance instance;
    instance.setFileOpener([](const QString &path) -> HXDocument * {
        HXDocumentWindow *window = HXWindowManager::openFile(path);
        return window ? window->document() : nullptr;
    });
    instance.setUntitledDocumentMaker([]() -> HXDocument * {
        HXDocumentWindow *window = HXWindowManager::newDocument();
        return window ? window->document() : nullptr;
    });
    instance.listen();
    instance.openArguments(HXApplicationInstance::documentArguments(HXApplication::arguments().mid(1)));
    if (HXWindowManager::windows().isEmpty())
        HXWindowManager::newDocument();
    return HXApplication::exec();
}
