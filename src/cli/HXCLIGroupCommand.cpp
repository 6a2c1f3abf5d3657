#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLITreeEditing.h"
#include "HXRequestGroup.h"

// kea-cli group FILE ITEM...: moves the items into a new folder.

namespace {

int runGroup(const QStringList &arguments)
{
    if (arguments.size() < 2)
        return HXCLI::usageError(QStringLiteral("usage: kea-cli group FILE ITEM..."));
    auto document = HXCLI::openDocumentOrReport(arguments.first(), true);
    if (!document)
        return HXCLIExitUsage;
    HXDocumentCommands::Selection items;
    QString error;
    if (!HXCLI::findItems(*document, arguments.mid(1), items, error))
        return HXCLI::usageError(QStringLiteral("group: %1").arg(error));
    HXRequestGroup *folder = HXDocumentCommands::commandsForDocument(document.get())->groupRequestTreeItems(items);
    if (!HXCLI::saveDocumentOrReport(*document, arguments.first()))
        return HXCLIExitUsage;
    HXCLI::writeOut(HXCLI::itemPath(folder) + u'\n');
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("group"),
    QStringLiteral("group FILE ITEM..."),
    QStringLiteral("move requests and folders into a new folder and print its path"),
    runGroup,
    QStringLiteral("The folder takes the place after the last item and is named after the first three items\n"
                   "(\"a, b, c\", or \"a, b, c...\" for more)."),
});
