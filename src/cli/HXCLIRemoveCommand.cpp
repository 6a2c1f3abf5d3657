#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLIPresenter.h"
#include "HXCLITreeEditing.h"

// kea-cli rm FILE ITEM... [--yes]: deletes requests and folders (with all
// they hold) after the application's question, which --yes answers.

namespace {

int runRemove(const QStringList &arguments)
{
    QStringList positional = arguments;
    const bool yes = positional.removeAll(QStringLiteral("--yes")) > 0;
    if (positional.size() < 2)
        return HXCLI::usageError(QStringLiteral("usage: kea-cli rm FILE ITEM... [--yes]"));
    const QString file = positional.takeFirst();
    auto document = HXCLI::openDocumentOrReport(file, true);
    if (!document)
        return HXCLIExitUsage;
    HXDocumentCommands::Selection items;
    QString error;
    if (!HXCLI::findItems(*document, positional, items, error))
        return HXCLI::usageError(QStringLiteral("rm: %1").arg(error));

    HXCLIPresenter presenter(yes);
    HXPresenter::setSharedPresenter(&presenter);
    HXDocumentCommands::commandsForDocument(document.get())->deleteRequest(items);
    HXPresenter::setSharedPresenter(nullptr);
    if (presenter.refusedConfirmation()) {
        HXCLI::writeErr(QStringLiteral("kea-cli: nothing was deleted; add --yes to delete\n"));
        return HXCLIExitFailure;
    }
    return HXCLI::saveDocumentOrReport(*document, file) ? HXCLIExitSuccess : HXCLIExitUsage;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("rm"),
    QStringLiteral("rm FILE ITEM... [--yes]"),
    QStringLiteral("delete requests and folders, with everything inside the folders"),
    runRemove,
    QStringLiteral("Prints the question the application asks (\"Delete one request?\" ...) and deletes only\n"
                   "with --yes; without it nothing changes and the exit status is 1."),
});
