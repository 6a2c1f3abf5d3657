// kea-cli send: sends requests of a document through the request handler,
// one at a time as the application does, records every response in the
// shared response store and prints what came back.

#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLIEngineOption.h"
#include "HXCLIPresenter.h"
#include "HXCLIRunReport.h"
#include "HXCompletionManager.h"
#include "HXDocumentCommands.h"
#include "HXEnvironment.h"
#include "HXHTTPEngineThread.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXRequestHandler.h"
#include "HXResponse.h"
#include "HXResponseManager.h"
#include "HXUserDefaults.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QHash>

#include <cmath>
#include <optional>

namespace {

const char sendUsage[] =
    "usage: kea-cli send FILE [REQUEST...] [--all] [--env NAME] [--insecure] [--fail] [--bail] [--timeout S] "
    "[--report junit|json FILE] [--engine own|libcurl|qt] [--quiet|--include|--verbose]";

const char sendSynopsis[] = "send FILE [REQUEST...] [--all] [--env NAME] [--insecure] [--fail] [--bail] [--timeout S] "
                            "[--report junit|json FILE] [--engine own|libcurl|qt] [--quiet|--include|--verbose]";

struct ReportRequest
{
    QString format; // "junit" or "json"
    QString path;
};

enum class Detail { Quiet, Normal, Include, Verbose };

QByteArray printableBody(const HXResponse &response)
{
    const QByteArray body = response.bodyData();
    if (body.isEmpty())
        return body;
    const auto chosen = HXResponse::userDefaultBodyTextTypeForContentType(response.MIMEType());
    const HXResponse::BodyTextType type = chosen.value_or(response.defaultBodyTextType());
    QString pretty;
    if (type == HXResponse::BodyTextTypeJSON)
        pretty = response.bodyStringAsJSON();
    else if (type == HXResponse::BodyTextTypeXML)
        pretty = response.bodyStringAsXML();
    if (pretty.isEmpty())
        return body.endsWith('\n') ? body : body + '\n';
    return pretty.toUtf8() + '\n';
}

int runSend(const QStringList &arguments)
{
    // A run of a document's requests goes faster with the own engine on
    // this thread: no window waits on it, and handing each request to
    // another thread and back costs more than a small request itself. A
    // single fetch keeps the engine's own thread, where large TLS bodies
    // came in faster.
    HXHTTPEngineThread::useCallingThread();
    QString file;
    QStringList references;
    QString environmentName;
    bool all = false;
    bool insecure = false;
    bool failOnHTTPError = false;
    bool bail = false;
    std::optional<double> timeout;
    QList<ReportRequest> reports;
    QString engine;
    Detail detail = Detail::Normal;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == u"--all")
            all = true;
        else if (argument == u"--insecure")
            insecure = true;
        else if (argument == u"--fail")
            failOnHTTPError = true;
        else if (argument == u"--bail")
            bail = true;
        else if (argument == u"--timeout" && i + 1 < arguments.size()) {
            bool ok = false;
            const double seconds = arguments.at(++i).toDouble(&ok);
            if (!ok || !std::isfinite(seconds) || seconds <= 0)
                return HXCLI::usageError(
                    QStringLiteral("send: --timeout takes a number of seconds above 0, not '%1'").arg(arguments.at(i)));
            timeout = seconds;
        } else if (argument == u"--report" && i + 2 < arguments.size()) {
            const QString format = arguments.at(++i);
            if (format != u"junit" && format != u"json")
                return HXCLI::usageError(QStringLiteral("send: --report is junit or json, not '%1'").arg(format));
            reports.append({format, arguments.at(++i)});
        } else if (argument == u"--quiet")
            detail = Detail::Quiet;
        else if (argument == u"--include")
            detail = Detail::Include;
        else if (argument == u"--verbose")
            detail = Detail::Verbose;
        else if (argument == u"--engine" && i + 1 < arguments.size()) {
            engine = HXCLIEngineOption::identifierForName(arguments.at(++i));
            if (engine.isNull())
                return HXCLI::usageError(QStringLiteral("send: --engine is ") + HXCLIEngineOption::choices());
        } else if (argument == u"--env" && i + 1 < arguments.size())
            environmentName = arguments.at(++i);
        else if (argument.startsWith(u'-') && argument != u"-")
            return HXCLI::usageError(
                QStringLiteral("send: unknown option %1\n%2").arg(argument, QLatin1String(sendUsage)));
        else if (file.isEmpty())
            file = argument;
        else
            references.append(argument);
    }
    if (file.isEmpty() || (references.isEmpty() && !all) || (all && !references.isEmpty()))
        return HXCLI::usageError(QLatin1String(sendUsage));

    std::unique_ptr<HXDocument> document = HXCLI::openDocumentOrReport(file);
    if (!document)
        return HXCLIExitUsage;
    if (!HXCLI::useEnvironmentOrReport(*document, environmentName, QStringLiteral("send"), file))
        return HXCLIExitUsage;

    QList<HXRequest *> requests;
    if (all) {
        requests = HXDocumentCommands::commandsForDocument(document.get())->allRequestsByUUID();
    } else {
        for (const QString &reference : std::as_const(references)) {
            QString error;
            HXRequest *request = HXCLI::findRequest(*document, reference, error);
            if (request == nullptr)
                return HXCLI::usageError(QStringLiteral("send: %1").arg(error));
            requests.append(request);
        }
    }
    if (requests.isEmpty())
        return HXCLIExitSuccess;

    // One case per request, in the order they are sent.
    HXCLIRunReport report;
    report.suiteName = QFileInfo(file).fileName();
    report.started = QDateTime::currentDateTimeUtc();
    for (HXRequest *request : std::as_const(requests)) {
        HXCLIRunReport::Case entry;
        entry.name = request->name();
        entry.folder = request->parent() ? HXCLI::itemPath(request->parent()) : QString();
        entry.uuid = request->uuid();
        entry.message = QStringLiteral("not sent");
        report.cases.append(entry);
    }
    const auto caseFor = [&](HXRequest *request) -> HXCLIRunReport::Case * {
        const qsizetype index = requests.indexOf(request);
        return index < 0 ? nullptr : &report.cases[index];
    };
    QElapsedTimer clock;
    clock.start();
    QHash<HXRequest *, qint64> startedAt;
    bool bailed = false;

    if (insecure)
        HXUserDefaults::standardUserDefaults().setVolatileObject(
            false, QStringLiteral("HXUserDefaultValidateSSLCertificates"));
    if (!engine.isNull())
        HXUserDefaults::standardUserDefaults().setVolatileObject(engine, QStringLiteral("HXUserDefaultHTTPLibrary"));
    if (detail == Detail::Verbose)
        HXCLI::writeOut(QStringLiteral("== engine: %1\n")
                            .arg(HXHTTPRequest::HTTPLibrary(HXUserDefaults::standardUserDefaults().stringForKey(
                                                                QStringLiteral("HXUserDefaultHTTPLibrary")))
                                     .localizedName()));
    // --all asks the application's question and confirms it.
    HXCLIPresenter presenter(all);
    HXPresenter::setSharedPresenter(&presenter);
    HXResponseManager::sharedManager();
    HXCompletionManager::sharedCompletionManager(); // learns the headers sent

    HXRequestHandler *handler = document->requestHandler();
    handler->setTimeoutOverride(timeout);
    const auto stopWhenBailing = [&] {
        if (!bail || bailed)
            return;
        bailed = true;
        // Called after the failed request left the handler: this empties the
        // queue, so nothing further is sent.
        handler->stopAllRequests();
    };
    const auto elapsed = [&](HXRequest *request) {
        return double(clock.elapsed() - startedAt.value(request, clock.elapsed())) / 1000.0;
    };
    int failures = 0;
    int httpErrors = 0;
    QObject::connect(
        handler, &HXRequestHandler::requestStatusChanged, handler, [&](HXRequest *request, int status, int) {
            if (status != HXRequestHandler::StatusSending)
                return;
            const HXHTTPRequest *sent = handler->HTTPRequestForRequest(request);
            if (!startedAt.contains(request))
                startedAt.insert(request, clock.elapsed());
            // The first hop's method and URL; redirects send again.
            if (HXCLIRunReport::Case *entry = caseFor(request); entry && sent && entry->url.isEmpty()) {
                entry->method = sent->method();
                entry->url = HXCLI::maskedPasswords(sent->URL().toString(QUrl::FullyEncoded));
            }
            if (sent == nullptr || detail == Detail::Quiet)
                return;
            QString line = QStringLiteral("== %1  %2 %3\n")
                               .arg(request->name(), sent->method(), sent->URL().toString(QUrl::FullyEncoded));
            if (detail == Detail::Verbose) {
                for (const auto &field : sent->requestHeaders())
                    line += QStringLiteral("> %1: %2\n").arg(field.name, field.value);
                if (!sent->requestBodyData().isEmpty())
                    line += QStringLiteral("> (%1 body bytes)\n").arg(sent->requestBodyData().size());
            }
            HXCLI::writeOut(line);
        });
    QObject::connect(handler, &HXRequestHandler::requestDidReceiveNewResponse, handler,
                     [&](HXRequest *request, const std::shared_ptr<HXResponse> &response) {
                         const bool httpError = response->statusCode() >= 400;
                         if (httpError)
                             ++httpErrors;
                         if (HXCLIRunReport::Case *entry = caseFor(request)) {
                             entry->statusCode = int(response->statusCode());
                             entry->statusLine = response->statusLine();
                             entry->seconds = elapsed(request);
                             const bool failed = httpError && failOnHTTPError;
                             entry->outcome =
                                 failed ? HXCLIRunReport::Outcome::Failed : HXCLIRunReport::Outcome::Passed;
                             entry->message =
                                 failed ? QStringLiteral("the response is %1").arg(entry->statusLine) : QString();
                         }
                         if (httpError && failOnHTTPError)
                             stopWhenBailing();
                         if (detail == Detail::Quiet) {
                             HXCLI::writeServerText(
                                 (request->name() + QStringLiteral("  ") + response->statusLine() + u'\n').toUtf8());
                             return;
                         }
                         HXCLI::writeServerText(QStringLiteral("%1   (response %2, total %3)\n")
                                                    .arg(response->statusLine(),
                                                         HXResponse::downloadTimeString(response->responseTime()),
                                                         response->downloadTimeString())
                                                    .toUtf8());
                         if (detail == Detail::Include || detail == Detail::Verbose)
                             HXCLI::writeServerText(response->headersData());
                         HXCLI::writeServerBody(printableBody(*response));
                     });
    QObject::connect(handler, &HXRequestHandler::requestDidFail, handler,
                     [&](HXRequest *request, const HXError &error, const QString &informativeText) {
                         ++failures;
                         if (HXCLIRunReport::Case *entry = caseFor(request)) {
                             entry->seconds = elapsed(request);
                             entry->outcome = HXCLIRunReport::Outcome::Error;
                             entry->message = error.description;
                             entry->details = HXCLI::maskedPasswords(informativeText);
                         }
                         stopWhenBailing();
                     });

    QEventLoop loop;
    QObject::connect(handler, &HXRequestHandler::idle, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    if (all)
        HXDocumentCommands::commandsForDocument(document.get())->sendAllRequests();
    else
        handler->sendRequests(requests);
    if (handler->isBusy())
        loop.exec();
    const HXResult<void> recorded = HXResponseManager::sharedManager()->saveToPersistentStore();
    if (!recorded)
        HXCLI::writeErr(
            QStringLiteral("kea-cli: the responses could not be recorded: %1\n").arg(recorded.error().description));
    HXCompletionManager::sharedCompletionManager()->saveUpdates();
    HXPresenter::setSharedPresenter(nullptr);

    report.seconds = double(clock.elapsed()) / 1000.0;
    bool reported = true;
    for (HXCLIRunReport::Case &entry : report.cases) {
        if (entry.outcome == HXCLIRunReport::Outcome::Skipped && bailed)
            entry.message = QStringLiteral("not sent: an earlier request failed (--bail)");
    }
    for (const ReportRequest &wanted : std::as_const(reports)) {
        QString error;
        if (!HXCLIRunReport::writeFile(wanted.path, wanted.format == u"junit" ? report.junitXML() : report.json(),
                                       error)) {
            HXCLI::writeErr(QStringLiteral("kea-cli: %1\n").arg(error));
            reported = false;
        }
    }
    const bool failed = failures > 0 || !recorded || !reported || (failOnHTTPError && httpErrors > 0);
    return failed ? HXCLIExitFailure : HXCLIExitSuccess;
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("send"), QLatin1String(sendSynopsis),
     QStringLiteral("send requests one at a time, record their responses and print them"), runSend,
     QStringLiteral("REQUEST is a name, a folder path (Folder/Name) or a uuid. --all sends every request in\n"
                    "the order of their uuids, as the application's Send All does.\n\n"
                    "Options:\n"
                    "  --all             send every request of the document\n"
                    "  --env NAME        evaluate in that environment for this run\n"
                    "  --insecure        accept servers whose certificate cannot be verified\n"
                    "  --fail            exit with status 1 when any response is 4xx or 5xx (like curl --fail);\n"
                    "                    such requests count as failed in reports\n"
                    "  --bail            stop at the first failed request; the rest are reported as skipped\n"
                    "  --timeout S       a time limit of S seconds for every request of this run, in place\n"
                    "                    of each request's own\n"
                    "  --report junit FILE  write a JUnit XML report: one test case per request (name,\n"
                    "                    folder path as class name, time, failure text)\n"
                    "  --report json FILE   the same as JSON, with status codes and URLs\n"
                    "  --engine NAME     send through that engine: own, libcurl or qt\n"
                    "  --quiet           print each request's name and status line only\n"
                    "  --include         print the response headers too\n"
                    "  --verbose         print what is sent as well\n\n"
                    "Exit status:\n"
                    "  0  every request got a response (and, with --fail, none was 4xx or 5xx)\n"
                    "  1  a request failed, a response was 4xx or 5xx with --fail, or the responses or\n"
                    "     a report could not be written\n"
                    "  2  bad usage, or the document is missing, unreadable or malformed\n")});

} // namespace
