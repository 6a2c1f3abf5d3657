#include "HXDocument.h"
#include "HXHTTPDigestAuth.h"
#include "HXHTTPDigestAuthDynamicValue.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXOAuth2ClientCredentialsDynamicValue.h"
#include "HXOAuth2TokenFetcher.h"
#include "HXRequest.h"
#include "HXRequestHandler.h"
#include "HXResponse.h"
#include "HXScriptedPresenter.h"
#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"

#include <QRegularExpression>
#include <QThread>

#include <gtest/gtest.h>

// The authorization values that talk to a server: Digest answering a
// loopback server's challenge through the request handler, and OAuth 2.0
// tokens from a loopback token endpoint.

namespace {

QByteArray reply(const QByteArray &status, const QByteArray &headers, const QByteArray &body)
{
    return "HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + QByteArray::number(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

QByteArray headerOf(const QByteArray &request, const QByteArray &name)
{
    for (const QByteArray &line : request.left(request.indexOf("\r\n\r\n")).split('\n')) {
        if (line.toLower().startsWith(QByteArray(name.toLower() + ':')))
            return line.mid(name.size() + 1).trimmed();
    }
    return {};
}

QByteArray bodyOf(const QByteArray &request)
{
    return request.mid(request.indexOf("\r\n\r\n") + 4);
}

class AuthorizationValuesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HXPresenter::setSharedPresenter(&presenter);
        HXOAuth2TokenFetcher::clearCache();
        ASSERT_TRUE(server.listen());
    }
    void TearDown() override { HXPresenter::setSharedPresenter(nullptr); }

    HXScriptedPresenter presenter;
    HXTestHTTPServer server;
};

} // namespace

TEST_F(AuthorizationValuesTest, DigestAnswersTheLastChallengeOfTheSameRequest)
{
    HXDocument document;
    HXRequestHandler handler(&document);
    auto *request = document.managedObjectContext()->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
    request->setName(QStringLiteral("Protected"));
    request->setMethod(QStringLiteral("GET"));
    request->setUrl(server.url(QStringLiteral("/protected?x=1")).toString());
    auto digest = HXDynamicValue::make<HXHTTPDigestAuthDynamicValue>();
    digest->setUsername(QStringLiteral("kea"));
    digest->setPassword(QStringLiteral("s3cret"));
    HXKeyValue::addKeyValueName(QStringLiteral("Authorization"), digest->archivedString(), QStringLiteral("request"),
                                request);

    server.addResponse(reply("401 Unauthorized",
                             "WWW-Authenticate: Basic realm=\"kea\"\r\n"
                             "WWW-Authenticate: Digest realm=\"kea\", qop=\"auth\", algorithm=SHA-256, "
                             "nonce=\"n-1\", opaque=\"op\"\r\n",
                             {}));
    server.addResponse(reply("200 OK", {}, "in"));
    server.addResponse(reply("200 OK", {}, "again"));
    for (int send = 0; send < 3; ++send) {
        handler.sendRequests({request});
        ASSERT_TRUE(HXTest::waitUntil([&] { return !handler.isBusy(); }, 10000));
    }
    const QList<QByteArray> received = server.receivedRequests();
    ASSERT_EQ(received.size(), 3);
    // Nothing to answer before the challenge.
    EXPECT_FALSE(headerOf(received.at(0), "Authorization").startsWith("Digest"));
    // Both later sends answer the 401, the second after a 200 came between,
    // with a higher nonce count.
    int lastCount = 0;
    for (int i = 1; i < 3; ++i) {
        const QString sent = QString::fromLatin1(headerOf(received.at(i), "Authorization"));
        const QRegularExpressionMatch answer =
            QRegularExpression(QStringLiteral("nc=([0-9a-f]{8}), cnonce=\"([0-9a-f]+)\"")).match(sent);
        ASSERT_TRUE(answer.hasMatch()) << sent.toStdString();
        const int count = answer.captured(1).toInt(nullptr, 16);
        EXPECT_GT(count, lastCount);
        lastCount = count;
        const auto challenge = HXHTTPDigestAuth::digestChallenge(
            QStringLiteral("Digest realm=\"kea\", qop=\"auth\", algorithm=SHA-256, nonce=\"n-1\", opaque=\"op\""));
        ASSERT_TRUE(challenge);
        EXPECT_EQ(sent, HXHTTPDigestAuth::authorizationHeader(
                            *challenge, QStringLiteral("kea"), QStringLiteral("s3cret"), QStringLiteral("GET"),
                            QStringLiteral("/protected?x=1"), answer.captured(2), QByteArray(), count));
    }
    EXPECT_EQ(request->lastResponse()->statusCode(), 200);
}

