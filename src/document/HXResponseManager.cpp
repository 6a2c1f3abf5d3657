#include "HXResponseManager.h"

#include "HXDocumentLogging.h"
#include "HXPersistentStoreNotifier.h"
#include "HXRequest.h"
#include "HXResponse.h"
#include "HXSQLiteDatabase.h"
#include "HXThreading.h"
#include "HXUserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QUuid>

#include <algorithm>

namespace {

// Installed while no store is open, so that requests still reach the store:
// the first question opens it.
class HXResponseManagerOnDemand : public HXResponseProvider
{
public:
    std::shared_ptr<HXResponse> lastResponseForRequest(const HXRequest *request) override
    {
        return HXResponseManager::sharedManager()->lastResponseForRequest(request);
    }
    std::shared_ptr<HXResponse> lastResponseForRequestWithStatusCode(const HXRequest *request,
                                                                     qint64 statusCode) override
    {
        return HXResponseManager::sharedManager()->lastResponseForRequestWithStatusCode(request, statusCode);
    }
};
HXResponseManagerOnDemand g_onDemand;
// Declared after the provider above so that it goes away first.
std::unique_ptr<HXResponseManager> g_sharedManager;
// Requests reach the store from the start, without anyone opening it first.
const bool g_providerInstalled = [] {
    if (HXResponseProvider::sharedProvider() == nullptr)
        HXResponseProvider::setSharedProvider(&g_onDemand);
    return true;
}();

const char selectColumns[] =
    "SELECT HXResponse.id, requestUUID, date, responseTime, downloadTime, headersData, HXResponseBodyFile.fileName "
    "FROM HXResponse LEFT JOIN HXResponseBodyFile ON HXResponseBodyFile.id = HXResponse.id";

void logFetchFailure(const HXError &error)
{
    qCWarning(lcKeaDocument).noquote()
        << QStringLiteral("Couldn't execute response searching fetch request. Error: %1").arg(error.description);
}

} // namespace

HXResponseManager::HXResponseManager() = default;

HXResponseManager::~HXResponseManager()
{
    if (HXResponseProvider::sharedProvider() == this)
        HXResponseProvider::setSharedProvider(&g_onDemand);
}

HXResponseManager *HXResponseManager::sharedManager()
{
    HX_ASSERT_MAIN_THREAD();
    if (!g_sharedManager) {
        g_sharedManager.reset(new HXResponseManager);
        g_sharedManager->openStore();
        g_sharedManager->_removeOrphanBodyFiles();
        HXResponseProvider::setSharedProvider(g_sharedManager.get());
    }
    return g_sharedManager.get();
}

void HXResponseManager::resetSharedManager()
{
    g_sharedManager.reset();
}

void HXResponseManager::resetMoveToTrash(bool moveToTrash)
{
    HXPersistentStoreNotifier *notifier = HXPersistentStoreNotifier::sharedNotifier();
    Q_EMIT notifier->responsesManagedObjectContextWillChange();
    const QString path = QDir(applicationSupportDirectory()).absoluteFilePath(responsesDatabaseName());
    resetSharedManager();
    if (moveToTrash)
        _moveStoreToTrash(path, trashNameForDate(QDateTime::currentDateTime()));
    else
        _deleteStoreFiles(path);
    // Large bodies go with the history they belonged to: to the trash with
    // it, or away.
    const QString bodies = bodiesDirectory();
    if (QFileInfo::exists(bodies) && !(moveToTrash && QFile::moveToTrash(bodies)))
        QDir(bodies).removeRecursively();
    Q_EMIT notifier->responsesManagedObjectContextDidChange();
    Q_EMIT notifier->responseManagerDidResetAllResponses();
}

QString HXResponseManager::trashName() const
{
    return trashNameForDate(QDateTime::currentDateTime());
}

QString HXResponseManager::trashNameForDate(const QDateTime &date)
{
    // Short date and a time with seconds but no zone; "/" cannot be part of
    // a file name here, so dates like 11/22/26 become 11-22-26.
    const QLocale locale;
    QString timeFormat = locale.timeFormat(QLocale::LongFormat);
    static const QRegularExpression zone(QStringLiteral("\\s*t+"));
    timeFormat.remove(zone);
    QString stamp =
        locale.toString(date.date(), QLocale::ShortFormat) + u' ' + locale.toString(date.time(), timeFormat.trimmed());
    stamp.replace(u'/', u'-');
    return QCoreApplication::translate("HXResponseManager", "Kea Responses %1.sqlite").arg(stamp);
}

