#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLIPresenter.h"
#include "HXDocumentCommands.h"
#include "HXRequest.h"
#include "HXRequestHandler.h"
#include "HXResponseManager.h"

#include <QEventLoop>
#include <QUrl>

// kea-cli url FILE URL [--new]: applies a kea:// link to the document, as
// the application does when it opens one: "/requests/new?url=...&method=...
// &headers=...&name=...&body=...&bodyType=form|multipart&send" adds a
// request (and sends it with "send"). With --new the document is treated as
// opened just for the link: its requests are replaced by the new one.

namespace {

int runURL(const QStringList &arguments)
{
    QStringList positional = arguments;
    const bool isNew = positional.removeAll(QStringLiteral("--new")) > 0;
    if (positional.size() != 2)
        return HXCLI::usageError(QStringLiteral("usage: kea-cli url FILE URL [--new]"));
    const QUrl url(positional.at(1), QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != u"kea")
        return HXCLI::usageError(QStringLiteral("url: '%1' is not a kea:// link").arg(positional.at(1)));
    auto document = HXCLI::openDocumentOrReport(positional.at(0), true);
    if (!document)
        return HXCLIExitUsage;
    HXCLI::restoreSelectedEnvironment(*document);
    HXCLIPresenter presenter;
    HXPresenter::setSharedPresenter(&presenter);
    HXResponseManager::sharedManager();
    HXDocumentCommands *commands = HXDocumentCommands::commandsForDocument(document.get());
    HXRequest *added = nullptr;
    QObject::connect(commands, &HXDocumentCommands::selectItems, commands,
                     [&added](const QList<HXRequestTreeItem *> &items, HXRequestGroup *) {
                         if (items.size() == 1)
                             added = dynamic_cast<HXRequest *>(items.first());
                     });
    if (!commands->handleURL(url, isNew)) {
        HXPresenter::setSharedPresenter(nullptr);
        return HXCLI::usageError(QStringLiteral("url: unknown action '%1'").arg(url.path()));
    }
    HXRequestHandler *handler = document->requestHandler();
    if (handler->isBusy()) {
        QEventLoop loop;
        QObject::connect(handler, &HXRequestHandler::idle, &loop, &QEventLoop::quit, Qt::QueuedConnection);
        loop.exec();
        HXResponseManager::sharedManager()->saveUpdates();
    }
    HXPresenter::setSharedPresenter(nullptr);
    if (!HXCLI::saveDocumentOrReport(*document, positional.at(0)))
        return HXCLIExitUsage;
    if (added != nullptr)
        HXCLI::writeOut(added->uuid() + u'\n');
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("url"),
    QStringLiteral("url FILE URL [--new]"),
    QStringLiteral("apply a kea:// link (/requests/new, /requests/current/send) to a document"),
    runURL,
    QStringLiteral("Example:\n"
                   "  kea-cli url api.kea 'kea://current.document/requests/new?method=post&url=http://h/x"
                   "&body=a%3D1&bodyType=form&name=Post'\n"
                   "Prints the new request's uuid. \"send\" in the query sends it at once."),
});
