#include "HXApplication.h"

#include "HXRequestEvaluationContext.h"
#include "HXUserDefaults.h"

HXApplication::HXApplication(int &argc, char **argv) : QApplication(argc, argv)
{
    setOrganizationName(QStringLiteral("kestrelworks"));
    setApplicationName(QStringLiteral("Kea"));
    setApplicationVersion(QStringLiteral(KEA_VERSION_STRING));
    setApplicationDisplayName(QStringLiteral("Kea"));
    HXUserDefaults::registerApplicationDefaults();
    HXRequestEvaluationContext::installDefaultContextFactory();
}
