#pragma once

#include <QMutex>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <memory>

class QSettings;

// The user's settings: values the user changed, stored in an INI file through
// QSettings, over a table of registered defaults consulted when a key is
// absent. Keys are used exactly as named ("HXUserDefault...").
//
// Safe to read from any thread; writes are serialised.
class HXUserDefaults
{
public:
    static HXUserDefaults &standardUserDefaults();

    // The registered defaults of the application: the one place where every
    // "HXUserDefault..." key gets its default value.
    static QVariantMap applicationDefaults();
    static QVariantList defaultResponseTextFormats();
    // Registers applicationDefaults() on the standard instance.
    static void registerApplicationDefaults();

    QVariant objectForKey(const QString &key) const;
    QString stringForKey(const QString &key) const;
    bool boolForKey(const QString &key) const;
    qint64 integerForKey(const QString &key) const;
    double doubleForKey(const QString &key) const;
    QVariantList arrayForKey(const QString &key) const;
    bool hasUserValueForKey(const QString &key) const;

    void setObject(const QVariant &value, const QString &key);
    void setBool(bool value, const QString &key) { setObject(value, key); }
    void setInteger(qint64 value, const QString &key) { setObject(value, key); }
    void removeObjectForKey(const QString &key);

    // A value for this process only, above the user's own (command-line
    // options such as --insecure); never written to the settings file.
    void setVolatileObject(const QVariant &value, const QString &key);

    void registerDefaults(const QVariantMap &defaults);
    QVariantMap registeredDefaults() const;

    // Stores the user's values in the INI file at `path` from now on (tests,
    // and the command line's --settings option). An empty path keeps the
    // values in memory only.
    void useSettingsFile(const QString &path);
    QString settingsFilePath() const;

    void synchronize();

    HXUserDefaults();
    ~HXUserDefaults();
    HXUserDefaults(const HXUserDefaults &) = delete;
    HXUserDefaults &operator=(const HXUserDefaults &) = delete;

private:
    mutable QMutex m_mutex;
    QVariantMap m_registered;
    QVariantMap m_volatile;
    QVariantMap m_memory; // used when no settings file is attached
    std::unique_ptr<QSettings> m_settings;
};
