#include "HXUserDefaults.h"

#include <QCoreApplication>
#include <QSettings>

namespace {

QVariant fromSettings(const QVariant &stored, const QVariant &registered)
{
    // INI files give strings back for booleans and numbers; bring them back to
    // the registered default's type so callers see what they stored.
    if (!stored.isValid() || !registered.isValid())
        return stored;
    if (stored.typeId() == QMetaType::QString) {
        switch (registered.typeId()) {
        case QMetaType::Bool: {
            const QString text = stored.toString().trimmed().toLower();
            return QVariant(text == u"true" || text == u"yes" || text == u"1");
        }
        case QMetaType::Int:
        case QMetaType::LongLong:
            return QVariant(stored.toString().toLongLong());
        case QMetaType::Double:
            return QVariant(stored.toString().toDouble());
        default:
            break;
        }
    }
    return stored;
}

} // namespace

HXUserDefaults &HXUserDefaults::standardUserDefaults()
{
    static HXUserDefaults instance;
    return instance;
}

HXUserDefaults::HXUserDefaults()
{
    m_settings = std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("kestrelworks"),
                                             QStringLiteral("Kea"));
}

HXUserDefaults::~HXUserDefaults() = default;

QVariantList HXUserDefaults::defaultResponseTextFormats()
{
    auto entry = [](const char *format, const char *contentType, bool regex) {
        return QVariantMap{{QStringLiteral("format"), QString::fromUtf8(format)},
                           {QStringLiteral("content-type"), QString::fromUtf8(contentType)},
                           {QStringLiteral("regex"), regex}};
    };
    return {entry("JSON", "application/json", false), entry("JSON", "application/javascript", false),
            entry("JSON", "text/javascript", false), entry("XML", ".*xml.*", true),
            entry("Form URL-Encoded", "application/x-www-form-urlencoded", false)};
}

