#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXRequestGroup.h"
#include "HXRequestTreeItem.h"

namespace {

void appendTree(QString &out, const QList<HXRequestTreeItem *> &items, int depth)
{
    for (HXRequestTreeItem *item : items) {
        out += QString(depth * 2, u' ') + item->name();
        if (auto *folder = dynamic_cast<HXRequestGroup *>(item)) {
            out += QStringLiteral("/\n");
            appendTree(out, HXDocument::sortedItems(folder->children()), depth + 1);
        } else {
            out += u'\n';
        }
    }
}

int runList(const QStringList &arguments)
{
    if (arguments.size() != 1 || arguments.first().startsWith(u'-'))
        return HXCLI::usageError(QStringLiteral("usage: kea-cli list FILE"));
    auto document = HXCLI::openDocumentOrReport(arguments.first());
    if (!document)
        return HXCLIExitUsage;
    QString out;
    appendTree(out, document->topLevelItems(), 0);
    HXCLI::writeOut(out);
    return HXCLIExitSuccess;
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("list"), QStringLiteral("list FILE"),
     QStringLiteral("print the request tree: folders and requests in order, indented"), runList});

} // namespace
