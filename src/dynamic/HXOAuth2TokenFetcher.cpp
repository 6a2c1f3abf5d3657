#include "HXOAuth2TokenFetcher.h"

#include "HXDataAdditions.h"
#include "HXDynamicLogging.h"
#include "HXHTTPRequest.h"
#include "HXHTTPRequestLibrary.h"
#include "HXHTTPSettings.h"
#include "HXThreading.h"
#include "HXUserDefaults.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <memory>
#include <optional>

namespace {

// Endpoint, client, secret and scope, as one cache key.
QString cacheKey(const HXOAuth2TokenFetcher::Parameters &parameters)
{
    const QByteArray secretDigest =
        HXDataAdditions::digest(parameters.clientSecret.toUtf8(), HXDataAdditions::DigestSHA256);
    return QStringList{parameters.tokenURL.toString(QUrl::FullyEncoded), parameters.clientId,
                       QString::fromLatin1(secretDigest.toHex()), parameters.scope,
                       parameters.credentialsInBody ? QStringLiteral("body") : QStringLiteral("basic")}
        .join(QChar(0));
}

// A token, or a failure that is not tried again for a little while (a
// window evaluates its values often, and should not wait on a broken
// endpoint each time).
struct CacheEntry
{
    std::optional<HXOAuth2TokenFetcher::Token> token;
    HXError error;
    QDateTime retryAfter;
};

constexpr int failureRetrySeconds = 10;

QHash<QString, CacheEntry> &cache()
{
    static QHash<QString, CacheEntry> entries;
    return entries;
}

bool g_fetching = false;

HXError fetchError(const QString &description)
{
    return HXError(HXOAuth2TokenFetcher::errorDomain(), 1, description);
}

QByteArray formEncoded(const QString &text)
{
    return QUrl::toPercentEncoding(text);
}

// Waits for one engine request on the main thread.
class SynchronousDelegate : public HXHTTPRequestDelegate
{
public:
    QEventLoop loop;
    bool finished = false;
    HXError error;

    void HTTPRequestFinished(HXHTTPRequest *) override
    {
        finished = true;
        loop.quit();
    }
    void HTTPRequestDidFailWithError(HXHTTPRequest *, const HXError &failure) override
    {
        error = failure.isNull() ? fetchError(QStringLiteral("the connection closed before a response")) : failure;
        loop.quit();
    }
    void HTTPRequestDidReceiveServerTrustAuthenticationChallenge(HXHTTPRequest *, const HXServerTrust &trust,
                                                                 const QString &,
                                                                 std::function<void(bool)> completionBlock) override
    {
        // There is no one to ask in the middle of an evaluation.
        completionBlock(trust.isTrusted());
    }
};

} // namespace

QByteArray HXOAuth2TokenFetcher::requestBody(const Parameters &parameters)
{
    QByteArray body = "grant_type=client_credentials";
    if (!parameters.scope.isEmpty())
        body += "&scope=" + formEncoded(parameters.scope);
    if (parameters.credentialsInBody) {
        body += "&client_id=" + formEncoded(parameters.clientId);
        body += "&client_secret=" + formEncoded(parameters.clientSecret);
    }
    return body;
}

QString HXOAuth2TokenFetcher::basicCredentials(const Parameters &parameters)
{
    // Both parts are form-encoded before they are joined.
    const QByteArray pair = formEncoded(parameters.clientId) + ':' + formEncoded(parameters.clientSecret);
    return QStringLiteral("Basic ") + HXDataAdditions::base64EncodedString(pair);
}

HXResult<HXOAuth2TokenFetcher::Token> HXOAuth2TokenFetcher::tokenFromResponse(qint64 statusCode, const QByteArray &body,
                                                                              const QDateTime &now)
{
    const QJsonObject object = QJsonDocument::fromJson(body).object();
    if (statusCode < 200 || statusCode > 299) {
        QString detail = object.value(QStringLiteral("error")).toString();
        const QString description = object.value(QStringLiteral("error_description")).toString();
        if (!description.isEmpty())
            detail += (detail.isEmpty() ? QString() : QStringLiteral(": ")) + description;
        return fetchError(QStringLiteral("the token endpoint answered with status %1%2")
                              .arg(statusCode)
                              .arg(detail.isEmpty() ? QString() : QStringLiteral(" (") + detail.left(200) + u')'));
    }
    const QString accessToken = object.value(QStringLiteral("access_token")).toString();
    if (accessToken.isEmpty())
        return fetchError(QStringLiteral("the token endpoint's answer holds no access_token"));
    for (const QChar c : accessToken) {
        if (c.unicode() < 0x21 || c.unicode() > 0x7E)
            return fetchError(
                QStringLiteral("the token endpoint's access_token holds a character that cannot be sent"));
    }
    Token token{accessToken, QDateTime()};
    const QJsonValue expiresIn = object.value(QStringLiteral("expires_in"));
    // Some endpoints write the number as a string.
    const double seconds = expiresIn.isString() ? expiresIn.toString().toDouble() : expiresIn.toDouble(-1);
    if (!expiresIn.isUndefined() && !expiresIn.isNull() && seconds >= 0) {
        // A minute's margin on long-lived tokens, so none expires on the way.
        const double margin = seconds > 120 ? 60 : 0;
        token.expires = now.addMSecs(qint64((seconds - margin) * 1000));
    }
    return token;
}

