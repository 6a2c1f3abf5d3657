#include "HXTestTinyproxy.h"

#include "HXTestSupport.h"

#include <QFile>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

HXTestTinyproxy::HXTestTinyproxy() = default;

HXTestTinyproxy::~HXTestTinyproxy()
{
    if (m_process && m_process->state() != QProcess::NotRunning) {
        m_process->terminate();
        if (!m_process->waitForFinished(3000)) {
            m_process->kill();
            m_process->waitForFinished(3000);
        }
    }
}

QString HXTestTinyproxy::executablePath()
{
    QString path = QStandardPaths::findExecutable(QStringLiteral("tinyproxy"));
    if (path.isEmpty())
        path = QStandardPaths::findExecutable(QStringLiteral("tinyproxy"),
                                              {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/bin")});
    return path;
}

bool HXTestTinyproxy::start(QString *error)
{
    const QString program = executablePath();
    if (program.isEmpty()) {
        *error = QStringLiteral("tinyproxy is not installed");
        return false;
    }
    // Take a free port from the kernel, then hand it to tinyproxy.
    {
        QTcpServer probe;
        if (!probe.listen(QHostAddress::LocalHost, 0)) {
            *error = QStringLiteral("no free port");
            return false;
        }
        m_port = probe.serverPort();
    }
    const QString configPath = m_folder.filePath(QStringLiteral("tinyproxy.conf"));
    const QByteArray config = "Port " + QByteArray::number(m_port) +
                              "\n"
                              "Listen 127.0.0.1\n"
                              "Timeout 30\n"
                              "MaxClients 50\n"
                              "Allow 127.0.0.1\n"
                              "DisableViaHeader Yes\n"
                              "LogLevel Info\n"
                              "LogFile \"" +
                              QFile::encodeName(m_folder.filePath(QStringLiteral("tinyproxy.log"))) + "\"\n";
    // No ConnectPort line: CONNECT is allowed to every port.
    if (!HXTest::writeFile(configPath, config)) {
        *error = QStringLiteral("cannot write the tinyproxy configuration");
        return false;
    }
    m_process = std::make_unique<QProcess>();
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->start(program, {QStringLiteral("-d"), QStringLiteral("-c"), configPath});
    if (!m_process->waitForStarted(3000)) {
        *error = QStringLiteral("tinyproxy did not start: ") + m_process->errorString();
        return false;
    }
    QDeadlineTimer deadline(5000);
    while (!deadline.hasExpired()) {
        QTcpSocket probe;
        probe.connectToHost(QHostAddress::LocalHost, m_port);
        if (probe.waitForConnected(200))
            return true;
        if (m_process->state() == QProcess::NotRunning)
            break;
        QThread::msleep(20);
    }
    *error = QStringLiteral("tinyproxy did not accept connections: ") + QString::fromUtf8(m_process->readAll()) +
             QString::fromUtf8(log());
    return false;
}

QByteArray HXTestTinyproxy::log() const
{
    return HXTest::readFile(m_folder.filePath(QStringLiteral("tinyproxy.log")));
}
