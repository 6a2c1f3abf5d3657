#include "HXUserDefaults.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

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

// A settings file is rewritten (lock, sync, rename: a new inode) only when a
// value really changes; setting a key to the value it has, as every send
// does for some keys, leaves the file alone.
TEST(RegisteredDefaults, SettingAKeyToItsValueLeavesTheFileAlone)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(u"Kea.ini"_s);
    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    defaults.useSettingsFile(path);
    auto inode = [&] {
        struct stat info
        {};
        return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : ino_t(0);
    };
    struct Case
    {
        QString key;
        QVariant value;
        QVariant changed;
    };
    const QList<Case> cases = {{u"_HXUserDefaultHasNewCompletions"_s, true, false},
                               {u"HXUserDefaultMaxResponsesInCache"_s, 120, 121},
                               {u"HXUserDefaultHTTPLibrary"_s, u"ASIHTTPRequest"_s, u"URLConnection"_s}};
    for (const Case &item : cases) {
        defaults.setObject(item.value, item.key);
        defaults.synchronize();
        const ino_t written = inode();
        ASSERT_NE(written, ino_t(0)) << item.key.toStdString();
        defaults.setObject(item.value, item.key);
        defaults.synchronize();
        EXPECT_EQ(inode(), written) << item.key.toStdString();
        defaults.setObject(item.changed, item.key);
        defaults.synchronize();
        EXPECT_NE(inode(), written) << item.key.toStdString();
        EXPECT_EQ(defaults.objectForKey(item.key), item.changed) << item.key.toStdString();
    }
    defaults.useSettingsFile(QString());
}

} // namespace
