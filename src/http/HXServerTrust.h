#pragma once

#include <QList>
#include <QSslCertificate>
#include <QSslError>
#include <QString>

// What a server presented during the TLS handshake, to be judged after it:
// the peer's certificate chain (leaf first) and the host name it must match.
struct HXServerTrust
{
    QList<QSslCertificate> chain;
    QString host;

    // Verifies the chain against the system's trusted roots (those of
    // QSslConfiguration::defaultConfiguration()) and the host name; an empty
    // list means the server is trusted.
    QList<QSslError> evaluate() const;
    bool isTrusted() const { return evaluate().isEmpty(); }
};
