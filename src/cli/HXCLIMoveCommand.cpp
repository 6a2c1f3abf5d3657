#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLITreeEditing.h"
#include "HXRequestGroup.h"

// kea-cli mv FILE ITEM... (--into FOLDER | --top | --before SIBLING | --after SIBLING)

namespace {

const QString usage =
    QStringLiteral("usage: kea-cli mv FILE ITEM... (--into FOLDER | --top | --before SIBLING | --after SIBLING)");

int runMove(const QStringList &arguments)
{
    QStringList positional;
    QString place;
    QString target;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == u"--top") {
            place = argument;
        } else if (argument == u"--into" || argument == u"--before" || argument == u"--after") {
            if (i + 1 >= arguments.size())
                return HXCLI::usageError(QStringLiteral("%1 needs an item").arg(argument));
            place = argument;
            target = arguments.at(++i);
        } else if (argument.startsWith(u"--")) {
            return HXCLI::usageError(QStringLiteral("mv: unknown option '%1'").arg(argument));
        } else {
            positional.append(argument);
        }
    }
    if (positional.size() < 2 || place.isEmpty())
        return HXCLI::usageError(usage);
    const QString file = positional.takeFirst();
    auto document = HXCLI::openDocumentOrReport(file, true);
    if (!document)
        return HXCLIExitUsage;
    HXDocumentCommands::Selection items;
    QString error;
    if (!HXCLI::findItems(*document, positional, items, error))
        return HXCLI::usageError(QStringLiteral("mv: %1").arg(error));

    HXRequestGroup *parent = nullptr;
    qsizetype index = -1;
    if (place == u"--into") {
        parent = HXCLI::findFolder(*document, target, false);
        if (parent == nullptr)
            return HXCLI::usageError(QStringLiteral("mv: no folder '%1'").arg(target));
    } else if (place != u"--top") {
        HXRequestTreeItem *sibling = HXCLI::findItem(*document, target, error);
        if (sibling == nullptr)
            return HXCLI::usageError(QStringLiteral("mv: %1").arg(error));
        if (items.contains(sibling))
            return HXCLI::usageError(QStringLiteral("mv: cannot place an item next to itself"));
        parent = sibling->parent();
        QList<HXRequestTreeItem *> siblings =
            parent != nullptr ? HXDocument::sortedItems(parent->children()) : document->topLevelItems();
        siblings.removeIf([&items](HXRequestTreeItem *item) { return items.contains(item); });
        index = siblings.indexOf(sibling) + (place == u"--after" ? 1 : 0);
    }
    if (!HXDocumentCommands::commandsForDocument(document.get())->moveRequestTreeItems(items, parent, index))
        return HXCLI::usageError(QStringLiteral("mv: a folder cannot go into itself"));
    return HXCLI::saveDocumentOrReport(*document, file) ? HXCLIExitSuccess : HXCLIExitUsage;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("mv"),
    QStringLiteral("mv FILE ITEM... (--into FOLDER | --top | --before SIBLING | --after SIBLING)"),
    QStringLiteral("move requests and folders into a folder, to the top level, or next to another item"),
    runMove,
    QStringLiteral("Options:\n"
                   "  --into FOLDER      last in that folder\n"
                   "  --top              last at the top level\n"
                   "  --before SIBLING   just before that request or folder, in its folder\n"
                   "  --after SIBLING    just after it\n"),
});
