#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>

// A tinyproxy started on an ephemeral loopback port for the life of the
// object, allowing CONNECT to any port.
class HXTestTinyproxy
{
public:
    HXTestTinyproxy();
    ~HXTestTinyproxy();

    // The tinyproxy program, or an empty string when it is not installed.
    static QString executablePath();
    // Starts it and waits until it accepts connections; on failure returns
    // false with the reason in `error`.
    bool start(QString *error);
    quint16 port() const { return m_port; }
    // What tinyproxy logged so far.
    QByteArray log() const;

private:
    QTemporaryDir m_folder;
    std::unique_ptr<QProcess> m_process;
    quint16 m_port = 0;
};
