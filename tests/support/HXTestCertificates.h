#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QSslKey>
#include <QStringList>

// A certificate and its private key, made at test time.
struct HXTestCertificate
{
    QByteArray certificatePEM;
    QByteArray privateKeyPEM;

    QSslCertificate certificate() const { return QSslCertificate(certificatePEM, QSsl::Pem); }
    QSslKey privateKey() const { return QSslKey(privateKeyPEM, QSsl::Ec, QSsl::Pem); }
    bool isNull() const { return certificatePEM.isEmpty(); }
};

// Certificates generated with OpenSSL (P-256 keys, SHA-256 signatures), valid
// from an hour ago for `days` days. Names become DNS subject alternative
// names, addresses IP ones.
namespace HXTestCertificates {

HXTestCertificate selfSigned(const QString &commonName, const QStringList &dnsNames = {QStringLiteral("localhost")},
                             const QStringList &ipAddresses = {QStringLiteral("127.0.0.1"), QStringLiteral("::1")},
                             int days = 30);
// A certificate authority able to sign others.
HXTestCertificate certificateAuthority(const QString &commonName, int days = 30);
// A server certificate issued by `issuer`. Negative `days` gives an expired one.
HXTestCertificate signedBy(const HXTestCertificate &issuer, const QString &commonName,
                           const QStringList &dnsNames = {QStringLiteral("localhost")},
                           const QStringList &ipAddresses = {QStringLiteral("127.0.0.1"), QStringLiteral("::1")},
                           int days = 30);

} // namespace HXTestCertificates
