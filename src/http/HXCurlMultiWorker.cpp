#include "HXCurlMultiWorker.h"

#include "HXCurlLibrary.h"
#include "HXHTTPRequestError.h"

#include <QCoreApplication>

#include <openssl/crypto.h>

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// One transfer on the worker thread.
struct Transfer
{
    HXCurlMultiWorker::TransferID id = 0;
    CURL *easy = nullptr;
    curl_slist *headerLines = nullptr;
    HXCurlTransferSettings settings;
    std::shared_ptr<HXCurlTransferObserver> observer;
    HXCurlTransferResponse response;
    bool headReported = false;
    Clock::time_point lastActivity = Clock::now();
    char errorBuffer[CURL_ERROR_SIZE] = {};

    ~Transfer()
    {
        HXCurlLibrary::api().easyCleanup(easy);
        HXCurlLibrary::api().slistFreeAll(headerLines);
    }

    void reportHead()
    {
        headReported = true;
        observer->transferDidReceiveHead(response);
    }
};

bool isFollowedRedirect(const Transfer &transfer)
{
    const long code = transfer.response.statusCode;
    const bool redirect = code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
    return redirect && transfer.settings.followRedirects &&
           HXHTTPHeaders::hasHTTPHeaderName(transfer.response.headers, QStringLiteral("Location"));
}

size_t headerCallback(char *data, size_t size, size_t count, void *context)
{
    auto *transfer = static_cast<Transfer *>(context);
    const size_t length = size * count;
    transfer->lastActivity = Clock::now();
    if (transfer->headReported)
        return length; // trailers
    QByteArray line(data, qsizetype(length));
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    HXCurlTransferResponse &response = transfer->response;
    if (line.startsWith("HTTP/")) {
        response.statusLine = line.trimmed();
        response.statusCode = line.split(' ').value(1).toLong();
        response.headers.clear();
    } else if (line.isEmpty()) {
        if (response.statusCode >= 200 && !isFollowedRedirect(*transfer)) {
            // A declared length sizes the body once (bounded, as it comes
            // from the server).
            const qint64 declared =
                HXHTTPHeaders::valueForHTTPHeaderName(response.headers, QStringLiteral("Content-Length")).toLongLong();
            if (declared > 0 && transfer->settings.method != "HEAD" &&
                !HXHTTPHeaders::hasHTTPHeaderName(response.headers, QStringLiteral("Content-Encoding"))) {
                // A body that will not stay in memory goes to its file at
                // once; one that will is sized once.
                if (HXResult<void> expected = response.body.expectLength(declared); !expected.ok())
                    response.storageError = expected.error();
                else if (QByteArray *memory = response.body.memoryBuffer())
                    memory->reserve(qMin<qint64>(declared, qint64(1) << 30));
            }
            transfer->reportHead();
        }
    } else if ((line.startsWith(' ') || line.startsWith('\t')) && !response.headers.isEmpty()) {
        response.headers.last().value += u' ' + QString::fromLatin1(line.trimmed());
    } else if (const qsizetype colon = line.indexOf(':'); colon > 0) {
        response.headers.append(
            {QString::fromLatin1(line.left(colon)), QString::fromLatin1(line.mid(colon + 1).trimmed())});
    }
    return length;
}

size_t writeCallback(char *data, size_t size, size_t count, void *context)
{
    auto *transfer = static_cast<Transfer *>(context);
    const size_t length = size * count;
    transfer->lastActivity = Clock::now();
    if (!transfer->headReported)
        transfer->reportHead();
    if (!transfer->response.storageError.isNull())
        return 0;
    // libcurl hands over inflated bytes, so this bounds a gzip bomb too.
    const qint64 maximum = transfer->settings.maximumBodyLength;
    if (maximum > 0 && transfer->response.body.size() + qint64(length) > maximum) {
        transfer->response.storageError = HXHTTPRequestResponseTooLargeError(maximum);
        return 0;
    }
    HXResult<void> appended = transfer->response.body.append(QByteArrayView(data, qsizetype(length)));
    if (!appended.ok()) {
        transfer->response.storageError = appended.error();
        return 0; // libcurl ends the transfer with a write error
    }
    return length;
}

bool isSafeHeaderText(const QString &text)
{
    return !text.contains(u'\r') && !text.contains(u'\n') && !text.contains(QChar(0));
}