HXResult<void> HXResponseManager::prepareSchema(HXSQLiteDatabase &database)
{
    HXResult<void> prepared = prepareVersionedSchema(
        database, 1,
        QStringLiteral("CREATE TABLE IF NOT EXISTS HXResponse (id INTEGER PRIMARY KEY, requestUUID TEXT NOT NULL, "
                       "date INTEGER NOT NULL, responseTime REAL NOT NULL DEFAULT 0, "
                       "downloadTime REAL NOT NULL DEFAULT 0, headersData BLOB, bodyData BLOB);"
                       "CREATE INDEX IF NOT EXISTS HXResponseByRequest ON HXResponse (requestUUID, date);"
                       "CREATE INDEX IF NOT EXISTS HXResponseByDate ON HXResponse (date);"),
        {QStringLiteral(
            "SELECT id, requestUUID, date, responseTime, downloadTime, headersData, bodyData FROM HXResponse")});
    if (!prepared)
        return prepared;
    // Bodies kept as files, by row; added to stores made before there were
    // any, which read on as they are.
    return database.execute(QStringLiteral(
        "CREATE TABLE IF NOT EXISTS HXResponseBodyFile (id INTEGER PRIMARY KEY, fileName TEXT NOT NULL)"));
}

std::shared_ptr<HXResponse> HXResponseManager::insertNewResponse()
{
    HX_ASSERT_MAIN_THREAD();
    auto response = std::make_shared<HXResponse>();
    response->setDate(QDateTime::currentDateTimeUtc());
    m_inserted.push_back(response);
    return response;
}

void HXResponseManager::deleteResponse(const std::shared_ptr<HXResponse> &response)
{
    HX_ASSERT_MAIN_THREAD();
    if (!response)
        return;
    const auto inserted = std::find(m_inserted.begin(), m_inserted.end(), response);
    if (inserted != m_inserted.end()) {
        m_inserted.erase(inserted);
        return;
    }
    for (auto it = m_registry.begin(); it != m_registry.end(); ++it) {
        if (it->second.response.lock() == response) {
            m_deleted.insert(it->first);
            m_registry.erase(it);
            return;
        }
    }
}

HXResponseManager::Snapshot HXResponseManager::_snapshotOf(const HXResponse &response)
{
    Snapshot snapshot;
    snapshot.headersData = response.headersData();
    snapshot.requestUUID = response.requestUUID();
    snapshot.date = response.date();
    snapshot.responseTime = response.responseTime();
    snapshot.downloadTime = response.downloadTime();
    snapshot.body = std::make_shared<std::optional<QByteArray>>();
    if (response.bodyFile().isInFile())
        snapshot.bodyFile = response.bodyFile().fileName();
    else if (!response.hasPendingBodyLoader())
        *snapshot.body = response.bodyData();
    return snapshot;
}

bool HXResponseManager::_isChanged(const HXResponse &response, const Snapshot &saved) const
{
    if (!_sameBytes(response.headersData(), saved.headersData) || response.requestUUID() != saved.requestUUID ||
        response.date() != saved.date || response.responseTime() != saved.responseTime ||
        response.downloadTime() != saved.downloadTime)
        return true;
    return _isBodyChanged(response, saved);
}

bool HXResponseManager::_sameBytes(const QByteArray &a, const QByteArray &b)
{
    return (a.constData() == b.constData() && a.size() == b.size()) || a == b;
}

void HXResponseManager::_pruneRegistry()
{
    std::erase_if(m_registry, [](const auto &item) { return item.second.response.expired(); });
}

bool HXResponseManager::hasPendingChanges() const
{
    if (m_purgeRequested || !m_inserted.empty() || !m_deleted.isEmpty())
        return true;
    for (const auto &[row, entry] : m_registry) {
        const std::shared_ptr<HXResponse> response = entry.response.lock();
        if (response && _isChanged(*response, entry.saved))
            return true;
    }
    return false;
}

