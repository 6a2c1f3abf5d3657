#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLITreeEditing.h"
#include "HXMemoryPasteboard.h"
#include "HXPasteboardManagement.h"
#include "HXRequestGroup.h"

// kea-cli cp FILE ITEM OTHERFILE [--folder PATH]: copies a request or a
// folder into another document through the clipboard's archive form, as
// pasting between two windows does.

namespace {

int runCopy(const QStringList &arguments)
{
    QStringList positional;
    QString folderPath;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == u"--folder" && i + 1 < arguments.size())
            folderPath = arguments.at(++i);
        else if (arguments.at(i).startsWith(u"--"))
            return HXCLI::usageError(QStringLiteral("cp: unknown option '%1'").arg(arguments.at(i)));
        else
            positional.append(arguments.at(i));
    }
    if (positional.size() != 3)
        return HXCLI::usageError(QStringLiteral("usage: kea-cli cp FILE ITEM OTHERFILE [--folder PATH]"));
    auto source = HXCLI::openDocumentOrReport(positional.at(0), positional.at(2) == positional.at(0));
    if (!source)
        return HXCLIExitUsage;
    QString error;
    HXRequestTreeItem *item = HXCLI::findItem(*source, positional.at(1), error);
    if (item == nullptr)
        return HXCLI::usageError(QStringLiteral("cp: %1").arg(error));
    HXMemoryPasteboard pasteboard;
    pasteboard.writeObjects({HXPasteboardManagement::pasteboardItemForObject(item)});

    std::unique_ptr<HXDocument> target =
        positional.at(2) == positional.at(0) ? std::move(source) : HXCLI::openDocumentOrReport(positional.at(2), true);
    if (!target)
        return HXCLIExitUsage;
    HXDocumentCommands::Selection place;
    if (!folderPath.isEmpty())
        place.append(HXCLI::findFolder(*target, folderPath, true));
    HXDocumentCommands *commands = HXDocumentCommands::commandsForDocument(target.get());
    commands->setPasteboard(&pasteboard);
    const QList<HXRequestTreeItem *> pasted = commands->paste(place);
    if (pasted.isEmpty())
        return HXCLI::usageError(QStringLiteral("cp: nothing could be copied"));
    if (!HXCLI::saveDocumentOrReport(*target, positional.at(2)))
        return HXCLIExitUsage;
    HXCLI::writeOut(HXCLI::itemPath(pasted.first()) + u'\n');
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("cp"),
    QStringLiteral("cp FILE ITEM OTHERFILE [--folder PATH]"),
    QStringLiteral("copy a request or a folder (with all it holds) into another document"),
    runCopy,
    QStringLiteral("The copy goes last at the top level, or first in --folder (created when missing).\n"
                   "Copied requests get new uuids. OTHERFILE may be FILE itself."),
});
