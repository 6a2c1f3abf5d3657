#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXManagedObjectContext.h"
#include "HXRequestGroup.h"

// kea-cli mkdir FILE PATH: makes a folder (and the folders on the way).

namespace {

int runMkdir(const QStringList &arguments)
{
    if (arguments.size() != 2 || arguments.at(1).split(u'/', Qt::SkipEmptyParts).isEmpty())
        return HXCLI::usageError(QStringLiteral("usage: kea-cli mkdir FILE PATH"));
    auto document = HXCLI::openDocumentOrReport(arguments.first(), true);
    if (!document)
        return HXCLIExitUsage;
    HXRequestGroup *folder = HXCLI::findFolder(*document, arguments.at(1), true);
    document->managedObjectContext()->processPendingChanges();
    if (!HXCLI::saveDocumentOrReport(*document, arguments.first()))
        return HXCLIExitUsage;
    HXCLI::writeOut(HXCLI::itemPath(folder) + u'\n');
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("mkdir"),
    QStringLiteral("mkdir FILE PATH"),
    QStringLiteral("make a folder such as 'Accounts/Uploads' (missing folders on the way too)"),
    runMkdir,
    QStringLiteral("New folders go last among their siblings; an existing folder is left as it is."),
});
