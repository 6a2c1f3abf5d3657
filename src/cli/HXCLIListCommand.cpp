#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXDynamicStringTextFormat.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXRequestTreeItem.h"

namespace {

// With `details`, each request's line goes on with its method, its URL in
// the readable token form and its uuid, separated by two blanks.
void appendTree(QString &out, const QList<HXRequestTreeItem *> &items, int depth, bool details)
{
    for (HXRequestTreeItem *item : items) {
        out += QString(depth * 2, u' ') + item->name();
        if (auto *folder = dynamic_cast<HXRequestGroup *>(item)) {
            out += QStringLiteral("/\n");
            appendTree(out, HXDocument::sortedItems(folder->children()), depth + 1, details);
        } else {
            if (auto *request = dynamic_cast<HXRequest *>(item); request != nullptr && details)
                out += QStringLiteral("  %1 %2  %3")
                           .arg(request->method(),
                                HXDynamicStringTextFormat::stringFromArchivedString(
                                    request->url(), {request->managedObjectContext(), QString()}),
                                request->uuid());
            out += u'\n';
        }
    }
}

int runList(const QStringList &arguments)
{
    QStringList files = arguments;
    const bool details = files.removeAll(QStringLiteral("--long")) > 0;
    if (files.size() != 1 || files.first().startsWith(u'-'))
        return HXCLI::usageError(QStringLiteral("usage: kea-cli list [--long] FILE"));
    auto document = HXCLI::openDocumentOrReport(files.first());
    if (!document)
        return HXCLIExitUsage;
    QString out;
    appendTree(out, document->topLevelItems(), 0, details);
    HXCLI::writeOut(out);
    return HXCLIExitSuccess;
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("list"), QStringLiteral("list FILE | list --long FILE"),
     QStringLiteral("print the request tree: folders and requests in order, indented; --long adds each "
                    "request's method, URL (tokens in their readable form) and uuid"),
     runList});

} // namespace
