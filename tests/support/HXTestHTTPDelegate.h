#pragma once

#include "HXHTTPRequest.h"

#include <QStringList>

#include <optional>
#include <string>

// Records an engine request's callbacks in order ("headers", "progress",
// "finished", "failed"), for tests of any engine.
class HXTestHTTPDelegate : public HXHTTPRequestDelegate
{
public:
    struct Progress
    {
        qint64 length;
        qint64 total;
        qint64 expected;
    };

    QStringList events;
    QList<Progress> progress;
    HXError error;
    int trustQuestions = 0;
    HXServerTrust lastTrust;
    // How to answer the certificate question: a fixed answer, or (unset)
    // the verdict of HXServerTrust::evaluate().
    std::optional<bool> trustAnswer;
    // When above zero, the answer comes this much later, from the event loop.
    int trustAnswerDelayMs = 0;

    bool hasEnded() const { return !events.isEmpty() && (events.last() == u"finished" || events.last() == u"failed"); }
    int terminalCount() const
    {
        return int(events.count(QStringLiteral("finished")) + events.count(QStringLiteral("failed")));
    }
    // Runs the event loop until a terminal callback arrived.
    bool waitUntilEnded(int timeoutMs = 5000);
    // The events with consecutive "progress" entries folded into one, or
    // left out; joined by spaces.
    std::string foldedEvents() const;
    std::string eventsWithoutProgress() const;

    void HTTPRequestDidReceiveResponseHeaders(HXHTTPRequest *request) override;
    void HTTPRequestDidReceivePartialBodyLength(HXHTTPRequest *request, qint64 length, qint64 totalBytesReceived,
                                                qint64 expectedContentLength) override;
    void HTTPRequestFinished(HXHTTPRequest *request) override;
    void HTTPRequestDidFailWithError(HXHTTPRequest *request, const HXError &error) override;
    void HTTPRequestDidReceiveServerTrustAuthenticationChallenge(HXHTTPRequest *request, const HXServerTrust &trust,
                                                                 const QString &host,
                                                                 std::function<void(bool)> completionBlock) override;
};
