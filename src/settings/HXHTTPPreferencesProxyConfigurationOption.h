#pragma once

#include <QList>
#include <QString>

// One entry of the proxy menu of the HTTP preferences: the stored value of
// "HXUserDefaultHTTPProxyConfiguration" and its label.
class HXHTTPPreferencesProxyConfigurationOption
{
public:
    HXHTTPPreferencesProxyConfigurationOption(const QString &value, const QString &localizedName)
        : m_value(value), m_localizedName(localizedName)
    {}

    QString value() const { return m_value; }
    QString localizedName() const { return m_localizedName; }

    // "SystemConfiguration", "Custom", "NoProxy", in menu order.
    static QList<HXHTTPPreferencesProxyConfigurationOption> proxyConfigurationOptions();

private:
    QString m_value;
    QString m_localizedName;
};
