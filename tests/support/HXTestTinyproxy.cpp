#include "HXTestTinyproxy.h"

#include "HXTestSupport.h"

#include <QFile>
#include <QStandardPaths>

HXTestTinyproxy::HXTestTinyproxy() = default;

HXTestTinyproxy::~HXTestTinyproxy()
{
    HXTest::stopProcess(m_process.get());
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
    m_port = HXTest::freeLoopbackPort();
    if (m_port == 0) {
        *error = QStringLiteral("no free port");
        return false;
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
    if (HXTest::waitUntilAccepting(*m_process, m_port))
        return true;
    *error = QStringLiteral("tinyproxy did not accept connections: ") + QString::fromUtf8(m_process->readAll()) +
             QString::fromUtf8(log());
    return false;
}

QByteArray HXTestTinyproxy::log() const
{
    return HXTest::readFile(m_folder.filePath(QStringLiteral("tinyproxy.log")));
}
