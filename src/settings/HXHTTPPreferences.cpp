#include "HXHTTPPreferences.h"

#include "HXUserDefaults.h"

#include <QCoreApplication>

QStringList HXHTTPPreferences::observedKeys()
{
    return {QStringLiteral("HXUserDefaultHTTPLibrary"),
            QStringLiteral("HXUserDefaultHTTPProxyConfiguration"),
            QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyEnabled"),
            QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyEnabled"),
            QStringLiteral("HXUserDefaultHTTPProxyPACEnabled"),
            QStringLiteral("HXUserDefaultHTTPAlwaysSendRequestBody")};
}

HXHTTPPreferencesEnabledFields HXHTTPPreferences::refreshEnabledFields(const HXUserDefaults &defaults)
{
    HXHTTPPreferencesEnabledFields fields;
    const QString library = defaults.stringForKey(QStringLiteral("HXUserDefaultHTTPLibrary"));
    fields.isHTTPLibraryGCDHTTPRequest = library == u"GCDHTTPRequest";
    if (library != u"GCDHTTPRequest" && library != u"ASIHTTPRequest") {
        // The Qt Network engine (and any unknown identifier) uses the
        // system's proxies: the whole section is off.
        fields.proxySectionTitle = QCoreApplication::translate(
            "HXHTTPPreferences", "NSURLConnection always uses the System Proxy Configuration");
        return fields;
    }
    fields.proxyConfigurationEnabled = true;
    if (defaults.stringForKey(QStringLiteral("HXUserDefaultHTTPProxyConfiguration")) != u"Custom")
        return fields;
    const bool pac = defaults.boolForKey(QStringLiteral("HXUserDefaultHTTPProxyPACEnabled"));
    fields.customEnabled = true;
    fields.pacEnabled = pac;
    fields.httpProxyCheckboxEnabled = !pac;
    fields.httpsProxyCheckboxEnabled = !pac;
    fields.httpProxyFieldsEnabled =
        !pac && defaults.boolForKey(QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyEnabled"));
    fields.httpsProxyFieldsEnabled =
        !pac && defaults.boolForKey(QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyEnabled"));
    return fields;
}

QString HXHTTPPreferences::alwaysSendRequestBodyExplanation(bool on)
{
    return on ? QCoreApplication::translate(
                    "HXHTTPPreferences",
                    "The request body will be always sent, even for GET, HEAD, DELETE, OPTIONS requests")
              : QCoreApplication::translate("HXHTTPPreferences",
                                            "The request body won't be send for GET, HEAD, DELETE, OPTIONS requests");
}

QString HXHTTPPreferences::URLEncodingURLPathsExplanation(bool on)
{
    return on ? QCoreApplication::translate("HXHTTPPreferences",
                                            "For example, the code %20 will be converted to %2520, and spaces will be "
                                            "converted to %20")
              : QCoreApplication::translate(
                    "HXHTTPPreferences",
                    "For example, the code %20 will be interpreted as is, but spaces will be converted to %20");
}
