#pragma once

// The fixture of the scenario tables that run against all three engines: one
// loopback server, a request through the engine under test, and an outcome
// that reads the same for every engine.

#include "HXHTTPRequest.h"
#include "HXHTTPSettings.h"
#include "HXTestHTTPDelegate.h"
#include "HXTestHTTPServer.h"
#include "HXUserDefaults.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace HXEngineScenario {

enum Engine { EngineOwn, EngineCurl, EngineQt };

// One expectation per engine.
template <typename T>
struct PerEngine
{
    T own, curl, qt;
    const T &operator[](Engine engine) const { return engine == EngineOwn ? own : engine == EngineCurl ? curl : qt; }
};
template <typename T>
PerEngine<T> same(const T &value)
{
    return {value, value, value};
}

struct Exchange
{
    std::unique_ptr<HXHTTPRequest> request;
    HXTestHTTPDelegate delegate;

    // "200 body", or "failed <domain>:<code>" ("kea" for the engines' own
    // domain), or "failed null".
    std::string outcome() const
    {
        if (!delegate.hasEnded())
            return "pending";
        if (delegate.events.last() == u"finished")
            return std::to_string(request->responseStatusCode()) + ' ' + request->responseData().toStdString();
        const HXError &error = delegate.error;
        if (error.isNull())
            return "failed null";
        const QString domain = error.domain == HXHTTPRequestErrorDomain ? QStringLiteral("kea") : error.domain;
        return "failed " + domain.toStdString() + ':' + std::to_string(error.code);
    }
};

struct Options
{
    QString method = QStringLiteral("GET");
    HXHTTPHeaderList headers;
    double timeout = 5;
    bool followRedirects = false;
    bool ignoreValidation = false;
    std::optional<bool> trustAnswer;
    int trustAnswerDelayMs = 0;
    HXHTTPResponseBodyStorage bodyStorage;
    qint64 maximumResponseLength = HXHTTPRequest::defaultMaximumResponseLength;
};

class HXEngineScenarioFixture : public ::testing::TestWithParam<Engine>
{
protected:
    void SetUp() override
    {
        setSetting("HXUserDefaultHTTPProxyConfiguration", QStringLiteral("NoProxy"));
        ASSERT_TRUE(server.listen());
    }
    void TearDown() override
    {
        HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
        for (const QString &key : defaults.registeredDefaults().keys()) {
            if (key.startsWith(u"HXUserDefaultHTTPProxy"))
                defaults.removeObjectForKey(key);
        }
    }
    static void setSetting(const char *key, const QVariant &value)
    {
        HXUserDefaults::standardUserDefaults().setObject(value, QString::fromLatin1(key));
    }

    Engine engine() const { return GetParam(); }

    std::unique_ptr<Exchange> send(const QUrl &url, const Options &options = {})
    {
        static const char *const identifiers[] = {"GCDHTTPRequest", "ASIHTTPRequest", "URLConnection"};
        auto exchange = std::make_unique<Exchange>();
        exchange->request = HXHTTPRequest::HTTPLibrary(QString::fromLatin1(identifiers[engine()])).createRequest(url);
        HXHTTPRequest &request = *exchange->request;
        // The settings are read when the request is made, as the request handler does.
        request.setSettings(HXHTTPSettings::fromUserDefaults(HXUserDefaults::standardUserDefaults()));
        request.setMethod(options.method);
        request.setRequestHeaders(options.headers);
        request.setTimeoutInterval(options.timeout);
        request.setFollowRedirects(options.followRedirects);
        request.setIgnoreSSLCertificatesValidation(options.ignoreValidation);
        request.setResponseBodyStorage(options.bodyStorage);
        request.setMaximumResponseLength(options.maximumResponseLength);
        exchange->delegate.trustAnswer = options.trustAnswer;
        exchange->delegate.trustAnswerDelayMs = options.trustAnswerDelayMs;
        request.setDelegate(&exchange->delegate);
        request.start();
        return exchange;
    }
    std::unique_ptr<Exchange> sendAndWait(const QUrl &url, const Options &options = {})
    {
        std::unique_ptr<Exchange> exchange = send(url, options);
        EXPECT_TRUE(exchange->delegate.waitUntilEnded(10000));
        return exchange;
    }

    HXTestHTTPServer server;
};

inline std::string engineName(const ::testing::TestParamInfo<Engine> &info)
{
    static const char *const names[] = {"Own", "Libcurl", "QtNetwork"};
    return names[info.param];
}

} // namespace HXEngineScenario
