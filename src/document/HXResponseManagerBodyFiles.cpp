#include "HXResponseManager.h"

#include "HXResponse.h"
#include "HXSQLiteDatabase.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QUuid>

// Bodies too large for a row of the store live in files beside it, one per
// response, named in the HXResponseBodyFile table.

QString HXResponseManager::bodiesDirectory()
{
    // Made by whoever first writes a body file into it.
    return QDir(applicationSupportPath()).absoluteFilePath(QStringLiteral("Response Bodies"));
}

bool HXResponseManager::_isBodyChanged(const HXResponse &response, const Snapshot &saved)
{
    // A body in a file is compared by its file, never read for that.
    if (response.bodyFile().isInFile())
        return response.bodyFile().fileName().isEmpty() || response.bodyFile().fileName() != saved.bodyFile;
    if (response.hasPendingBodyLoader())
        return false;
    // No known stored body while no loader is pending: the body was set.
    return !saved.bodyFile.isEmpty() || !saved.body->has_value() || !_sameBytes(response.bodyData(), **saved.body);
}

HXResult<bool> HXResponseManager::_writeBodyFile(HXResponse &response, HXSQLiteDatabase &database, qint64 row)
{
    const qint64 largest = m_largestBodyInRow >= 0 ? m_largestBodyInRow : database.lengthLimit();
    if (!response.bodyFile().isInFile() && response.bodyData().size() <= largest)
        return false;
    HXHTTPResponseBody body =
        response.bodyFile().isInFile() ? response.bodyFile() : HXHTTPResponseBody(response.bodyData());
    const QString directory = bodiesDirectory();
    QString path = body.fileName();
    if (QFileInfo(path).absolutePath() != directory) {
        path = directory + u'/' + QUuid::createUuid().toString(QUuid::WithoutBraces);
        QDir().mkpath(directory);
        if (HXResult<void> kept = body.keepFileAs(path); !kept.ok())
            return HXError(QString::fromLatin1(HXSQLiteDatabase::errorDomain), -1,
                           QStringLiteral("a response body of %1 bytes could not be kept: %2")
                               .arg(body.size())
                               .arg(kept.error().description));
        m_bodyFilesMade.append(path);
        response.setBody(body);
    }
    auto record =
        database.prepare(QStringLiteral("INSERT OR REPLACE INTO HXResponseBodyFile (id, fileName) VALUES (?, ?)"));
    if (!record)
        return record.error();
    record->bindInt64(1, row);
    record->bindText(2, QFileInfo(path).fileName());
    if (HXResult<void> done = record->run(); !done)
        return done.error();
    return true;
}

void HXResponseManager::_removeOrphanBodyFiles()
{
    const QDir directory(bodiesDirectory());
    const QFileInfoList files = directory.entryInfoList(QDir::Files | QDir::Hidden);
    HXSQLiteDatabase *database = this->database();
    if (files.isEmpty() || database == nullptr)
        return;
    auto select = database->prepare(QStringLiteral("SELECT fileName FROM HXResponseBodyFile"));
    if (!select)
        return;
    QSet<QString> named;
    HXSQLiteStatement::Step step;
    while ((step = select->step()) == HXSQLiteStatement::Row)
        named.insert(select->text(0));
    if (step == HXSQLiteStatement::Failed)
        return; // unsure what is named: keep everything
    // A save names its file and commits within moments; an hour leaves any
    // other process's save in progress alone.
    const QDateTime settled = QDateTime::currentDateTimeUtc().addSecs(-3600);
    for (const QFileInfo &file : files)
        if (!named.contains(file.fileName()) && file.lastModified().toUTC() < settled)
            QFile::remove(file.absoluteFilePath());
}
