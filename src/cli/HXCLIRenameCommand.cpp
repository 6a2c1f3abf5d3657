#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLITreeEditing.h"
#include "HXManagedObjectContext.h"
#include "HXRequestTreeItem.h"

// kea-cli rename FILE ITEM NEWNAME: renames a request or a folder.

namespace {

int runRename(const QStringList &arguments)
{
    if (arguments.size() != 3 || arguments.at(2).isEmpty())
        return HXCLI::usageError(QStringLiteral("usage: kea-cli rename FILE ITEM NEWNAME"));
    auto document = HXCLI::openDocumentOrReport(arguments.at(0), true);
    if (!document)
        return HXCLIExitUsage;
    QString error;
    HXRequestTreeItem *item = HXCLI::findItem(*document, arguments.at(1), error);
    if (item == nullptr)
        return HXCLI::usageError(QStringLiteral("rename: %1").arg(error));
    item->setName(arguments.at(2));
    document->managedObjectContext()->processPendingChanges();
    return HXCLI::saveDocumentOrReport(*document, arguments.at(0)) ? HXCLIExitSuccess : HXCLIExitUsage;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("rename"),
    QStringLiteral("rename FILE ITEM NEWNAME"),
    QStringLiteral("rename a request or a folder"),
    runRename,
    QStringLiteral("ITEM is a request (name, Folder/Name path or uuid) or a folder path; end it with / to\n"
                   "mean the folder when a request has the same path."),
});
