#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QString>

// Server certificates the user chose to always trust, per host: the SHA-256
// fingerprint of the leaf certificate the host presented. The request
// handler accepts such a server without asking again; a different
// certificate for the same host is asked about again. Kept in the user's
// settings. Main thread only.
class HXTrustedCertificates
{
public:
    // The settings key holding the map host -> fingerprints.
    static const QString settingsKey;

    // "AB:CD:..." of the certificate's DER form; empty for a null certificate.
    static QString fingerprint(const QSslCertificate &certificate);
    static bool isTrusted(const QString &host, const QSslCertificate &certificate);
    static void trust(const QString &host, const QSslCertificate &certificate);
    // Forgets every certificate trusted for the host.
    static void removeHost(const QString &host);
};
