#include "HXHTTPPreferencesViewController.h"

#include "HXHTTPRequestLibrary.h"
#include "HXPreferencesControls.h"
#include "HXUserDefaults.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

const QString engineKey = QStringLiteral("HXUserDefaultHTTPLibrary");
const QString configurationKey = QStringLiteral("HXUserDefaultHTTPProxyConfiguration");
const QString pacKey = QStringLiteral("HXUserDefaultHTTPProxyPACEnabled");
const QString httpKey = QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyEnabled");
const QString httpsKey = QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyEnabled");
const QString alwaysSendKey = QStringLiteral("HXUserDefaultHTTPAlwaysSendRequestBody");
const QString encodePathsKey = QStringLiteral("HXUserDefaultURLEncodingURLPaths");

QLabel *explanation()
{
    auto *label = new QLabel;
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

} // namespace

QList<HXHTTPPreferencesProxyConfigurationOption> HXHTTPPreferencesViewController::proxyConfigurationOptions()
{
    return {{QStringLiteral("SystemConfiguration"), tr("System Proxy Configuration")},
            {QStringLiteral("Custom"), tr("Custom Proxy Configuration")},
            {QStringLiteral("NoProxy"), tr("Disable Proxy")}};
}

QString HXHTTPPreferencesViewController::alwaysSendRequestBodyText(bool on)
{
    return on ? tr("The request body will be always sent, even for GET, HEAD, DELETE, OPTIONS requests")
              : tr("The request body won't be send for GET, HEAD, DELETE, OPTIONS requests");
}

QString HXHTTPPreferencesViewController::URLEncodingText(bool on)
{
    return on ? tr("For example, the code %20 will be converted to %2520, and spaces will be converted to %20")
              : tr("For example, the code %20 will be interpreted as is, but spaces will be converted to %20");
}

HXHTTPPreferencesViewController::EnabledFields
HXHTTPPreferencesViewController::enabledFields(const QString &engine, const QString &configuration, bool pacEnabled,
                                               bool httpEnabled, bool httpsEnabled)
{
    EnabledFields fields;
    // Only the own engine and libcurl apply proxy settings of their own;
    // any other identifier (an unknown one too) is treated as the engine
    // that always follows the system.
    if (engine != u"GCDHTTPRequest" && engine != u"ASIHTTPRequest") {
        fields.proxySectionTitle = tr("NSURLConnection always uses the System Proxy Configuration");
        return fields;
    }
    fields.configurationMenu = true;
    if (configuration != u"Custom")
        return fields;
    fields.custom = true;
    fields.pacSwitch = true;
    fields.pacURL = pacEnabled;
    fields.httpSwitch = !pacEnabled;
    fields.httpFields = !pacEnabled && httpEnabled;
    fields.httpsSwitch = !pacEnabled;
    fields.httpsFields = !pacEnabled && httpsEnabled;
    return fields;
}

