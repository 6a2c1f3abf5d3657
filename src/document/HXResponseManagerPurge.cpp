#include "HXResponseManager.h"

#include "HXSQLiteDatabase.h"
#include "HXThreading.h"
#include "HXUserDefaults.h"

// Dropping rows: deletions and the purge that keeps the newest responses.

HXResult<void> HXResponseManager::_deleteRows(HXSQLiteDatabase &database, const QList<qint64> &rows)
{
    if (rows.isEmpty())
        return {};
    auto remove = database.prepare(QStringLiteral("DELETE FROM HXResponse WHERE id = ?"));
    auto removeFile = database.prepare(QStringLiteral("DELETE FROM HXResponseBodyFile WHERE id = ? "
                                                      "RETURNING fileName"));
    if (!remove)
        return remove.error();
    if (!removeFile)
        return removeFile.error();
    for (qint64 row : rows) {
        remove->bindInt64(1, row);
        if (auto done = remove->run(); !done)
            return done;
        remove->reset();
        removeFile->bindInt64(1, row);
        while (removeFile->step() == HXSQLiteStatement::Row)
            m_bodyFilesDropped.append(bodiesDirectory() + u'/' + removeFile->text(0));
        removeFile->reset();
    }
    return {};
}

HXResult<QList<qint64>> HXResponseManager::_rowsBeyondLimit(HXSQLiteDatabase &database)
{
    const qint64 keep = std::max<qint64>(
        0, HXUserDefaults::standardUserDefaults().integerForKey(QStringLiteral("HXUserDefaultMaxResponsesInCache")));
    auto select =
        database.prepare(QStringLiteral("SELECT id FROM HXResponse ORDER BY date DESC, id DESC LIMIT -1 OFFSET ?"));
    if (!select)
        return select.error();
    select->bindInt64(1, keep);
    QList<qint64> rows;
    HXSQLiteStatement::Step step;
    while ((step = select->step()) == HXSQLiteStatement::Row)
        rows.append(select->int64(0));
    if (step == HXSQLiteStatement::Failed)
        return select->lastError();
    return rows;
}

void HXResponseManager::purgeOldResponses()
{
    HX_ASSERT_MAIN_THREAD();
    m_purgeRequested = true;
    saveUpdates();
    m_purgeRequested = false;
}