HXResult<HXOAuth2TokenFetcher::Token> HXOAuth2TokenFetcher::token(const Parameters &parameters)
{
    const QString key = cacheKey(parameters);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const auto cached = cache().constFind(key);
    if (cached != cache().cend()) {
        if (cached->token && (!cached->token->expires.isValid() || cached->token->expires > now))
            return *cached->token;
        if (!cached->token && cached->retryAfter > now)
            return cached->error;
    }
    HXResult<Token> fetched = fetch(parameters);
    if (fetched)
        cache().insert(key, {*fetched, HXError(), QDateTime()});
    else
        cache().insert(key, {std::nullopt, fetched.error(), now.addSecs(failureRetrySeconds)});
    return fetched;
}

void HXOAuth2TokenFetcher::clearCache()
{
    cache().clear();
}

HXResult<HXOAuth2TokenFetcher::Token> HXOAuth2TokenFetcher::fetch(const Parameters &parameters)
{
    if (!HXIsMainThread() || QCoreApplication::instance() == nullptr)
        return fetchError(QStringLiteral("a token can only be fetched on the main thread"));
    if (g_fetching)
        return fetchError(QStringLiteral("another token is being fetched"));
    const QString scheme = parameters.tokenURL.scheme();
    if (!parameters.tokenURL.isValid() || parameters.tokenURL.host().isEmpty() ||
        (scheme != u"http" && scheme != u"https"))
        return fetchError(
            QStringLiteral("the token URL \"%1\" is not an http or https URL").arg(parameters.tokenURL.toString()));

    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    const std::unique_ptr<HXHTTPRequest> request =
        HXHTTPRequest::HTTPLibrary(defaults.stringForKey(QStringLiteral("HXUserDefaultHTTPLibrary")))
            .createRequest(parameters.tokenURL);
    SynchronousDelegate delegate;
    request->setDelegate(&delegate);
    request->setSettings(HXHTTPSettings::fromUserDefaults(defaults));
    request->setMethod(QStringLiteral("POST"));
    request->addRequestHeader(QStringLiteral("Content-Type"), QStringLiteral("application/x-www-form-urlencoded"));
    request->addRequestHeader(QStringLiteral("Accept"), QStringLiteral("application/json"));
    if (!parameters.credentialsInBody)
        request->addRequestHeader(QStringLiteral("Authorization"), basicCredentials(parameters));
    request->setRequestBodyData(requestBody(parameters));
    request->setTimeoutInterval(parameters.timeoutSeconds);
    request->setShouldHandleCookies(false);
    request->setShouldUseCache(false);
    request->setFollowRedirects(false);
    request->setMaximumResponseLength(1024 * 1024);
    request->setIgnoreSSLCertificatesValidation(
        !defaults.boolForKey(QStringLiteral("HXUserDefaultValidateSSLCertificates")));

    // A second bound besides the engine's own time limit, so the loop ends
    // even if an engine never reports.
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, &delegate.loop, [&delegate] {
        delegate.error = fetchError(QStringLiteral("the token endpoint did not answer in time"));
        delegate.loop.quit();
    });
    guard.start(int((parameters.timeoutSeconds + 5) * 1000));

    g_fetching = true;
    request->start();
    if (!delegate.finished && delegate.error.isNull())
        delegate.loop.exec(QEventLoop::ExcludeUserInputEvents);
    g_fetching = false;
    request->clearDelegateAndCancel();

    if (!delegate.finished) {
        qCWarning(lcKeaDynamic).noquote() << "OAuth 2.0 token request to" << parameters.tokenURL.toString()
                                          << "failed:" << delegate.error.description;
        return fetchError(QStringLiteral("the token request to %1 failed: %2")
                              .arg(parameters.tokenURL.toString(), delegate.error.description));
    }
    HXResult<Token> token =
        tokenFromResponse(request->responseStatusCode(), request->responseData(), QDateTime::currentDateTimeUtc());
    if (!token)
        qCWarning(lcKeaDynamic).noquote()
            << "OAuth 2.0 token request to" << parameters.tokenURL.toString() << "failed:" << token.error().description;
    return token;
}