HXResult<void> HXResponseManager::writePendingChanges(HXSQLiteDatabase &database)
{
    m_written.clear();
    m_purged.clear();
    if (auto removed = _deleteRows(database, QList<qint64>(m_deleted.cbegin(), m_deleted.cend())); !removed)
        return removed;
    auto bindRow = [](HXSQLiteStatement &statement, const HXResponse &response) {
        statement.bindText(1, response.requestUUID().isNull() ? QStringLiteral("") : response.requestUUID());
        statement.bindInt64(2, response.date().isValid() ? response.date().toMSecsSinceEpoch() : 0);
        statement.bindDouble(3, response.responseTime());
        statement.bindDouble(4, response.downloadTime());
        statement.bindBlob(5, response.headersData());
    };
    if (!m_inserted.empty()) {
        auto insert =
            database.prepare(QStringLiteral("INSERT INTO HXResponse (requestUUID, date, responseTime, downloadTime, "
                                            "headersData, bodyData) VALUES (?, ?, ?, ?, ?, ?)"));
        if (!insert)
            return insert.error();
        for (const std::shared_ptr<HXResponse> &response : m_inserted) {
            bindRow(*insert, *response);
            const bool large =
                response->bodyFile().isInFile() ||
                response->bodyData().size() > (m_largestBodyInRow >= 0 ? m_largestBodyInRow : database.lengthLimit());
            if (!large)
                insert->bindBlob(6, response->bodyData());
            if (auto done = insert->run(); !done)
                return done;
            insert->reset();
            const qint64 row = database.lastInsertRowId();
            if (large) {
                if (HXResult<bool> kept = _writeBodyFile(*response, database, row); !kept.ok())
                    return kept.error();
            }
            m_written.emplace_back(response, row);
        }
    }
    auto update = database.prepare(QStringLiteral("UPDATE HXResponse SET requestUUID = ?, date = ?, responseTime = ?, "
                                                  "downloadTime = ?, headersData = ? WHERE id = ?"));
    auto updateBody = database.prepare(QStringLiteral("UPDATE HXResponse SET bodyData = ? WHERE id = ?"));
    if (!update)
        return update.error();
    if (!updateBody)
        return updateBody.error();
    for (const auto &[row, entry] : m_registry) {
        const std::shared_ptr<HXResponse> response = entry.response.lock();
        if (!response || !_isChanged(*response, entry.saved))
            continue;
        bindRow(*update, *response);
        update->bindInt64(6, row);
        if (auto done = update->run(); !done)
            return done;
        update->reset();
        if (_isBodyChanged(*response, entry.saved)) {
            HXResult<bool> inFile = _writeBodyFile(*response, database, row);
            if (!inFile.ok())
                return inFile.error();
            if (*inFile)
                updateBody->bindNull(1);
            else
                updateBody->bindBlob(1, response->bodyData());
            updateBody->bindInt64(2, row);
            if (auto done = updateBody->run(); !done)
                return done;
            updateBody->reset();
            if (!*inFile && !entry.saved.bodyFile.isEmpty()) {
                auto forget = database.prepare(QStringLiteral("DELETE FROM HXResponseBodyFile WHERE id = ?"));
                if (!forget)
                    return forget.error();
                forget->bindInt64(1, row);
                if (auto done = forget->run(); !done)
                    return done;
                m_bodyFilesDropped.append(entry.saved.bodyFile);
            }
        }
        m_written.emplace_back(response, row);
    }
    if (m_purgeRequested) {
        // Inside the write's transaction, so the rows just inserted count.
        HXResult<QList<qint64>> old = _rowsBeyondLimit(database);
        if (!old)
            return old.error();
        if (auto removed = _deleteRows(database, *old); !removed)
            return removed;
        m_purged = *old;
    }
    return {};
}

void HXResponseManager::didWritePendingChanges(bool committed)
{
    // Files of a write that did not commit, or of rows that are gone.
    for (const QString &file : std::as_const(committed ? m_bodyFilesDropped : m_bodyFilesMade))
        QFile::remove(file);
    m_bodyFilesDropped.clear();
    m_bodyFilesMade.clear();
    if (committed) {
        m_deleted.clear();
        m_inserted.clear();
        for (const auto &[response, row] : m_written) {
            Entry &entry = m_registry[row];
            // A body that is still on disk keeps its loader and its slot.
            const auto previousBody = entry.saved.body;
            entry.response = response;
            entry.saved = _snapshotOf(*response);
            if (response->hasPendingBodyLoader() && previousBody)
                entry.saved.body = previousBody;
        }
        for (qint64 row : std::as_const(m_purged))
            m_registry.erase(row);
    }
    m_written.clear();
    m_purged.clear();
    m_purgeRequested = false;
    _pruneRegistry();
}

