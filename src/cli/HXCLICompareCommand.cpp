// kea-cli compare: sends one request of a document through each engine in
// turn, as the application would send it, and prints what came back side by
// side: status, every header field as received, a digest of the body and the
// timings. A "*" in the first column marks a row where the engines differ
// (timings, which always do, are not marked).

#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLIEngineOption.h"
#include "HXCLIPresenter.h"
#include "HXRequest.h"
#include "HXRequestHandler.h"
#include "HXResponse.h"
#include "HXUserDefaults.h"

#include <QCryptographicHash>
#include <QEventLoop>

namespace {

const char compareUsage[] = "compare FILE REQUEST [--env NAME] [--insecure]";

// What one engine brought back.
struct Outcome
{
    QString engineName;
    QString status; // the status line, or "failed: <why>"
    QList<std::pair<QString, QString>> headers;
    QString body; // "<length> bytes, sha256 <first 16 hex digits>"
    QString responseTime;
    QString totalTime;
    bool failed = false;
};

// Server text as it may appear on a terminal: control characters become "?".
QString printable(const QString &text)
{
    QString result = text;
    for (QChar &c : result) {
        if (c.category() == QChar::Other_Control || c.category() == QChar::Other_Format)
            c = u'?';
    }
    return result;
}

Outcome sendThrough(HXRequestHandler *handler, HXRequest *request, const QString &identifier)
{
    Outcome outcome;
    outcome.engineName = HXHTTPRequest::HTTPLibrary(identifier).localizedName();
    HXUserDefaults::standardUserDefaults().setVolatileObject(identifier, QStringLiteral("HXUserDefaultHTTPLibrary"));
    QEventLoop loop;
    const QMetaObject::Connection received =
        QObject::connect(handler, &HXRequestHandler::requestDidReceiveNewResponse, handler,
                         [&](HXRequest *, const std::shared_ptr<HXResponse> &response) {
                             const QByteArray body = response->bodyData();
                             outcome.status = printable(response->statusLine());
                             outcome.headers = response->headers();
                             outcome.body =
                                 QStringLiteral("%1 bytes, sha256 %2")
                                     .arg(body.size())
                                     .arg(QString::fromLatin1(
                                         QCryptographicHash::hash(body, QCryptographicHash::Sha256).toHex().left(16)));
                             outcome.responseTime = HXResponse::downloadTimeString(response->responseTime());
                             outcome.totalTime = response->downloadTimeString();
                         });
    const QMetaObject::Connection failed = QObject::connect(
        handler, &HXRequestHandler::requestDidFail, handler, [&](HXRequest *, const HXError &error, const QString &) {
            outcome.failed = true;
            outcome.status = QStringLiteral("failed: ") + printable(error.description);
        });
    const QMetaObject::Connection idle =
        QObject::connect(handler, &HXRequestHandler::idle, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    handler->sendRequests({request});
    if (handler->isBusy())
        loop.exec();
    QObject::disconnect(received);
    QObject::disconnect(failed);
    QObject::disconnect(idle);
    return outcome;
}

// One row: a label and a cell per engine, marked when the cells differ.
QString row(const QString &label, const QStringList &cells, int width, bool markDifferences)
{
    bool differs = false;
    for (const QString &cell : cells)
        differs |= cell != cells.first();
    QString line = (markDifferences && differs ? QStringLiteral("* ") : QStringLiteral("  ")) +
                   label.leftJustified(22, u' ', true);
    for (const QString &cell : cells) {
        const QString shown = cell.size() > width ? cell.left(width - 3) + QStringLiteral("...") : cell;
        line += QStringLiteral(" | ") + shown.leftJustified(width);
    }
    while (line.endsWith(u' '))
        line.chop(1);
    return line + u'\n';
}

int runCompare(const QStringList &arguments)
{
    QString file;
    QString reference;
    QString environmentName;
    bool insecure = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == u"--insecure")
            insecure = true;
        else if (argument == u"--env" && i + 1 < arguments.size())
            environmentName = arguments.at(++i);
        else if (argument.startsWith(u'-') && argument != u"-")
            return HXCLI::usageError(QStringLiteral("compare: unknown option %1\nusage: kea-cli %2")
                                         .arg(argument, QLatin1String(compareUsage)));
        else if (file.isEmpty())
            file = argument;
        else if (reference.isEmpty())
            reference = argument;
        else
            return HXCLI::usageError(QStringLiteral("compare: one request at a time"));
    }
    if (file.isEmpty() || reference.isEmpty())
        return HXCLI::usageError(QStringLiteral("usage: kea-cli ") + QLatin1String(compareUsage));

    std::unique_ptr<HXDocument> document = HXCLI::openDocumentOrReport(file);
    if (!document)
        return HXCLIExitUsage;
    if (!HXCLI::useEnvironmentOrReport(*document, environmentName, QStringLiteral("compare"), file))
        return HXCLIExitUsage;
    QString error;
    HXRequest *request = HXCLI::findRequest(*document, reference, error);
    if (request == nullptr)
        return HXCLI::usageError(QStringLiteral("compare: %1").arg(error));

    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    if (insecure)
        defaults.setVolatileObject(false, QStringLiteral("HXUserDefaultValidateSSLCertificates"));
    HXCLIPresenter presenter;
    HXPresenter::setSharedPresenter(&presenter);
    QList<Outcome> outcomes;
    for (const auto &[name, identifier] : HXCLIEngineOption::namesAndIdentifiers())
        outcomes.append(sendThrough(document->requestHandler(), request, identifier));
    HXPresenter::setSharedPresenter(nullptr);

    const int width = 30;
    QStringList names;
    QStringList statuses;
    QStringList bodies;
    QStringList responseTimes;
    QStringList totalTimes;
    // Header names in the order first seen, compared ignoring case.
    QStringList headerNames;
    for (const Outcome &outcome : std::as_const(outcomes)) {
        names.append(outcome.engineName);
        statuses.append(outcome.status);
        bodies.append(outcome.failed ? QString() : outcome.body);
        responseTimes.append(outcome.responseTime);
        totalTimes.append(outcome.totalTime);
        for (const auto &[name, value] : outcome.headers) {
            if (!headerNames.contains(name, Qt::CaseInsensitive))
                headerNames.append(name);
        }
    }
    QString table = QStringLiteral("== %1\n").arg(printable(request->name()));
    table += row(QString(), names, width, false);
    table += row(QStringLiteral("status"), statuses, width, true);
    for (const QString &name : std::as_const(headerNames)) {
        QStringList values;
        for (const Outcome &outcome : std::as_const(outcomes)) {
            QStringList found;
            for (const auto &[field, value] : outcome.headers) {
                if (field.compare(name, Qt::CaseInsensitive) == 0)
                    found.append(printable(value));
            }
            values.append(found.isEmpty() ? QStringLiteral("-") : found.join(QStringLiteral(", ")));
        }
        table += row(printable(name), values, width, true);
    }
    table += row(QStringLiteral("body"), bodies, width, true);
    table += row(QStringLiteral("response time"), responseTimes, width, false);
    table += row(QStringLiteral("total time"), totalTimes, width, false);
    HXCLI::writeOut(table);

    bool same = true;
    for (const Outcome &outcome : std::as_const(outcomes))
        same &= !outcome.failed && outcome.status.section(u' ', 1, 1) == outcomes.first().status.section(u' ', 1, 1) &&
                outcome.body == outcomes.first().body;
    return same ? HXCLIExitSuccess : HXCLIExitFailure;
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("compare"), QString::fromLatin1(compareUsage),
     QStringLiteral("send one request through each engine in turn and show the responses side by side"), runCompare});

} // namespace
