#pragma once

#include "HXError.h"
#include "HXHTTPRequest.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>

#include <map>
#include <memory>
#include <optional>

class HXDocument;
class HXRequest;
class HXResponse;

// Sends a document's requests one at a time: evaluates each, hands it to the
// HTTP engine chosen in the settings, follows redirects itself, records every
// response in the response store, keeps a status and progress per request,
// and reports failures through the presenter. Main thread only.
//
// Status numbers: 0 none or stopped, 1 sending, 2 receiving (headers
// arrived), 3 finished, 4 failed; statusForRequest answers -1 for a request
// that is not running.
class HXRequestHandler : public QObject, public HXHTTPRequestDelegate
{
    Q_OBJECT
public:
    enum Status { StatusNone = 0, StatusSending = 1, StatusReceiving = 2, StatusFinished = 3, StatusFailed = 4 };
    // A request stops following a Location after this many redirects and
    // fails with "Too many redirects".
    static constexpr int maximumRedirects = 20;

    explicit HXRequestHandler(HXDocument *document = nullptr);
    ~HXRequestHandler() override;

    HXDocument *document() const { return m_document; }
    void setDocument(HXDocument *document) { m_document = document; }

    // Queues the requests (after any already queued) and starts the first
    // when nothing runs.
    void sendRequests(const QList<HXRequest *> &requests);
    void stopRequest(HXRequest *request);
    void stopAllRequests();

    bool isBusy() const { return !m_requests.empty() || !m_queuedRequests.isEmpty(); }
    bool hasRequest(HXRequest *request) const;
    HXHTTPRequest *HTTPRequestForRequest(HXRequest *request) const;
    int statusForRequest(HXRequest *request) const;
    // 0.25 when sent, 0.5 at the headers, then up to 1 with the body.
    double progressForRequest(HXRequest *request) const;
    int batchRequestsCount() const { return m_batchRequestsCount; }

    // A time limit in seconds for every request this handler sends, in place
    // of each request's own; none restores the requests' own.
    std::optional<double> timeoutOverride() const { return m_timeoutOverride; }
    void setTimeoutOverride(std::optional<double> seconds) { m_timeoutOverride = seconds; }
    QList<HXRequest *> queuedRequests() const { return m_queuedRequests; }

    // The hint added to a time-out failure of a request whose time limit is
    // under 5 seconds, or an empty string.
    static QString timeoutHint(const HXError &error, double timeoutInterval);

Q_SIGNALS:
    void requestStatusChanged(HXRequest *request, int status, int oldStatus);
    void progressChanged(HXRequest *request, double progress, bool stopped);
    void requestDidReceiveNewResponse(HXRequest *request, const std::shared_ptr<HXResponse> &response);
    // After the failure alert: the error and the alert's informative text.
    void requestDidFail(HXRequest *request, const HXError &error, const QString &informativeText);
    // The queue ran dry (nothing running, nothing queued).
    void idle();

protected:
    void HTTPRequestDidReceiveResponseHeaders(HXHTTPRequest *request) override;
    void HTTPRequestDidReceivePartialBodyLength(HXHTTPRequest *request, qint64 length, qint64 totalBytesReceived,
                                                qint64 expectedContentLength) override;
    void HTTPRequestFinished(HXHTTPRequest *request) override;
    void HTTPRequestDidFailWithError(HXHTTPRequest *request, const HXError &error) override;
    void HTTPRequestDidReceiveServerTrustAuthenticationChallenge(HXHTTPRequest *request, const HXServerTrust &trust,
                                                                 const QString &host,
                                                                 std::function<void(bool)> completionBlock) override;

private:
    // What the handler keeps for one running engine request.
    struct SendInfo
    {
        HXRequest *request = nullptr;
        QDateTime startDate;
        int status = StatusNone;
        double progress = 0;
        std::shared_ptr<HXResponse> response;
        std::optional<QString> redirectLocation;
        int redirectCount = 0;
        QUrl redirectBase; // the URL of the hop that answered with the Location
    };

    void _handleNextRequestIfNeeded();
    void _sendRequest(HXRequest *request, std::optional<SendInfo> userInfo);
    void _failBeforeSending(HXRequest *request, const HXError &error, const QString &method, const QString &url);
    void _reportFailure(HXRequest *request, const HXError &error, const QString &method, const QString &url);
    void setStatus(int status, HXHTTPRequest *engineRequest);
    void _remove(HXHTTPRequest *engineRequest);
    SendInfo *_info(HXHTTPRequest *engineRequest);
    // Responses that arrive while more requests of the run follow are
    // written together, at most responseWriteInterval after the first of
    // them; the last response of a run is written when the run ends.
    void _writeResponsesSoon();
    void _writeResponsesNow();

    static constexpr int responseWriteIntervalMilliseconds = 100;

    QPointer<HXDocument> m_document;
    std::map<HXHTTPRequest *, SendInfo> m_requests;
    QList<HXRequest *> m_queuedRequests;
    int m_batchRequestsCount = 0;
    std::optional<double> m_timeoutOverride;
    QTimer m_responseWriteTimer;
};
