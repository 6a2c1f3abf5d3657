#pragma once

#include "HXGCDAsyncSocketMiddleware.h"
#include "HXHTTPHeaderField.h"
#include "HXHTTPResponseReader.h"
#include "HXHTTPSettings.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class HXGCDHTTPRequest;

// The main-thread side's address, read and cleared only on the main thread,
// so a callback already on its way finds out whether the request still exists.
struct HXGCDHTTPRequestLink
{
    HXGCDHTTPRequest *front = nullptr;
};

// The engine-thread side of one request: proxy decision, connection, TLS,
// request bytes, and the response reader. Touched only on the engine thread.
class HXGCDHTTPRequestTransfer : public HXGCDAsyncSocketMiddlewareDelegate,
                                 public HXHTTPResponseReaderDelegate,
                                 public std::enable_shared_from_this<HXGCDHTTPRequestTransfer>
{
public:
    enum Status {
        StatusCreated = 0,
        StatusProxyLookup = 1,
        StatusWritingRequest = 2,
        StatusReadingHead = 3,
        StatusReadingBody = 4,
        StatusFinished = 5,
        StatusCancelled = 6,
        StatusFailed = 7,
    };

    // What the request was set up with, copied at start.
    QUrl url;
    QString urlText;
    HXHTTPSettings settings;
    QString method;
    HXHTTPHeaderList requestHeaders;
    QByteArray requestBody;
    bool ignoreSSLCertificatesValidation = false;
    qint64 maximumResponseLength = 0;
    HXHTTPResponseBodyStorage responseBodyStorage;
    std::shared_ptr<HXGCDHTTPRequestLink> link;

    int status = StatusCreated;
    int proxyMode = 0;
    bool useSecureConnection = false;
    QString connectionHost;
    quint16 connectionPort = 0;
    QString connectionSSLPeerName;
    // Deleted directly: cleanup never runs inside one of its callbacks (it
    // is deferred from there), and a deferred delete would not run once the
    // engine thread stops.
    std::unique_ptr<HXGCDAsyncSocketMiddleware> socketMiddleware;
    std::unique_ptr<HXHTTPResponseReader> reader;

    // Body progress not yet delivered to the main thread.
    struct Progress
    {
        std::mutex mutex;
        qint64 length = 0;
        qint64 total = 0;
        qint64 expected = 0;
        bool posted = false;
        // When the last report was posted; none is due before it is
        // progressReportInterval old.
        QElapsedTimer lastPost;
    };
    std::shared_ptr<Progress> progress = std::make_shared<Progress>();
    std::vector<std::function<void(HXGCDHTTPRequest &)>> m_postsToFront;
    bool m_postsToFrontScheduled = false;

    ~HXGCDHTTPRequestTransfer() override { cleanup(); }

    bool isFinal() const { return status == StatusFinished || status == StatusCancelled || status == StatusFailed; }

    // Runs `work` on the main thread with the request, if it still exists.
    // The work waits until the engine thread is back in its event loop and
    // goes with everything else posted until then, so that a head, its
    // progress and the end that arrive in one read wake the main thread once.
    // Work that is not urgent waits for the next urgent work; every transfer
    // ends with some (its end or its failure).
    void postToFront(std::function<void(HXGCDHTTPRequest &)> work, bool urgent = true);
    void sendPostsToFront();

    void getProxySettingsAndStart();

    void proxyDecided(int mode, const QString &host, int port, const HXError &error);

    void createRequestAndStart();

    void setupSecureTLSConnection() { socketMiddleware->startTLS(connectionSSLPeerName); }

    void writeHTTPRequestAndReadResponseHeaders();

    void writeConnectRequest();

    void failWithError(const HXError &given);

    // Releases the socket and reader once the current callback returned
    // (this may run inside one of theirs).
    void deferCleanup();

    void cancel();

    void cleanup();

    void trustAnswered(bool accepted);

    // HXGCDAsyncSocketMiddlewareDelegate
    void socketMiddlewareDidConnectToHost(HXGCDAsyncSocketMiddleware *, const QString &, quint16) override;

    void socketMiddlewareDidSecure(HXGCDAsyncSocketMiddleware *middleware) override;

    void socketMiddlewareDidWriteDataWithTag(HXGCDAsyncSocketMiddleware *middleware, long tag) override;

    void socketMiddlewareDidReadDataToBuffer(HXGCDAsyncSocketMiddleware *, QByteArray &buffer, qsizetype rangeStart,
                                             qsizetype rangeLength, long tag) override;

    void socketMiddlewareDidReadPartialDataOfLength(HXGCDAsyncSocketMiddleware *, qsizetype, qsizetype, long) override
    {}

    void socketMiddlewareDidDisconnectWithError(HXGCDAsyncSocketMiddleware *, const HXError &error) override;

    // HXHTTPResponseReaderDelegate
    void responseReaderDidReceiveHead() override;

    void responseReaderDidReceivePartialBody(qint64 length, qint64 totalBytesReceived,
                                             qint64 expectedContentLength) override;

    void responseReaderDidFinish() override;

    void responseReaderDidFail(const HXError &error) override { failWithError(error); }
};