std::shared_ptr<HXResponse> HXResponseManager::_responseForRow(const HXSQLiteStatement &row)
{
    const qint64 id = row.int64(0);
    Entry &entry = m_registry[id];
    if (std::shared_ptr<HXResponse> known = entry.response.lock())
        return known;
    auto response = std::make_shared<HXResponse>();
    response->setRequestUUID(row.text(1));
    response->setDate(QDateTime::fromMSecsSinceEpoch(row.int64(2)));
    response->setResponseTime(row.real(3));
    response->setDownloadTime(row.real(4));
    response->setHeadersData(row.blob(5));
    if (!row.isNull(6)) {
        // A body kept as a file: opened now, read on first use.
        const QString name = row.text(6);
        HXResult<HXHTTPResponseBody> body =
            QFileInfo(name).fileName() == name && !name.startsWith(u'.')
                ? HXHTTPResponseBody::openFile(bodiesDirectory() + u'/' + name)
                : HXResult<HXHTTPResponseBody>(HXError(QString::fromLatin1(HXSQLiteDatabase::errorDomain), -1,
                                                       QStringLiteral("unfit body file name %1").arg(name)));
        if (body.ok())
            response->setBody(*body);
        else
            logFetchFailure(body.error());
        entry.response = response;
        entry.saved = _snapshotOf(*response);
        return response;
    }
    auto body = std::make_shared<std::optional<QByteArray>>();
    std::weak_ptr<HXSQLiteDatabase> database = weakDatabase();
    response->setBodyLoader([database, id, body]() -> QByteArray {
        const std::shared_ptr<HXSQLiteDatabase> open = database.lock();
        if (!open)
            return QByteArray();
        auto select = open->prepare(QStringLiteral("SELECT bodyData FROM HXResponse WHERE id = ?"));
        if (!select) {
            logFetchFailure(select.error());
            return QByteArray();
        }
        select->bindInt64(1, id);
        if (select->step() != HXSQLiteStatement::Row)
            return QByteArray();
        *body = select->blob(0);
        return **body;
    });
    entry.response = response;
    entry.saved = _snapshotOf(*response);
    entry.saved.body = body;
    return response;
}

QList<std::shared_ptr<HXResponse>> HXResponseManager::_fetch(const QString &requestUUID, int limit)
{
    HX_ASSERT_MAIN_THREAD();
    QList<std::shared_ptr<HXResponse>> result;
    // Responses not saved yet count too, as in any object context.
    for (const std::shared_ptr<HXResponse> &response : m_inserted)
        if (response->requestUUID() == requestUUID)
            result.append(response);
    if (HXSQLiteDatabase *database = this->database()) {
        QString sql = QString::fromLatin1(selectColumns) +
                      QStringLiteral(" WHERE requestUUID = ? ORDER BY date DESC, HXResponse.id DESC");
        if (limit > 0)
            sql += QStringLiteral(" LIMIT %1").arg(limit);
        auto select = database->prepare(sql);
        if (!select) {
            logFetchFailure(select.error());
        } else {
            select->bindText(1, requestUUID);
            HXSQLiteStatement::Step step;
            while ((step = select->step()) == HXSQLiteStatement::Row) {
                if (!m_deleted.contains(select->int64(0)))
                    result.append(_responseForRow(*select));
            }
            if (step == HXSQLiteStatement::Failed)
                logFetchFailure(select->lastError());
        }
    }
    // Newest first; the stable sort keeps the store's order (later rows
    // first) among equal dates, and unsaved ones before saved ones.
    std::stable_sort(result.begin(), result.end(), [](const auto &a, const auto &b) { return a->date() > b->date(); });
    if (limit > 0 && result.size() > limit)
        result.resize(limit);
    return result;
}

std::shared_ptr<HXResponse> HXResponseManager::lastResponseForRequest(const HXRequest *request)
{
    return request != nullptr ? lastResponseForRequestUUID(request->uuid()) : nullptr;
}

std::shared_ptr<HXResponse> HXResponseManager::lastResponseForRequestWithStatusCode(const HXRequest *request,
                                                                                    qint64 statusCode)
{
    if (request == nullptr)
        return nullptr;
    // A bounded look back: an answer to a challenge is made soon after it.
    const QList<std::shared_ptr<HXResponse>> recent = _fetch(request->uuid(), 20);
    const auto found = std::find_if(recent.cbegin(), recent.cend(), [statusCode](const auto &response) {
        return response->statusCode() == statusCode;
    });
    return found == recent.cend() ? nullptr : *found;
}

std::shared_ptr<HXResponse> HXResponseManager::lastResponseForRequestUUID(const QString &requestUUID)
{
    if (requestUUID.isEmpty())
        return nullptr;
    const QList<std::shared_ptr<HXResponse>> found = _fetch(requestUUID, 1);
    return found.isEmpty() ? nullptr : found.first();
}

QList<std::shared_ptr<HXResponse>> HXResponseManager::responsesForRequestUUID(const QString &requestUUID)
{
    return _fetch(requestUUID, 0);
}

qint64 HXResponseManager::countOfResponses()
{
    HXSQLiteDatabase *database = this->database();
    if (database == nullptr)
        return 0;
    auto count = database->scalar(QStringLiteral("SELECT count(*) FROM HXResponse"));
    if (!count) {
        logFetchFailure(count.error());
        return 0;
    }
    return count->toLongLong();
}