class Worker
{
public:
    Worker()
    {
        HXCurlLibrary::api().globalInit(CURL_GLOBAL_DEFAULT);
        m_multi = HXCurlLibrary::api().multiInit();
        m_share = HXCurlLibrary::api().shareInit();
        HXCurlLibrary::api().shareSetopt(m_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
        m_thread = std::thread([this] { run(); });
    }

    ~Worker()
    {
        {
            std::lock_guard lock(m_mutex);
            m_stopping = true;
        }
        HXCurlLibrary::api().multiWakeup(m_multi);
        m_thread.join();
        HXCurlLibrary::api().multiCleanup(m_multi);
        HXCurlLibrary::api().shareCleanup(m_share);
    }

    HXCurlMultiWorker::TransferID add(const HXCurlTransferSettings &settings,
                                      std::shared_ptr<HXCurlTransferObserver> observer)
    {
        auto transfer = std::make_unique<Transfer>();
        transfer->id = ++m_lastID;
        transfer->settings = settings;
        transfer->response.body = HXHTTPResponseBody(settings.bodyStorage);
        transfer->observer = std::move(observer);
        const HXCurlMultiWorker::TransferID id = transfer->id;
        {
            std::lock_guard lock(m_mutex);
            m_added.push_back(std::move(transfer));
        }
        HXCurlLibrary::api().multiWakeup(m_multi);
        return id;
    }

    void cancel(HXCurlMultiWorker::TransferID id)
    {
        {
            std::lock_guard lock(m_mutex);
            m_cancelled.push_back(id);
        }
        HXCurlLibrary::api().multiWakeup(m_multi);
    }

private:
    void run()
    {
        for (;;) {
            std::vector<std::unique_ptr<Transfer>> added;
            std::vector<HXCurlMultiWorker::TransferID> cancelled;
            bool stopping = false;
            {
                std::lock_guard lock(m_mutex);
                added.swap(m_added);
                cancelled.swap(m_cancelled);
                stopping = m_stopping;
            }
            for (std::unique_ptr<Transfer> &transfer : added)
                begin(std::move(transfer));
            for (const HXCurlMultiWorker::TransferID id : cancelled)
                remove(id);
            if (stopping)
                break;
            int running = 0;
            HXCurlLibrary::api().multiPerform(m_multi, &running);
            int queued = 0;
            while (CURLMsg *message = HXCurlLibrary::api().multiInfoRead(m_multi, &queued)) {
                if (message->msg != CURLMSG_DONE)
                    continue;
                Transfer *transfer = nullptr;
                HXCurlLibrary::api().easyGetinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
                if (transfer != nullptr)
                    complete(*transfer, message->data.result);
            }
            HXCurlLibrary::api().multiPoll(m_multi, nullptr, 0, enforceInactivityLimits(), nullptr);
        }
        while (!m_transfers.empty())
            remove(m_transfers.begin()->first);
        OPENSSL_thread_stop();
    }

    // Ends the transfers that saw no traffic for their time limit; returns
    // how long the loop may wait for the next one (milliseconds).
    int enforceInactivityLimits()
    {
        int wait = 1000;
        const Clock::time_point now = Clock::now();
        std::vector<Transfer *> expired;
        for (const auto &[id, transfer] : m_transfers) {
            const double limit = transfer->settings.inactivityTimeout;
            if (limit <= 0)
                continue;
            const auto deadline = transfer->lastActivity + std::chrono::microseconds(qint64(limit * 1e6));
            if (deadline <= now)
                expired.push_back(transfer.get());
            else
                wait = int(qMin<qint64>(
                    wait, std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now).count() + 1));
        }
        for (Transfer *transfer : expired) {
            qsnprintf(transfer->errorBuffer, sizeof transfer->errorBuffer,
                      "Operation timed out after %lld milliseconds with no data received",
                      qint64(transfer->settings.inactivityTimeout * 1000));
            complete(*transfer, CURLE_OPERATION_TIMEDOUT);
        }
        return expired.empty() ? wait : 0;
    }

