#include "HXHTTPPreferencesProxyConfigurationOption.h"

#include <QCoreApplication>

QList<HXHTTPPreferencesProxyConfigurationOption> HXHTTPPreferencesProxyConfigurationOption::proxyConfigurationOptions()
{
    auto text = [](const char *source) { return QCoreApplication::translate("HXHTTPPreferences", source); };
    return {
        {QStringLiteral("SystemConfiguration"), text("System Proxy Configuration")},
        {QStringLiteral("Custom"), text("Custom Proxy Configuration")},
        {QStringLiteral("NoProxy"), text("Disable Proxy")},
    };
}
