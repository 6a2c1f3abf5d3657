// Proxies through the own engine: the exact bytes sent to an HTTP proxy and
// in a CONNECT, and a PAC file served locally that chooses between a real
// tinyproxy and a direct connection. (Plain and tunnelled requests through
// tinyproxy are in HXEngineScenarioSecureTest, for every engine.)

#include "HXGCDHTTPRequest.h"
#include "HXHTTPSettings.h"
#include "HXPACScript.h"
#include "HXTestHTTPDelegate.h"
#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"
#include "HXTestTinyproxy.h"
#include "HXUserDefaults.h"

#include <gtest/gtest.h>

namespace {

const QByteArray okResponse = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

class HXGCDHTTPRequestProxyTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
        for (const QString &key : defaults.registeredDefaults().keys()) {
            if (key.startsWith(u"HXUserDefaultHTTPProxy"))
                defaults.removeObjectForKey(key);
        }
    }

    static void useCustomProxies(const QString &httpHost, int httpPort, const QString &httpsHost, int httpsPort)
    {
        HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
        defaults.setObject(QStringLiteral("Custom"), QStringLiteral("HXUserDefaultHTTPProxyConfiguration"));
        defaults.setBool(!httpHost.isEmpty(), QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyEnabled"));
        defaults.setObject(httpHost, QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyHost"));
        defaults.setInteger(httpPort, QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyPort"));
        defaults.setBool(!httpsHost.isEmpty(), QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyEnabled"));
        defaults.setObject(httpsHost, QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyHost"));
        defaults.setInteger(httpsPort, QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyPort"));
    }

    static void usePAC(const QUrl &pacURL)
    {
        HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
        defaults.setObject(QStringLiteral("Custom"), QStringLiteral("HXUserDefaultHTTPProxyConfiguration"));
        defaults.setBool(true, QStringLiteral("HXUserDefaultHTTPProxyPACEnabled"));
        defaults.setObject(pacURL.toString(), QStringLiteral("HXUserDefaultHTTPProxyPACURL"));
    }

    struct Result
    {
        std::unique_ptr<HXGCDHTTPRequest> request;
        std::unique_ptr<HXTestHTTPDelegate> delegate = std::make_unique<HXTestHTTPDelegate>();
    };

    static Result fetch(const QUrl &url, double timeout = 10)
    {
        Result result;
        result.request = std::make_unique<HXGCDHTTPRequest>(url);
        result.request->setSettings(HXHTTPSettings::fromUserDefaults(HXUserDefaults::standardUserDefaults()));
        result.request->setIgnoreSSLCertificatesValidation(true);
        result.request->setTimeoutInterval(timeout);
        result.request->setRequestHeaders({{QStringLiteral("Accept"), QStringLiteral("text/plain")}});
        result.request->setDelegate(result.delegate.get());
        result.request->start();
        EXPECT_TRUE(result.delegate->waitUntilEnded(15000));
        return result;
    }
};

TEST_F(HXGCDHTTPRequestProxyTest, HTTPProxyGetsTheAbsoluteURL)
{
    HXTestHTTPServer proxy;
    ASSERT_TRUE(proxy.listen());
    proxy.addResponse(okResponse);
    useCustomProxies(QStringLiteral("127.0.0.1"), proxy.port(), QString(), 0);
    Result result = fetch(QUrl(QStringLiteral("http://origin.test:8081/path?x=1")));
    EXPECT_EQ(result.delegate->eventsWithoutProgress(), "headers finished");
    ASSERT_EQ(proxy.receivedRequests().size(), 1);
    EXPECT_EQ(proxy.receivedRequests().first(), "GET http://origin.test:8081/path?x=1 HTTP/1.1\r\n"
                                                "Accept: text/plain\r\nHost: origin.test:8081\r\n"
                                                "Connection: close\r\nUser-Agent: " +
                                                    HXHTTPRequest::defaultUserAgent().toLatin1() + "\r\n\r\n");
}

TEST_F(HXGCDHTTPRequestProxyTest, HTTPSProxyGetsAConnectRequest)
{
    HXTestHTTPServer proxy;
    ASSERT_TRUE(proxy.listen());
    // Agrees, then closes instead of tunnelling: the request fails after
    // the CONNECT was sent.
    proxy.addResponse("HTTP/1.1 200 Connection established\r\n\r\n");
    useCustomProxies(QString(), 0, QStringLiteral("127.0.0.1"), proxy.port());
    Result result = fetch(QUrl(QStringLiteral("https://secure.test/account")));
    EXPECT_EQ(result.delegate->foldedEvents(), "failed");
    ASSERT_EQ(proxy.receivedRequests().size(), 1);
    EXPECT_EQ(proxy.receivedRequests().first(), "CONNECT secure.test:443 HTTP/1.1\r\n"
                                                "Host: secure.test\r\nConnection: keep-alive\r\nUser-Agent: " +
                                                    HXHTTPRequest::defaultUserAgent().toLatin1() +
                                                    "\r\nProxy-Connection: keep-alive\r\n\r\n");
}

TEST_F(HXGCDHTTPRequestProxyTest, PACFileChoosesProxyOrDirect)
{
    HXTestTinyproxy tinyproxy;
    QString reason;
    if (!tinyproxy.start(&reason))
        GTEST_SKIP() << reason.toStdString();

    const QByteArray script = "function FindProxyForURL(url, host) {\n"
                              "  if (shExpMatch(url, '*/via-proxy*') && isInNet(host, '127.0.0.0', '255.0.0.0'))\n"
                              "    return 'PROXY 127.0.0.1:" +
                              QByteArray::number(tinyproxy.port()) +
                              "; DIRECT';\n"
                              "  return 'DIRECT';\n"
                              "}\n";
    HXTestHTTPServer pacServer;
    ASSERT_TRUE(pacServer.listen());
    pacServer.setDefaultScript(HXTestHTTPScript::respond(
        "HTTP/1.1 200 OK\r\nContent-Type: application/x-ns-proxy-autoconfig\r\nContent-Length: " +
        QByteArray::number(script.size()) + "\r\n\r\n" + script));
    usePAC(pacServer.url(QStringLiteral("/proxy.pac")));

    HXTestHTTPServer origin;
    ASSERT_TRUE(origin.listen());
    origin.setDefaultScript(HXTestHTTPScript::respond(okResponse));

    Result proxied = fetch(origin.url(QStringLiteral("/via-proxy")));
    Result direct = fetch(origin.url(QStringLiteral("/direct")));
    EXPECT_EQ(proxied.delegate->eventsWithoutProgress(), "headers finished");
    EXPECT_EQ(direct.delegate->eventsWithoutProgress(), "headers finished");
    const QList<QByteArray> requests = origin.receivedRequests();
    ASSERT_EQ(requests.size(), 2);
    // Through tinyproxy (its header order), then direct (the request's own).
    EXPECT_TRUE(requests[0].startsWith("GET /via-proxy HTTP/1.1\r\nHost: "));
    EXPECT_TRUE(tinyproxy.log().contains("/via-proxy"));
    EXPECT_TRUE(requests[1].startsWith("GET /direct HTTP/1.1\r\nAccept: text/plain\r\n"));
    EXPECT_FALSE(tinyproxy.log().contains("/direct"));
}

TEST_F(HXGCDHTTPRequestProxyTest, UnreadablePACFileFailsWithItsCause)
{
    HXTestHTTPServer pacServer;
    ASSERT_TRUE(pacServer.listen());
    pacServer.setDefaultScript(HXTestHTTPScript::respond("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"));
    usePAC(pacServer.url(QStringLiteral("/missing.pac")));
    Result missing = fetch(QUrl(QStringLiteral("http://127.0.0.1:9/")));
    EXPECT_EQ(missing.delegate->foldedEvents(), "failed");
    EXPECT_TRUE(missing.delegate->error.sameKindAs(HXHTTPRequestPACFileError()));
    EXPECT_EQ(missing.delegate->error.description, QStringLiteral("Cannot read proxy PAC file"));
    // The fetch's own cause, once, right under the PAC error.
    ASSERT_TRUE(missing.delegate->error.underlying);
    EXPECT_EQ(missing.delegate->error.underlying->domain, QString::fromLatin1(HXPACScript::errorDomain));
    EXPECT_EQ(missing.delegate->error.underlying->code, 404);
    EXPECT_FALSE(missing.delegate->error.underlying->underlying);

    pacServer.setDefaultScript(HXTestHTTPScript::respond("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nnot a js("));
    Result broken = fetch(QUrl(QStringLiteral("http://127.0.0.1:9/")));
    EXPECT_TRUE(broken.delegate->error.sameKindAs(HXHTTPRequestPACFileError()));

    // An empty answer decides nothing: only the time limit ends the request.
    const QByteArray silent = "function FindProxyForURL(url, host) { return ''; }";
    pacServer.setDefaultScript(HXTestHTTPScript::respond(
        "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(silent.size()) + "\r\n\r\n" + silent));
    Result undecided = fetch(QUrl(QStringLiteral("http://127.0.0.1:9/")), 0.5);
    EXPECT_EQ(undecided.delegate->foldedEvents(), "failed");
    EXPECT_TRUE(undecided.delegate->error.sameKindAs(HXHTTPRequestTimedOutError()));
}

} // namespace
