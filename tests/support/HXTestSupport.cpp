#include "HXTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

namespace HXTest {

bool waitUntil(const std::function<bool()> &condition, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(1);
    }
    return true;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(bytes) == bytes.size();
}

QString testDataPath(const QString &relative)
{
    const QDir dir(QStringLiteral(KEA_TESTDATA_DIR));
    const QString path = dir.filePath(relative);
    return QFileInfo::exists(path) ? QDir::cleanPath(path) : QString();
}

} // namespace HXTest

quint16 HXTest::freeLoopbackPort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
}

bool HXTest::waitUntilAccepting(const QProcess &process, quint16 port, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        QTcpSocket probe;
        probe.connectToHost(QHostAddress::LocalHost, port);
        if (probe.waitForConnected(200))
            return true;
        if (process.state() == QProcess::NotRunning)
            return false;
        QThread::msleep(20);
    }
    return false;
}

void HXTest::stopProcess(QProcess *process)
{
    if (process == nullptr || process->state() == QProcess::NotRunning)
        return;
    process->terminate();
    if (!process->waitForFinished(3000)) {
        process->kill();
        process->waitForFinished(3000);
    }
}