TEST_F(AuthorizationValuesTest, OAuth2TokenIsFetchedOnceAndAgainAfterItExpires)
{
    server.addResponse(reply("200 OK", "Content-Type: application/json\r\n",
                             R"({"access_token":"first","token_type":"Bearer","expires_in":0.5})"));
    server.addResponse(reply("200 OK", "Content-Type: application/json\r\n",
                             R"({"access_token":"second","token_type":"bearer","expires_in":"3600"})"));
    auto value = HXDynamicValue::make<HXOAuth2ClientCredentialsDynamicValue>();
    value->setTokenURL(server.url(QStringLiteral("/token")).toString());
    value->setClientId(QStringLiteral("kea app"));
    value->setClientSecret(QStringLiteral("p&ss"));
    value->setScope(QStringLiteral("read write"));

    EXPECT_EQ(value->evaluatedString(), QStringLiteral("Bearer first"));
    EXPECT_EQ(value->evaluatedString(), QStringLiteral("Bearer first"));
    ASSERT_EQ(server.receivedRequests().size(), 1);
    const QByteArray fetch = server.receivedRequests().at(0);
    EXPECT_TRUE(fetch.startsWith("POST /token HTTP/1.1\r\n"));
    EXPECT_EQ(headerOf(fetch, "Content-Type"), QByteArray("application/x-www-form-urlencoded"));
    EXPECT_EQ(headerOf(fetch, "Authorization"), "Basic " + QByteArray("kea%20app:p%26ss").toBase64());
    EXPECT_EQ(bodyOf(fetch), QByteArray("grant_type=client_credentials&scope=read%20write"));

    QThread::msleep(600);
    EXPECT_EQ(value->evaluatedString(), QStringLiteral("Bearer second"));
    EXPECT_EQ(value->evaluatedString(), QStringLiteral("Bearer second"));
    EXPECT_EQ(server.receivedRequests().size(), 2);

    // Credentials in the body make another cache entry, fetched anew.
    server.addResponse(reply("200 OK", {}, R"({"access_token":"third"})"));
    value->setCredentialsInBody(true);
    EXPECT_EQ(value->evaluatedString(), QStringLiteral("Bearer third"));
    ASSERT_EQ(server.receivedRequests().size(), 3);
    EXPECT_TRUE(headerOf(server.receivedRequests().at(2), "Authorization").isEmpty());
    EXPECT_EQ(bodyOf(server.receivedRequests().at(2)),
              QByteArray("grant_type=client_credentials&scope=read%20write&client_id=kea%20app&client_secret=p%26ss"));
}

TEST_F(AuthorizationValuesTest, OAuth2FailuresSayWhatTheEndpointAnswered)
{
    const struct
    {
        const char *name;
        QByteArray response; // empty: the connection is closed without one
        const char *expected;
    } cases[] = {
        {"refused client", reply("401 Unauthorized", {}, R"({"error":"invalid_client","error_description":"unknown"})"),
         "status 401 (invalid_client: unknown)"},
        {"no token", reply("200 OK", {}, R"({"token_type":"Bearer"})"), "holds no access_token"},
        {"unsafe token", reply("200 OK", {}, "{\"access_token\":\"a\\r\\nX-Evil: 1\"}"), "cannot be sent"},
        {"not JSON", reply("500 Internal Server Error", {}, "<html>"), "status 500"},
        {"closed", {}, "failed"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        if (c.response.isEmpty())
            server.addScript(HXTestHTTPScript().readRequest().close());
        else
            server.addResponse(c.response);
        HXOAuth2TokenFetcher::Parameters parameters;
        parameters.tokenURL = server.url(QStringLiteral("/token"));
        parameters.clientId = QString::fromLatin1(c.name);
        parameters.timeoutSeconds = 5;
        const HXResult<HXOAuth2TokenFetcher::Token> token = HXOAuth2TokenFetcher::token(parameters);
        ASSERT_FALSE(token);
        EXPECT_TRUE(token.error().description.contains(QLatin1String(c.expected)))
            << token.error().description.toStdString();
    }
    // A failure is answered from the cache for a while: the endpoint is not
    // asked again, and the value yields nothing.
    const qsizetype asked = server.receivedRequests().size();
    auto value = HXDynamicValue::make<HXOAuth2ClientCredentialsDynamicValue>();
    value->setTokenURL(server.url(QStringLiteral("/token")).toString());
    value->setClientId(QStringLiteral("refused client"));
    EXPECT_EQ(value->evaluatedString(), QString());
    EXPECT_EQ(server.receivedRequests().size(), asked);
    value->setTokenURL(QStringLiteral("ftp://example.invalid/token"));
    EXPECT_EQ(value->evaluatedString(), QString());
}
