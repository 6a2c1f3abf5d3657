#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLITreeEditing.h"
#include "HXRequest.h"

// kea-cli dup FILE REQUEST...: duplicates requests, each right after itself.

namespace {

int runDuplicate(const QStringList &arguments)
{
    if (arguments.size() < 2)
        return HXCLI::usageError(QStringLiteral("usage: kea-cli dup FILE REQUEST..."));
    auto document = HXCLI::openDocumentOrReport(arguments.first(), true);
    if (!document)
        return HXCLIExitUsage;
    HXDocumentCommands::Selection items;
    QString error;
    for (const QString &reference : arguments.mid(1)) {
        HXRequest *request = HXCLI::findRequest(*document, reference, error);
        if (request == nullptr)
            return HXCLI::usageError(QStringLiteral("dup: %1").arg(error));
        items.append(request);
    }
    const QList<HXRequest *> copies = HXDocumentCommands::commandsForDocument(document.get())->duplicate(items);
    if (!HXCLI::saveDocumentOrReport(*document, arguments.first()))
        return HXCLIExitUsage;
    QString out;
    for (const HXRequest *copy : copies)
        out += QStringLiteral("%1  %2\n").arg(copy->uuid(), HXCLI::itemPath(copy));
    HXCLI::writeOut(out);
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("dup"),
    QStringLiteral("dup FILE REQUEST..."),
    QStringLiteral("duplicate requests (\"Name Duplicate\", \"Name Duplicate (2)\", ...) and print the copies"),
    runDuplicate,
    QStringLiteral("Each copy goes right after its request, with a new uuid; one line per copy: uuid and path."),
});
