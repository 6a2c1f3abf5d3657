#pragma once

#include <QList>
#include <QString>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QSpinBox;

// One entry of the proxy menu: the stored value and its label.
struct HXHTTPPreferencesProxyConfigurationOption
{
    QString value;
    QString localizedName;
};

// The "HTTP" pane of the preferences: the engine, certificate validation,
// request bodies, URL path encoding and the proxy settings. Every control
// stores its setting at once; the proxy controls are enabled by the rules
// of enabledFields().
class HXHTTPPreferencesViewController : public QWidget
{
    Q_OBJECT
public:
    explicit HXHTTPPreferencesViewController(QWidget *parent = nullptr);

    static QString paneIdentifier() { return QStringLiteral("HTTP"); }
    static QList<HXHTTPPreferencesProxyConfigurationOption> proxyConfigurationOptions();
    static QString alwaysSendRequestBodyText(bool on);
    static QString URLEncodingText(bool on);

    // Which proxy controls can be used, from the stored settings.
    struct EnabledFields
    {
        bool configurationMenu = false;
        bool custom = false;
        bool pacSwitch = false;
        bool pacURL = false;
        bool httpSwitch = false;
        bool httpFields = false;
        bool httpsSwitch = false;
        bool httpsFields = false;
        QString proxySectionTitle;
        bool operator==(const EnabledFields &) const = default;
    };
    static EnabledFields enabledFields(const QString &engine, const QString &configuration, bool pacEnabled,
                                       bool httpEnabled, bool httpsEnabled);

    QComboBox *engineMenu() const { return m_engine; }
    QComboBox *configurationMenu() const { return m_configuration; }
    QCheckBox *pacSwitch() const { return m_pac; }
    QCheckBox *httpSwitch() const { return m_http; }
    QLineEdit *httpHost() const { return m_httpHost; }
    QLabel *proxySectionTitle() const { return m_proxyTitle; }
    QLabel *alwaysSendRequestBodyExplanation() const { return m_alwaysSendText; }

    // Applies enabledFields() and the explanatory texts to the controls.
    void refreshEnabledFields();

private:
    QComboBox *m_engine = nullptr;
    QCheckBox *m_alwaysSend = nullptr;
    QLabel *m_alwaysSendText = nullptr;
    QCheckBox *m_encodePaths = nullptr;
    QLabel *m_encodePathsText = nullptr;
    QLabel *m_proxyTitle = nullptr;
    QComboBox *m_configuration = nullptr;
    QWidget *m_custom = nullptr;
    QCheckBox *m_pac = nullptr;
    QLineEdit *m_pacURL = nullptr;
    QCheckBox *m_http = nullptr;
    QLineEdit *m_httpHost = nullptr;
    QSpinBox *m_httpPort = nullptr;
    QCheckBox *m_https = nullptr;
    QLineEdit *m_httpsHost = nullptr;
    QSpinBox *m_httpsPort = nullptr;
};
