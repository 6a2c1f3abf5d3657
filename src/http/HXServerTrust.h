#pragma once

#include <QList>
#include <QSslCertificate>
#include <QSslError>
#include <QString>
#include <QStringList>

// What a server presented during the TLS handshake, to be judged after it:
// the peer's certificate chain (leaf first) and the host name it must match.
struct HXServerTrust
{
    QList<QSslCertificate> chain;
    QString host;
    // PEM files whose certificates are trusted roots besides the system's
    // (the engine fills them from its request's HXHTTPSettings).
    QStringList extraCAFiles;

    // Verifies the chain against the system's trusted roots, those of Qt's
    // default configuration and extraCAFiles, and the leaf against the host name (or IP address); an
    // empty list means the server is trusted. A CA file that cannot be read
    // adds nothing (and is logged).
    QList<QSslError> evaluate() const;
    bool isTrusted() const { return evaluate().isEmpty(); }
};
