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
    QString error;
    HXRequest *request = HXCLI::findRequest(*document, positional.at(1), error);
    if (request == nullptr)
        return HXCLI::usageError(QStringLiteral("responses: %1").arg(error));

    const QList<std::shared_ptr<HXResponse>> responses =
        HXResponseManager::sharedManager()->responsesForRequestUUID(request->uuid());
    if (show > 0) {
        if (show > responses.size())
            return HXCLI::usageError(QStringLiteral("responses: '%1' has %2 stored response(s); there is no number %3")
                                         .arg(HXCLI::itemPath(request))
                                         .arg(responses.size())
                                         .arg(show));
        const std::shared_ptr<HXResponse> &response = responses.at(show - 1);
        HXCLI::writeServerText(response->headersData());
        HXCLI::writeServerBody(response->bodyData());
        return HXCLIExitSuccess;
    }
    if (responses.isEmpty()) {
        HXCLI::writeErr(
            QStringLiteral("kea-cli: responses: no stored responses for '%1'\n").arg(HXCLI::itemPath(request)));
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
