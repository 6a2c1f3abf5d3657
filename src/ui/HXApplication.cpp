#include "HXApplication.h"

#include "HXCompletionManager.h"
#include "HXRequestEvaluationContext.h"
#include "HXUserDefaults.h"

#include <QIcon>

HXApplication::HXApplication(int &argc, char **argv) : QApplication(argc, argv)
{
    setOrganizationName(QStringLiteral("kestrelworks"));
    setApplicationName(QStringLiteral("Kea"));
    setApplicationVersion(QStringLiteral(KEA_VERSION_STRING));
    setApplicationDisplayName(QStringLiteral("Kea"));
    setDesktopFileName(QStringLiteral("com.kestrelworks.Kea"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/kea.svg")));
    HXUserDefaults::registerApplicationDefaults();
    HXRequestEvaluationContext::installDefaultContextFactory();
    HXCompletionManager::sharedCompletionManager(); // requests learn the headers they send
}
