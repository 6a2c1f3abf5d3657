// Proxy decisions from the settings, PAC answers and the PAC helper
// functions, and the enabling rules of the HTTP preferences.

#include "HXHTTPProxyConfiguration.h"
#include "HXHTTPPreferences.h"
#include "HXHTTPRequest.h"
#include "HXHTTPSettings.h"
#include "HXPACScript.h"
#include "HXUserDefaults.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

namespace {

class HXHTTPSettingsTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
        for (const QString &key : defaults.registeredDefaults().keys()) {
            if (key.startsWith(u"HXUserDefaultHTTP"))
                defaults.removeObjectForKey(key);
        }
    }
    static void set(const char *key, const QVariant &value)
    {
        HXUserDefaults::standardUserDefaults().setObject(value, QString::fromLatin1(key));
    }
    static std::string decide(const char *url)
    {
        QUrl pac;
        const HXHTTPProxyDecision decision = HXHTTPProxyConfiguration::decisionFromSettings(
            QUrl(QString::fromLatin1(url)), HXHTTPSettings::fromUserDefaults(HXUserDefaults::standardUserDefaults()),
            &pac);
        if (pac.isValid())
            return "pac " + pac.toString().toStdString();
        return std::to_string(decision.proxyMode) + " " + decision.host.toStdString() + ":" +
               std::to_string(decision.port);
    }
};

TEST_F(HXHTTPSettingsTest, DecisionFromTheSettings)
{
    set("HXUserDefaultHTTPProxyConfiguration", QStringLiteral("NoProxy"));
    set("HXUserDefaultHTTPProxyHTTPProxyEnabled", true);
    EXPECT_EQ(decide("http://a.test/"), "0 :0");

    set("HXUserDefaultHTTPProxyConfiguration", QStringLiteral("Custom"));
    set("HXUserDefaultHTTPProxyHTTPProxyHost", QStringLiteral("proxy.test"));
    set("HXUserDefaultHTTPProxyHTTPProxyPort", 3128);
    EXPECT_EQ(decide("HTTP://a.test/"), "1 proxy.test:3128");
    EXPECT_EQ(decide("https://a.test/"), "0 :0"); // the HTTPS proxy is off
    set("HXUserDefaultHTTPProxyHTTPSProxyEnabled", true);
    EXPECT_EQ(decide("https://a.test/"), "2 localhost:8080");
    EXPECT_EQ(decide("ftp://a.test/"), "0 :0");

    set("HXUserDefaultHTTPProxyPACEnabled", true);
    set("HXUserDefaultHTTPProxyPACURL", QStringLiteral("http://wpad.test/proxy.pac"));
    EXPECT_EQ(decide("http://a.test/"), "pac http://wpad.test/proxy.pac");
    set("HXUserDefaultHTTPProxyPACURL", QStringLiteral("not a url"));
    EXPECT_EQ(decide("http://a.test/"), "0 :0");
}

TEST_F(HXHTTPSettingsTest, SystemConfigurationFollowsTheEnvironment)
{
    const QByteArray saved = qgetenv("http_proxy");
    const QByteArray savedNoProxy = qgetenv("no_proxy");
    qputenv("http_proxy", "http://envproxy.test:3129");
    qunsetenv("no_proxy");
    const std::string decided = decide("http://a.test/");
    // The machine itself is never reached through the system's proxy.
    std::vector<std::string> loopback;
    for (const char *url :
         {"http://127.0.0.1:8080/", "http://127.3.4.5/", "http://[::1]/", "http://LOCALHOST/", "http://api.localhost/"})
        loopback.push_back(decide(url));
    const std::string lookalike = decide("http://localhost.example/");
    qunsetenv("http_proxy");
    const std::string none = decide("http://a.test/");
    if (!saved.isEmpty())
        qputenv("http_proxy", saved);
    if (!savedNoProxy.isEmpty())
        qputenv("no_proxy", savedNoProxy);
    EXPECT_EQ(decided, "1 envproxy.test:3129");
    EXPECT_EQ(none, "0 :0");
    EXPECT_EQ(loopback, std::vector<std::string>(5, "0 :0"));
    EXPECT_EQ(lookalike, "1 envproxy.test:3129");
}

