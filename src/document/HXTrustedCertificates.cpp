#include "HXTrustedCertificates.h"

#include "HXUserDefaults.h"

#include <QCryptographicHash>
#include <QVariantMap>

const QString HXTrustedCertificates::settingsKey = QStringLiteral("KeaTrustedServerCertificates");

namespace {
// Host names compare case-insensitively; the port is not part of the host.
QString hostKey(const QString &host)
{
    return host.trimmed().toLower();
}
} // namespace

QString HXTrustedCertificates::fingerprint(const QSslCertificate &certificate)
{
    if (certificate.isNull())
        return {};
    const QByteArray digest = certificate.digest(QCryptographicHash::Sha256);
    return QString::fromLatin1(digest.toHex(':').toUpper());
}

bool HXTrustedCertificates::isTrusted(const QString &host, const QSslCertificate &certificate)
{
    const QString print = fingerprint(certificate);
    if (print.isEmpty() || hostKey(host).isEmpty())
        return false;
    const QVariantMap hosts = HXUserDefaults::standardUserDefaults().objectForKey(settingsKey).toMap();
    return hosts.value(hostKey(host)).toStringList().contains(print);
}

void HXTrustedCertificates::trust(const QString &host, const QSslCertificate &certificate)
{
    const QString print = fingerprint(certificate);
    if (print.isEmpty() || hostKey(host).isEmpty() || isTrusted(host, certificate))
        return;
    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    QVariantMap hosts = defaults.objectForKey(settingsKey).toMap();
    QStringList prints = hosts.value(hostKey(host)).toStringList();
    prints.append(print);
    hosts.insert(hostKey(host), prints);
    defaults.setObject(hosts, settingsKey);
    defaults.synchronize();
}

void HXTrustedCertificates::removeHost(const QString &host)
{
    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    QVariantMap hosts = defaults.objectForKey(settingsKey).toMap();
    if (hosts.remove(hostKey(host)) > 0)
        defaults.setObject(hosts, settingsKey);
}