    void begin(std::unique_ptr<Transfer> owned)
    {
        Transfer &transfer = *owned;
        CURL *easy = HXCurlLibrary::api().easyInit();
        transfer.easy = easy;
        const HXCurlTransferSettings &settings = transfer.settings;
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_PRIVATE, &transfer);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_URL, settings.url.constData());
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_NOSIGNAL, 1L);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_BUFFERSIZE, 256L * 1024);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_ERRORBUFFER, transfer.errorBuffer);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_HEADERFUNCTION, headerCallback);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_HEADERDATA, &transfer);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_WRITEFUNCTION, writeCallback);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_WRITEDATA, &transfer);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_ACCEPT_ENCODING, "gzip");
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_HTTP_VERSION, long(CURL_HTTP_VERSION_2TLS));
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_SSL_VERIFYPEER, settings.verifyCertificates ? 1L : 0L);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_SSL_VERIFYHOST, settings.verifyCertificates ? 2L : 0L);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_FOLLOWLOCATION, settings.followRedirects ? 1L : 0L);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_MAXREDIRS, 20L);
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
        if (settings.handleCookies) {
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_SHARE, m_share);
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_COOKIEFILE, "");
        }
        if (settings.proxy == HXCurlTransferSettings::Proxy::None) {
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_PROXY, "");
        } else if (settings.proxy == HXCurlTransferSettings::Proxy::HTTP) {
            const QByteArray host =
                settings.proxyHost.contains(':') ? '[' + settings.proxyHost + ']' : settings.proxyHost;
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_PROXY, host.constData());
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_PROXYPORT, long(settings.proxyPort));
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_PROXYTYPE, long(CURLPROXY_HTTP));
        }

        const QByteArray &method = settings.method;
        const bool bodyMethod = method == "POST" || method == "PUT" || method == "PATCH";
        if (method == "HEAD") {
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_NOBODY, 1L);
        } else if (!settings.body.isEmpty() || bodyMethod) {
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(settings.body.size()));
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_POSTFIELDS, settings.body.constData());
            if (method != "POST")
                HXCurlLibrary::api().easySetopt(easy, CURLOPT_CUSTOMREQUEST, method.constData());
        } else if (method != "GET") {
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_CUSTOMREQUEST, method.constData());
        }

        // libcurl would add a form Content-Type to a body and an Expect to a
        // large one; an empty "Name:" line stops that unless the caller
        // set them.
        bool hasUserAgent = false;
        bool hasContentType = false;
        bool hasExpect = false;
        for (const HXHTTPHeaderField &field : settings.headers) {
            if (field.name.isEmpty() || field.name.contains(u':') || !isSafeHeaderText(field.name) ||
                !isSafeHeaderText(field.value))
                continue;
            hasUserAgent |= field.name.compare(u"User-Agent", Qt::CaseInsensitive) == 0;
            hasContentType |= field.name.compare(u"Content-Type", Qt::CaseInsensitive) == 0;
            hasExpect |= field.name.compare(u"Expect", Qt::CaseInsensitive) == 0;
            QByteArray line = field.name.toLatin1();
            line += field.value.isEmpty() ? QByteArray(";") : ": " + field.value.toUtf8();
            transfer.headerLines = HXCurlLibrary::api().slistAppend(transfer.headerLines, line.constData());
        }
        if (!hasContentType)
            transfer.headerLines = HXCurlLibrary::api().slistAppend(transfer.headerLines, "Content-Type:");
        if (!hasExpect)
            transfer.headerLines = HXCurlLibrary::api().slistAppend(transfer.headerLines, "Expect:");
        HXCurlLibrary::api().easySetopt(easy, CURLOPT_HTTPHEADER, transfer.headerLines);
        if (!hasUserAgent)
            HXCurlLibrary::api().easySetopt(easy, CURLOPT_USERAGENT, settings.userAgent.constData());

        transfer.lastActivity = Clock::now();
        m_transfers.emplace(transfer.id, std::move(owned));
        const CURLMcode added = HXCurlLibrary::api().multiAddHandle(m_multi, easy);
        if (added != CURLM_OK) {
            qsnprintf(transfer.errorBuffer, sizeof transfer.errorBuffer, "%s",
                      HXCurlLibrary::api().multiStrerror(added));
            complete(transfer, CURLE_FAILED_INIT);
        }
    }

    void complete(Transfer &transfer, CURLcode result)
    {
        HXCurlTransferResponse response = std::move(transfer.response);
        response.curlCode = int(result);
        if (!response.storageError.isNull())
            response.errorText = response.storageError.description;
        else if (result != CURLE_OK)
            response.errorText = QString::fromUtf8(
                transfer.errorBuffer[0] != '\0' ? transfer.errorBuffer : HXCurlLibrary::api().easyStrerror(result));
        else if (!transfer.headReported)
            transfer.observer->transferDidReceiveHead(response);
        std::shared_ptr<HXCurlTransferObserver> observer = transfer.observer;
        remove(transfer.id);
        observer->transferDidComplete(std::move(response));
    }

    void remove(HXCurlMultiWorker::TransferID id)
    {
        const auto found = m_transfers.find(id);
        if (found == m_transfers.end())
            return;
        HXCurlLibrary::api().multiRemoveHandle(m_multi, found->second->easy);
        m_transfers.erase(found);
    }

    CURLM *m_multi = nullptr;
    CURLSH *m_share = nullptr;
    std::thread m_thread;
    std::atomic<HXCurlMultiWorker::TransferID> m_lastID{0};
    std::mutex m_mutex;
    bool m_stopping = false;
    std::vector<std::unique_ptr<Transfer>> m_added;
    std::vector<HXCurlMultiWorker::TransferID> m_cancelled;
    // Touched only on the worker thread.
    std::map<HXCurlMultiWorker::TransferID, std::unique_ptr<Transfer>> m_transfers;
};

std::mutex workerMutex;
Worker *sharedWorker = nullptr;
bool workerStopped = false;

void stopWorker()
{
    Worker *worker = nullptr;
    {
        std::lock_guard lock(workerMutex);
        worker = std::exchange(sharedWorker, nullptr);
        workerStopped = true;
    }
    delete worker;
}

Worker *worker()
{
    std::lock_guard lock(workerMutex);
    if (sharedWorker == nullptr && !workerStopped && HXCurlLibrary::load() != nullptr) {
        sharedWorker = new Worker;
        qAddPostRoutine(stopWorker);
    }
    return sharedWorker;
}

} // namespace

HXCurlMultiWorker::TransferID HXCurlMultiWorker::addTransfer(const HXCurlTransferSettings &settings,
                                                             std::shared_ptr<HXCurlTransferObserver> observer)
{
    Worker *target = worker();
    return target != nullptr ? target->add(settings, std::move(observer)) : 0;
}

void HXCurlMultiWorker::cancelTransfer(TransferID transfer)
{
    std::lock_guard lock(workerMutex);
    if (sharedWorker != nullptr)
        sharedWorker->cancel(transfer);
}
