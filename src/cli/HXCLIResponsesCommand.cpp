// kea-cli responses: the responses stored for one request of a document,
// newest first; --show N prints the Nth as received (head, then body).

#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXResponse.h"
#include "HXResponseManager.h"

namespace {

const char responsesUsage[] = "usage: kea-cli responses FILE REQUEST [--show N]";

// "Folder/Sub/Name" of a tree item.
QString itemPath(const HXRequestTreeItem *item)
{
    QStringList names;
    for (; item != nullptr; item = item->parent())
        names.prepend(item->name());
    return names.join(u'/');
}

void collectRequests(const QList<HXRequestTreeItem *> &items, QList<HXRequest *> &requests)
{
    for (HXRequestTreeItem *item : items) {
        if (auto *folder = dynamic_cast<HXRequestGroup *>(item))
            collectRequests(HXDocument::sortedItems(folder->children()), requests);
        else if (auto *request = dynamic_cast<HXRequest *>(item))
            requests.append(request);
    }
}

// The request named by its uuid, its path in the tree, or its name when only
// one request has it. Reports on stderr and returns null otherwise.
HXRequest *findRequest(const HXDocument &document, const QString &reference)
{
    QList<HXRequest *> requests;
    collectRequests(document.topLevelItems(), requests);
    QList<HXRequest *> byName;
    for (HXRequest *request : std::as_const(requests)) {
        if (request->uuid() == reference || itemPath(request) == reference)
            return request;
        if (request->name() == reference)
            byName.append(request);
    }
    if (byName.size() == 1)
        return byName.first();
    if (byName.isEmpty()) {
        HXCLI::usageError(QStringLiteral("responses: no request '%1' in %2 (name it by its path, e.g. "
                                         "'Folder/Name', or by its uuid)")
                              .arg(reference, document.fileName()));
    } else {
        QStringList paths;
        for (HXRequest *request : std::as_const(byName))
            paths.append(QStringLiteral("  %1  %2").arg(request->uuid(), itemPath(request)));
        HXCLI::usageError(
            QStringLiteral("responses: several requests are named '%1'; name one by its path or uuid:\n%2")
                .arg(reference, paths.join(u'\n')));
    }
    return nullptr;
}

QString timeText(double seconds)
{
    return HXResponse::downloadTimeString(seconds);
}

int runResponses(const QStringList &arguments)
{
    QStringList positional;
    int show = 0;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == u"--show") {
            bool ok = false;
            show = i + 1 < arguments.size() ? arguments.at(i + 1).toInt(&ok) : 0;
            if (!ok || show < 1)
                return HXCLI::usageError(QStringLiteral("responses: --show takes a number from 1 (the newest)"));
            ++i;
        } else if (arguments.at(i).startsWith(u'-') && arguments.at(i) != u"-") {
            return HXCLI::usageError(QString::fromLatin1(responsesUsage));
        } else {
            positional.append(arguments.at(i));
        }
    }
    if (positional.size() != 2)
        return HXCLI::usageError(QString::fromLatin1(responsesUsage));
    auto document = HXCLI::openDocumentOrReport(positional.at(0));
    if (!document)
        return HXCLIExitUsage;
    HXRequest *request = findRequest(*document, positional.at(1));
    if (request == nullptr)
        return HXCLIExitUsage;

    const QList<std::shared_ptr<HXResponse>> responses =
        HXResponseManager::sharedManager()->responsesForRequestUUID(request->uuid());
    if (show > 0) {
        if (show > responses.size())
            return HXCLI::usageError(QStringLiteral("responses: '%1' has %2 stored response(s); there is no number %3")
                                         .arg(itemPath(request))
                                         .arg(responses.size())
                                         .arg(show));
        const std::shared_ptr<HXResponse> &response = responses.at(show - 1);
        HXCLI::writeOut(response->headersData());
        HXCLI::writeOut(response->bodyData());
        return HXCLIExitSuccess;
    }
    if (responses.isEmpty()) {
        HXCLI::writeErr(QStringLiteral("kea-cli: responses: no stored responses for '%1'\n").arg(itemPath(request)));
        return HXCLIExitSuccess;
    }
    QString out = QStringLiteral("#   Date                 Status                      Response    Download\n");
    for (qsizetype i = 0; i < responses.size(); ++i) {
        const HXResponse &response = *responses.at(i);
        const QString status = response.statusCode() > 0
                                   ? QStringLiteral("%1 %2").arg(response.statusCode()).arg(response.statusString())
                                   : QStringLiteral("-");
        out += QStringLiteral("%1 %2  %3 %4 %5\n")
                   .arg(i + 1, -3)
                   .arg(response.date().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")), -19)
                   .arg(status, -27)
                   .arg(timeText(response.responseTime()), -11)
                   .arg(timeText(response.downloadTime()));
    }
    HXCLI::writeOut(out);
    return HXCLIExitSuccess;
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("responses"), QStringLiteral("responses FILE REQUEST [--show N]"),
     QStringLiteral("list the stored responses of a request (newest first: date, status, response and download "
                    "time); --show N prints the Nth as received"),
     runResponses});

} // namespace