TEST_F(HXHTTPSettingsTest, PACAnswers)
{
    auto read = [](const char *answer, const char *url) {
        const HXHTTPProxyDecision decision = HXHTTPProxyConfiguration::decisionFromPACResult(
            QString::fromLatin1(answer), QUrl(QString::fromLatin1(url)));
        return std::to_string(decision.proxyMode) + " " + decision.host.toStdString() + ":" +
               std::to_string(decision.port);
    };
    EXPECT_EQ(read("PROXY p.test:3128; DIRECT", "http://a/"), "1 p.test:3128");
    EXPECT_EQ(read("  proxy   p.test:3128  ", "https://a/"), "2 p.test:3128");
    EXPECT_EQ(read("PROXY [::1]:8000", "http://a/"), "1 ::1:8000");
    EXPECT_EQ(read("PROXY p.test", "http://a/"), "1 p.test:80");
    EXPECT_EQ(read("DIRECT; PROXY p.test:1", "http://a/"), "0 :0");
    EXPECT_EQ(read("SOCKS s.test:1080", "http://a/"), "0 :0");
}

TEST_F(HXHTTPSettingsTest, PACHelperFunctions)
{
    // Wednesday 15 May 2024, 14:30:10 UTC.
    const QDateTime now(QDate(2024, 5, 15), QTime(14, 30, 10), Qt::UTC);
    auto run = [&](const QString &expression) {
        const QString script =
            QStringLiteral("function FindProxyForURL(url, host) { return String(%1); }").arg(expression);
        const HXResult<QString> result =
            HXPACScript::evaluate(script, QUrl(QStringLiteral("http://www.example.com:8080/p?q")), 2000, now);
        return result.ok() ? result.value().toStdString()
                           : "error: " + result.error().underlying->description.toStdString();
    };
    EXPECT_EQ(run(QStringLiteral("[isPlainHostName('www'), isPlainHostName('www.a.b')]")), "true,false");
    EXPECT_EQ(
        run(QStringLiteral("[dnsDomainIs(host, '.example.com'), dnsDomainIs('www.mozilla.org', '.example.com')]")),
        "true,false");
    EXPECT_EQ(run(QStringLiteral("[localHostOrDomainIs('www', 'www.example.com'), "
                                 "localHostOrDomainIs('www.example.com', 'www.example.com'), "
                                 "localHostOrDomainIs('www.other.com', 'www.example.com')]")),
              "true,true,false");
    EXPECT_EQ(run(QStringLiteral("[dnsDomainLevels('www'), dnsDomainLevels(host)]")), "0,2");
    EXPECT_EQ(run(QStringLiteral("[shExpMatch(url, '*/p?q'), shExpMatch(host, '*.example.c?m'), "
                                 "shExpMatch('a.b', 'a?c'), shExpMatch('a+b', 'a+b')]")),
              "true,true,false,true");
    EXPECT_EQ(run(QStringLiteral("[isInNet('10.1.2.3', '10.0.0.0', '255.0.0.0'), isInNet('11.1.2.3', '10.0.0.0', "
                                 "'255.0.0.0'), isInNet('127.0.0.1', '127.0.0.1', '255.255.255.255')]")),
              "true,false,true");
    EXPECT_EQ(run(QStringLiteral("[dnsResolve('127.0.0.1'), dnsResolve('localhost'), isResolvable('localhost')]")),
              "127.0.0.1,127.0.0.1,true");
    EXPECT_EQ(run(QStringLiteral("/^\\d+\\.\\d+\\.\\d+\\.\\d+$/.test(myIpAddress())")), "true");
    EXPECT_EQ(run(QStringLiteral("[weekdayRange('WED', 'GMT'), weekdayRange('MON', 'FRI', 'GMT'), "
                                 "weekdayRange('SAT', 'TUE', 'GMT'), weekdayRange('SAT', 'WED', 'GMT')]")),
              "true,true,false,true");
    EXPECT_EQ(run(QStringLiteral("[dateRange(15, 'GMT'), dateRange('MAY', 'GMT'), dateRange(2024, 'GMT'), "
                                 "dateRange(1, 14, 'GMT'), dateRange('APR', 'JUN', 'GMT'), "
                                 "dateRange(1, 'MAY', 2024, 15, 'MAY', 2024, 'GMT'), dateRange('DEC', 'FEB', 'GMT')]")),
              "true,true,true,false,true,true,false");
    EXPECT_EQ(run(QStringLiteral("[timeRange(14, 'GMT'), timeRange(9, 17, 'GMT'), timeRange(22, 6, 'GMT'), "
                                 "timeRange(14, 30, 14, 31, 'GMT'), timeRange(14, 30, 11, 14, 30, 20, 'GMT')]")),
              "true,true,false,true,false");
}

