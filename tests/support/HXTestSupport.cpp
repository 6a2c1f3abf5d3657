#include "HXTestSupport.h"

#include <QDir>
#include <QFile>
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
