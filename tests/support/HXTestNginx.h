#pragma once

#include "HXTestCertificates.h"

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>

// An nginx serving HTTPS on an ephemeral loopback port for the life of the
// object, offering HTTP/2 and HTTP/1.1 by ALPN, with a certificate made at
// test time. Every path answers 200 with `body`.
class HXTestNginx
{
public:
    HXTestNginx();
    ~HXTestNginx();

    // The nginx program, or an empty string when it is not installed.
    static QString executablePath();
    // Starts it and waits until it accepts connections; on failure returns
    // false with the reason in `error`.
    bool start(const QByteArray &body, QString *error);
    quint16 port() const { return m_port; }

private:
    QTemporaryDir m_folder;
    std::unique_ptr<QProcess> m_process;
    quint16 m_port = 0;
};