QVariantMap HXUserDefaults::applicationDefaults()
{
    return {
        {QStringLiteral("HXUserDefaultEnableSounds"), false},
        {QStringLiteral("NSQuitAlwaysKeepsWindows"), true},
        {QStringLiteral("HXUserDefaultShowHexResponseTab"), false},
        {QStringLiteral("HXUserDefaultShowRawResponseTab"), true},
        {QStringLiteral("HXUserDefaultResponseTextFormats"), defaultResponseTextFormats()},
        {QStringLiteral("HXUserDefaultMaxResponsesInCache"), 300},
        {QStringLiteral("HXUserDefaultHTTPLibrary"), QStringLiteral("GCDHTTPRequest")},
        {QStringLiteral("HXUserDefaultValidateSSLCertificates"), true},
        {QStringLiteral("HXUserDefaultConvertInternationalizedDomainNames"), true},
        {QStringLiteral("HXUserDefaultURLEncodingURLPaths"), false},
        {QStringLiteral("HXUserDefaultAutoContentType"), true},
        {QStringLiteral("HXUserDefaultHTTPAlwaysSendRequestBody"), false},
        {QStringLiteral("HXUserDefaultHTTPProxyConfiguration"), QStringLiteral("SystemConfiguration")},
        {QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyEnabled"), false},
        {QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyHost"), QStringLiteral("localhost")},
        {QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyPort"), 8080},
        {QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyEnabled"), false},
        {QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyHost"), QStringLiteral("localhost")},
        {QStringLiteral("HXUserDefaultHTTPProxyHTTPSProxyPort"), 8080},
        {QStringLiteral("HXUserDefaultHTTPProxyPACEnabled"), false},
        {QStringLiteral("HXUserDefaultHTTPProxyPACURL"), QString()},
        {QStringLiteral("HXUserDefaultCopyRequestsAs"), QStringLiteral("cURL")},
        {QStringLiteral("HXUserDefaultShowRequestsCode"), QStringLiteral("cURL")},
        {QStringLiteral("HXUserDefaultcURLUseLongOptions"), false},
        {QStringLiteral("HXUserDefaultcURLVerbose"), true},
        {QStringLiteral("HXUserDefaultcURLIndent"), true},
        {QStringLiteral("HXUserDefaultCodeAddComments"), true},
        {QStringLiteral("HXUserDefaultCodeAddCompletionCallbacks"), true},
        {QStringLiteral("HXUserDefaultJSONPrettyPrint"), true},
        {QStringLiteral("HXUserDefaultJSONSortKeys"), false},
        {QStringLiteral("HXUserDefaultJSONIndentWithSpaces"), true},
        {QStringLiteral("HXUserDefaultJSONIndentSize"), 2},
        {QStringLiteral("HXUserDefaultJSONEscapeForwardSlashes"), false},
        {QStringLiteral("HXUserDefaultJSONEscapeUnicodeCharacters"), false},
    };
}

void HXUserDefaults::registerApplicationDefaults()
{
    standardUserDefaults().registerDefaults(applicationDefaults());
}

QVariant HXUserDefaults::objectForKey(const QString &key) const
{
    QMutexLocker lock(&m_mutex);
    if (m_volatile.contains(key))
        return m_volatile.value(key);
    const QVariant registered = m_registered.value(key);
    if (m_settings) {
        if (m_settings->contains(key))
            return fromSettings(m_settings->value(key), registered);
    } else if (m_memory.contains(key)) {
        return m_memory.value(key);
    }
    return registered;
}

QString HXUserDefaults::stringForKey(const QString &key) const
{
    return objectForKey(key).toString();
}

bool HXUserDefaults::boolForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed().toLower();
        return text == u"true" || text == u"yes" || text.toLongLong() != 0;
    }
    return value.toBool();
}

qint64 HXUserDefaults::integerForKey(const QString &key) const
{
    return objectForKey(key).toLongLong();
}

double HXUserDefaults::doubleForKey(const QString &key) const
{
    return objectForKey(key).toDouble();
}

QVariantList HXUserDefaults::arrayForKey(const QString &key) const
{
    return objectForKey(key).toList();
}

bool HXUserDefaults::hasUserValueForKey(const QString &key) const
{
    QMutexLocker lock(&m_mutex);
    return m_settings ? m_settings->contains(key) : m_memory.contains(key);
}

void HXUserDefaults::setObject(const QVariant &value, const QString &key)
{
    if (!value.isValid()) {
        removeObjectForKey(key);
        return;
    }
    QMutexLocker lock(&m_mutex);
    if (m_settings) {
        // Setting a key to the value it has would still rewrite the file
        // (with its lock, a sync and a rename) at the next event loop pass.
        if (m_settings->contains(key) && fromSettings(m_settings->value(key), value) == value)
            return;
        m_settings->setValue(key, value);
    } else {
        m_memory.insert(key, value);
    }
}

void HXUserDefaults::removeObjectForKey(const QString &key)
{
    QMutexLocker lock(&m_mutex);
    if (m_settings)
        m_settings->remove(key);
    else
        m_memory.remove(key);
}

void HXUserDefaults::setVolatileObject(const QVariant &value, const QString &key)
{
    QMutexLocker lock(&m_mutex);
    if (value.isValid())
        m_volatile.insert(key, value);
    else
        m_volatile.remove(key);
}

void HXUserDefaults::registerDefaults(const QVariantMap &defaults)
{
    QMutexLocker lock(&m_mutex);
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it)
        m_registered.insert(it.key(), it.value());
}

QVariantMap HXUserDefaults::registeredDefaults() const
{
    QMutexLocker lock(&m_mutex);
    return m_registered;
}

void HXUserDefaults::useSettingsFile(const QString &path)
{
    QMutexLocker lock(&m_mutex);
    if (m_settings)
        m_settings->sync();
    m_memory.clear();
    if (path.isEmpty())
        m_settings.reset();
    else
        m_settings = std::make_unique<QSettings>(path, QSettings::IniFormat);
}

QString HXUserDefaults::settingsFilePath() const
{
    QMutexLocker lock(&m_mutex);
    return m_settings ? m_settings->fileName() : QString();
}

void HXUserDefaults::synchronize()
{
    QMutexLocker lock(&m_mutex);
    if (m_settings)
        m_settings->sync();
}
