#include "HXUserDefaults.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The registered defaults are what every setting reads until the user
// changes it; the table below is the agreed list, entry for entry.
TEST(RegisteredDefaults, AreExactlyTheAgreedTable)
{
    const QVariantMap expected = {
        {u"HXUserDefaultEnableSounds"_s, false},
        {u"NSQuitAlwaysKeepsWindows"_s, true},
        {u"HXUserDefaultShowHexResponseTab"_s, false},
        {u"HXUserDefaultShowRawResponseTab"_s, true},
        {u"HXUserDefaultMaxResponsesInCache"_s, 300},
        {u"HXUserDefaultHTTPLibrary"_s, u"GCDHTTPRequest"_s},
        {u"HXUserDefaultValidateSSLCertificates"_s, true},
        {u"HXUserDefaultConvertInternationalizedDomainNames"_s, true},
        {u"HXUserDefaultURLEncodingURLPaths"_s, false},
        {u"HXUserDefaultAutoContentType"_s, true},
        {u"HXUserDefaultHTTPAlwaysSendRequestBody"_s, false},
        {u"HXUserDefaultHTTPProxyConfiguration"_s, u"SystemConfiguration"_s},
        {u"HXUserDefaultHTTPProxyHTTPProxyEnabled"_s, false},
        {u"HXUserDefaultHTTPProxyHTTPProxyHost"_s, u"localhost"_s},
        {u"HXUserDefaultHTTPProxyHTTPProxyPort"_s, 8080},
        {u"HXUserDefaultHTTPProxyHTTPSProxyEnabled"_s, false},
        {u"HXUserDefaultHTTPProxyHTTPSProxyHost"_s, u"localhost"_s},
        {u"HXUserDefaultHTTPProxyHTTPSProxyPort"_s, 8080},
        {u"HXUserDefaultHTTPProxyPACEnabled"_s, false},
        {u"HXUserDefaultHTTPProxyPACURL"_s, u""_s},
        {u"HXUserDefaultCopyRequestsAs"_s, u"cURL"_s},
        {u"HXUserDefaultShowRequestsCode"_s, u"cURL"_s},
        {u"HXUserDefaultcURLUseLongOptions"_s, false},
        {u"HXUserDefaultcURLVerbose"_s, true},
        {u"HXUserDefaultcURLIndent"_s, true},
        {u"HXUserDefaultCodeAddComments"_s, true},
        {u"HXUserDefaultCodeAddCompletionCallbacks"_s, true},
        {u"HXUserDefaultJSONPrettyPrint"_s, true},
        {u"HXUserDefaultJSONSortKeys"_s, false},
        {u"HXUserDefaultJSONIndentWithSpaces"_s, true},
        {u"HXUserDefaultJSONIndentSize"_s, 2},
        {u"HXUserDefaultJSONEscapeForwardSlashes"_s, false},
        {u"HXUserDefaultJSONEscapeUnicodeCharacters"_s, false},
    };
    QVariantMap registered = HXUserDefaults::standardUserDefaults().registeredDefaults();
    EXPECT_EQ(registered.size(), 34);
    const QVariantList formats = registered.take(u"HXUserDefaultResponseTextFormats"_s).toList();
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        ASSERT_TRUE(registered.contains(it.key())) << qPrintable(it.key());
        const QVariant value = registered.value(it.key());
        EXPECT_EQ(value.typeId(), it.value().typeId()) << qPrintable(it.key());
        EXPECT_EQ(value.toString(), it.value().toString()) << qPrintable(it.key());
    }

    // Content types mapped to body formats, in order; "regex" marks a pattern.
    QStringList rows;
    for (const QVariant &format : formats) {
        const QVariantMap entry = format.toMap();
        EXPECT_EQ(entry.size(), 3);
        rows.append(u"%1 | %2 | %3"_s.arg(entry.value(u"format"_s).toString(),
                                          entry.value(u"content-type"_s).toString(),
                                          entry.value(u"regex"_s).toBool() ? u"YES"_s : u"NO"_s));
    }
    EXPECT_EQ(rows, QStringList({u"JSON | application/json | NO"_s, u"JSON | application/javascript | NO"_s,
                                 u"JSON | text/javascript | NO"_s, u"XML | .*xml.* | YES"_s,
                                 u"Form URL-Encoded | application/x-www-form-urlencoded | NO"_s}));
}

} // namespace