HXHTTPPreferencesViewController::HXHTTPPreferencesViewController(QWidget *parent) : QWidget(parent)
{
    setObjectName(paneIdentifier());
    using namespace HXPreferencesControls;

    QList<std::pair<QString, QString>> engines;
    for (const HXHTTPRequestLibrary *library : HXHTTPRequestLibraries::all())
        engines.append({library->libraryIdentifier(), library->localizedName()});
    m_engine = comboBox(engineKey, engines);
    QCheckBox *validate =
        checkBox(tr("Validate TLS certificates"), QStringLiteral("HXUserDefaultValidateSSLCertificates"));
    m_alwaysSend = checkBox(tr("Always send the request body"), alwaysSendKey);
    m_alwaysSendText = explanation();
    m_encodePaths = checkBox(tr("Encode URL paths"), encodePathsKey);
    m_encodePathsText = explanation();

    auto *general = new QFormLayout;
    general->addRow(tr("Engine:"), m_engine);
    general->addRow(QString(), validate);
    general->addRow(QString(), m_alwaysSend);
    general->addRow(QString(), m_alwaysSendText);
    general->addRow(QString(), m_encodePaths);
    general->addRow(QString(), m_encodePathsText);

    QList<std::pair<QString, QString>> options;
    for (const HXHTTPPreferencesProxyConfigurationOption &option : proxyConfigurationOptions())
        options.append({option.value, option.localizedName});
    m_configuration = comboBox(configurationKey, options);
    m_proxyTitle = explanation();
    m_pac = checkBox(tr("Use a proxy auto-configuration file"), pacKey);
    m_pacURL = lineEdit(QStringLiteral("HXUserDefaultHTTPProxyPACURL"));
    m_pacURL->setPlaceholderText(tr("PAC file URL"));
    m_http = checkBox(tr("HTTP proxy"), httpKey);
    m_httpHost = lineEdit(QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyHost"));
    m_httpPort = spinBox(QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyPort"), 1, 65535);
    m_https = checkBox(tr("HTTPS proxy"), httpsKey);
    m_httpsHost = lineEdit(QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyHost"));
    m_httpsPort = spinBox(QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyPort"), 1, 65535);

    m_custom = new QWidget;
    auto *custom = new QFormLayout(m_custom);
    custom->setContentsMargins(0, 0, 0, 0);
    custom->addRow(m_pac);
    custom->addRow(tr("URL:"), m_pacURL);
    const auto hostAndPort = [](QLineEdit *host, QSpinBox *port) {
        auto *row = new QHBoxLayout;
        row->addWidget(host, 1);
        row->addWidget(new QLabel(QStringLiteral(":")));
        row->addWidget(port);
        return row;
    };
    custom->addRow(m_http);
    custom->addRow(tr("Server:"), hostAndPort(m_httpHost, m_httpPort));
    custom->addRow(m_https);
    custom->addRow(tr("Server:"), hostAndPort(m_httpsHost, m_httpsPort));

    auto *proxy = new QGroupBox(tr("Proxy"));
    auto *proxyLayout = new QVBoxLayout(proxy);
    proxyLayout->addWidget(m_configuration);
    proxyLayout->addWidget(m_proxyTitle);
    proxyLayout->addWidget(m_custom);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(general);
    layout->addWidget(proxy);
    layout->addStretch(1);

    for (QComboBox *menu : {m_engine, m_configuration})
        connect(menu, &QComboBox::activated, this, &HXHTTPPreferencesViewController::refreshEnabledFields);
    for (QCheckBox *box : {m_alwaysSend, m_encodePaths, m_pac, m_http, m_https})
        connect(box, &QCheckBox::toggled, this, &HXHTTPPreferencesViewController::refreshEnabledFields);
    refreshEnabledFields();
}

void HXHTTPPreferencesViewController::refreshEnabledFields()
{
    const HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    const EnabledFields fields =
        enabledFields(defaults.stringForKey(engineKey), defaults.stringForKey(configurationKey),
                      defaults.boolForKey(pacKey), defaults.boolForKey(httpKey), defaults.boolForKey(httpsKey));
    m_configuration->setEnabled(fields.configurationMenu);
    m_proxyTitle->setText(fields.proxySectionTitle);
    m_proxyTitle->setVisible(!fields.proxySectionTitle.isEmpty());
    m_custom->setEnabled(fields.custom);
    m_pac->setEnabled(fields.pacSwitch);
    m_pacURL->setEnabled(fields.pacURL);
    m_http->setEnabled(fields.httpSwitch);
    m_httpHost->setEnabled(fields.httpFields);
    m_httpPort->setEnabled(fields.httpFields);
    m_https->setEnabled(fields.httpsSwitch);
    m_httpsHost->setEnabled(fields.httpsFields);
    m_httpsPort->setEnabled(fields.httpsFields);
    m_alwaysSendText->setText(alwaysSendRequestBodyText(defaults.boolForKey(alwaysSendKey)));
    m_encodePathsText->setText(URLEncodingText(defaults.boolForKey(encodePathsKey)));
}
