#pragma once

#include <QString>
#include <QStringList>

class HXUserDefaults;

// Which controls of the HTTP preferences pane are enabled, from the settings.
struct HXHTTPPreferencesEnabledFields
{
    bool isHTTPLibraryGCDHTTPRequest = false;
    bool proxyConfigurationEnabled = false; // the configuration menu
    QString proxySectionTitle;              // empty unless the section is off
    bool customEnabled = false;
    bool pacEnabled = false; // PAC URL field
    bool httpProxyCheckboxEnabled = false;
    bool httpProxyFieldsEnabled = false; // host and port
    bool httpsProxyCheckboxEnabled = false;
    bool httpsProxyFieldsEnabled = false;

    bool operator==(const HXHTTPPreferencesEnabledFields &other) const = default;
};

// The rules of the HTTP preferences pane, apart from its widgets.
class HXHTTPPreferences
{
public:
    // The settings the pane observes (it refreshes when one changes).
    static QStringList observedKeys();
    // The enabling rules, from the current settings.
    static HXHTTPPreferencesEnabledFields refreshEnabledFields(const HXUserDefaults &defaults);
    // The text under "HXUserDefaultHTTPAlwaysSendRequestBody".
    static QString alwaysSendRequestBodyExplanation(bool on);
    // The text under "HXUserDefaultURLEncodingURLPaths".
    static QString URLEncodingURLPathsExplanation(bool on);
};