TEST_F(HXHTTPSettingsTest, PACFailuresCarryTheirCause)
{
    const QUrl url(QStringLiteral("http://a.test/"));
    const HXResult<QString> syntax = HXPACScript::evaluate(QStringLiteral("function ("), url);
    ASSERT_FALSE(syntax.ok());
    EXPECT_TRUE(syntax.error().sameKindAs(HXHTTPRequestPACFileError()));
    EXPECT_EQ(syntax.error().description, QStringLiteral("Cannot read proxy PAC file"));
    EXPECT_FALSE(HXPACScript::evaluate(QStringLiteral("var x = 1;"), url).ok());
    EXPECT_FALSE(HXPACScript::evaluate(QStringLiteral("function FindProxyForURL() { throw 'no'; }"), url).ok());

    QElapsedTimer clock;
    clock.start();
    const HXResult<QString> endless =
        HXPACScript::evaluate(QStringLiteral("function FindProxyForURL() { for (;;) {} }"), url, 200);
    ASSERT_FALSE(endless.ok());
    EXPECT_LT(clock.elapsed(), 3000);
    EXPECT_TRUE(endless.error().underlying->description.contains(QStringLiteral("200 ms")));

    const HXResult<QByteArray> missing = HXPACScript::fetch(QUrl(QStringLiteral("file:///nonexistent/proxy.pac")));
    ASSERT_FALSE(missing.ok());
    EXPECT_TRUE(missing.error().underlying);
}

TEST_F(HXHTTPSettingsTest, EnablingRulesOfThePane)
{
    const HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    auto fields = [&] { return HXHTTPPreferences::refreshEnabledFields(defaults); };

    // Defaults: own engine, system configuration.
    HXHTTPPreferencesEnabledFields expected;
    expected.isHTTPLibraryGCDHTTPRequest = true;
    expected.proxyConfigurationEnabled = true;
    EXPECT_EQ(fields(), expected);

    // Custom with both proxies on.
    set("HXUserDefaultHTTPProxyConfiguration", QStringLiteral("Custom"));
    set("HXUserDefaultHTTPProxyHTTPProxyEnabled", true);
    set("HXUserDefaultHTTPProxyHTTPSProxyEnabled", true);
    expected.customEnabled = true;
    expected.httpProxyCheckboxEnabled = expected.httpsProxyCheckboxEnabled = true;
    expected.httpProxyFieldsEnabled = expected.httpsProxyFieldsEnabled = true;
    EXPECT_EQ(fields(), expected);

    // PAC on: the fixed proxies are off, their stored switches kept.
    set("HXUserDefaultHTTPProxyPACEnabled", true);
    expected.pacEnabled = true;
    expected.httpProxyCheckboxEnabled = expected.httpsProxyCheckboxEnabled = false;
    expected.httpProxyFieldsEnabled = expected.httpsProxyFieldsEnabled = false;
    EXPECT_EQ(fields(), expected);
    EXPECT_TRUE(defaults.boolForKey(QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyEnabled")));

    // The libcurl engine keeps the section; Qt Network and unknown ones turn it off.
    set("HXUserDefaultHTTPLibrary", QStringLiteral("ASIHTTPRequest"));
    EXPECT_TRUE(fields().proxyConfigurationEnabled);
    EXPECT_FALSE(fields().isHTTPLibraryGCDHTTPRequest);
    for (const char *engine : {"URLConnection", "SomethingElse"}) {
        set("HXUserDefaultHTTPLibrary", QString::fromLatin1(engine));
        HXHTTPPreferencesEnabledFields off;
        off.proxySectionTitle = QStringLiteral("NSURLConnection always uses the System Proxy Configuration");
        EXPECT_EQ(fields(), off) << engine;
    }
}

} // namespace
