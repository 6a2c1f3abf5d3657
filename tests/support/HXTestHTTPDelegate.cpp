#include "HXTestHTTPDelegate.h"

#include "HXTestSupport.h"
#include "HXThreading.h"

#include <QTimer>

#include <gtest/gtest.h>

bool HXTestHTTPDelegate::waitUntilEnded(int timeoutMs)
{
    return HXTest::waitUntil([this] { return hasEnded(); }, timeoutMs);
}

std::string HXTestHTTPDelegate::foldedEvents() const
{
    QStringList folded;
    for (const QString &event : events) {
        if (event == u"progress" && !folded.isEmpty() && folded.last() == u"progress")
            continue;
        folded.append(event);
    }
    return folded.join(u' ').toStdString();
}

std::string HXTestHTTPDelegate::eventsWithoutProgress() const
{
    QStringList kept = events;
    kept.removeAll(QStringLiteral("progress"));
    return kept.join(u' ').toStdString();
}

void HXTestHTTPDelegate::HTTPRequestDidReceiveResponseHeaders(HXHTTPRequest *)
{
    EXPECT_TRUE(HXIsMainThread());
    events.append(QStringLiteral("headers"));
}

void HXTestHTTPDelegate::HTTPRequestDidReceivePartialBodyLength(HXHTTPRequest *, qint64 length,
                                                                qint64 totalBytesReceived, qint64 expectedContentLength)
{
    EXPECT_TRUE(HXIsMainThread());
    events.append(QStringLiteral("progress"));
    progress.append({length, totalBytesReceived, expectedContentLength});
}

void HXTestHTTPDelegate::HTTPRequestFinished(HXHTTPRequest *)
{
    EXPECT_TRUE(HXIsMainThread());
    events.append(QStringLiteral("finished"));
}

void HXTestHTTPDelegate::HTTPRequestDidFailWithError(HXHTTPRequest *, const HXError &failure)
{
    EXPECT_TRUE(HXIsMainThread());
    events.append(QStringLiteral("failed"));
    error = failure;
}

void HXTestHTTPDelegate::HTTPRequestDidReceiveServerTrustAuthenticationChallenge(
    HXHTTPRequest *, const HXServerTrust &trust, const QString &host, std::function<void(bool)> completionBlock)
{
    EXPECT_TRUE(HXIsMainThread());
    EXPECT_EQ(host, trust.host);
    ++trustQuestions;
    lastTrust = trust;
    const bool answer = trustAnswer.value_or(trust.isTrusted());
    if (trustAnswerDelayMs > 0)
        QTimer::singleShot(trustAnswerDelayMs, [completionBlock, answer] { completionBlock(answer); });
    else
        completionBlock(answer);
}
