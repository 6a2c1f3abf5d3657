#include "HXHTTPSettings.h"

#include "HXUserDefaults.h"

HXHTTPSettings HXHTTPSettings::fromUserDefaults(const HXUserDefaults &defaults)
{
    auto string = [&](const char *key) { return defaults.stringForKey(QString::fromLatin1(key)); };
    auto boolean = [&](const char *key) { return defaults.boolForKey(QString::fromLatin1(key)); };
    auto integer = [&](const char *key) { return int(defaults.integerForKey(QString::fromLatin1(key))); };
    HXHTTPSettings settings;
    settings.proxyConfiguration = string("HXUserDefaultHTTPProxyConfiguration");
    settings.proxyPACEnabled = boolean("HXUserDefaultHTTPProxyPACEnabled");
    settings.proxyPACURL = string("HXUserDefaultHTTPProxyPACURL");
    settings.HTTPProxyEnabled = boolean("HXUserDefaultHTTPProxyHTTPProxyEnabled");
    settings.HTTPProxyHost = string("HXUserDefaultHTTPProxyHTTPProxyHost");
    settings.HTTPProxyPort = integer("HXUserDefaultHTTPProxyHTTPProxyPort");
    settings.HTTPSProxyEnabled = boolean("HXUserDefaultHTTPProxyHTTPSProxyEnabled");
    settings.HTTPSProxyHost = string("HXUserDefaultHTTPProxyHTTPSProxyHost");
    settings.HTTPSProxyPort = integer("HXUserDefaultHTTPProxyHTTPSProxyPort");
    settings.alwaysSendRequestBody = boolean("HXUserDefaultHTTPAlwaysSendRequestBody");
    settings.extraCAFiles = string("HXUserDefaultTLSExtraCAFiles").split(u':', Qt::SkipEmptyParts) +
                            qEnvironmentVariable("KEA_CA_FILES").split(u':', Qt::SkipEmptyParts);
    const QString memoryLimitKey = QStringLiteral("HXUserDefaultHTTPResponseMemoryLimit");
    if (defaults.hasUserValueForKey(memoryLimitKey))
        settings.responseMemoryLimit = defaults.integerForKey(memoryLimitKey);
    return settings;
}
