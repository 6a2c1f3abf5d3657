#pragma once

#include "HXPersistentStoreManager.h"
#include "HXResponseProvider.h"

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QStringList>

#include <map>
#include <memory>
#include <optional>
#include <vector>

class HXRequest;
class HXSQLiteStatement;
class HXResponse;

// The store of recorded responses, shared by every document:
// "Responses.sqlite" in the application-support folder. Responses are tied to
// their request by its uuid and ordered by date (newest first).
//
// Works like an object context: insertNewResponse() and changes to responses
// read from the store are written by the next saveUpdates(); reading the same
// row twice gives the same object while someone holds it. Bodies are read
// from the file only when bodyData() is first asked for.
//
// Recording a response as it arrives:
//   auto response = HXResponseManager::sharedManager()->insertNewResponse();
//   response->setRequestUUID(...); response->setHeadersData(...); ...
//   (the body, when it is in) manager->purgeOldResponses();
//   ... later: response->setBodyData(...); manager->saveUpdates();
class HXResponseManager : public HXPersistentStoreManager, public HXResponseProvider
{
    Q_OBJECT
public:
    ~HXResponseManager() override;

    // The process-wide instance, opened (and installed as the response
    // provider of requests) on first use.
    static HXResponseManager *sharedManager();
    static HXResponseManager *sharedResponsesManager() { return sharedManager(); }
    // Drops the instance; unsaved changes are lost. The next use reopens.
    static void resetSharedManager();
    // Drops the instance and moves the file to the trash as
    // "Kea Responses <date and time>.sqlite" (or deletes it), announcing the
    // change through HXPersistentStoreNotifier. The next use starts empty.
    static void resetMoveToTrash(bool moveToTrash);

    static QString responsesDatabaseName() { return QStringLiteral("Responses.sqlite"); }
    // The folder beside the store where bodies too large for a row are kept
    // as files (and where engines put their temporary body files, so that
    // keeping one is a link, not a copy).
    static QString bodiesDirectory();
    // Bodies longer than this are kept as files; by default SQLite's own
    // length limit (about 1e9 bytes). Lower it to test the file path.
    void setLargestBodyInRow(qint64 length) { m_largestBodyInRow = length; }
    QString databaseName() const override { return responsesDatabaseName(); }
    QString trashName() const override;
    static QString trashNameForDate(const QDateTime &date);

    // A new response, written by the next save.
    std::shared_ptr<HXResponse> insertNewResponse();
    // Forgets the response; its row is deleted by the next save.
    void deleteResponse(const std::shared_ptr<HXResponse> &response);

    std::shared_ptr<HXResponse> lastResponseForRequest(const HXRequest *request) override;
    // Among the request's 20 newest responses.
    std::shared_ptr<HXResponse> lastResponseForRequestWithStatusCode(const HXRequest *request,
                                                                     qint64 statusCode) override;
    std::shared_ptr<HXResponse> lastResponseForRequestUUID(const QString &requestUUID);
    // Every response of the request, newest first.
    QList<std::shared_ptr<HXResponse>> responsesForRequestUUID(const QString &requestUUID);
    // Saved responses of all requests.
    qint64 countOfResponses();

    // Writes the pending changes and, in the same transaction, keeps the
    // newest "HXUserDefaultMaxResponsesInCache" responses of all documents
    // together (the ones just written included), deleting every older one.
    void purgeOldResponses();

protected:
    HXResult<void> prepareSchema(HXSQLiteDatabase &database) override;
    bool hasPendingChanges() const override;
    HXResult<void> writePendingChanges(HXSQLiteDatabase &database) override;
    void didWritePendingChanges(bool committed) override;

private:
    HXResponseManager();

    // The stored values of a row as last read or written, to find changes.
    struct Snapshot
    {
        QByteArray headersData;
        QString requestUUID;
        QDateTime date;
        double responseTime = 0;
        double downloadTime = 0;
        // The body as stored, once known (written, or read by the loader).
        std::shared_ptr<std::optional<QByteArray>> body;
        // The file of a body kept as one.
        QString bodyFile;
    };
    struct Entry
    {
        std::weak_ptr<HXResponse> response;
        Snapshot saved;
    };

    QList<std::shared_ptr<HXResponse>> _fetch(const QString &requestUUID, int limit);
    std::shared_ptr<HXResponse> _responseForRow(const HXSQLiteStatement &row);
    static Snapshot _snapshotOf(const HXResponse &response);
    bool _isChanged(const HXResponse &response, const Snapshot &saved) const;
    static bool _sameBytes(const QByteArray &a, const QByteArray &b);
    static bool _isBodyChanged(const HXResponse &response, const Snapshot &saved);
    // Keeps a large body as a file and records it for row `row`; a small
    // one stays for the row itself (false).
    HXResult<bool> _writeBodyFile(HXResponse &response, HXSQLiteDatabase &database, qint64 row);
    // Deletes the rows and their body-file records; the files go once the
    // transaction committed.
    HXResult<void> _deleteRows(HXSQLiteDatabase &database, const QList<qint64> &rows);
    // The rows beyond the newest "HXUserDefaultMaxResponsesInCache".
    HXResult<QList<qint64>> _rowsBeyondLimit(HXSQLiteDatabase &database);
    void _pruneRegistry();
    // Deletes body files that no row names and that are older than any
    // save still under way in another process could be: left by a process
    // killed between keeping a file and committing its row.
    void _removeOrphanBodyFiles();

    std::map<qint64, Entry> m_registry;
    std::vector<std::shared_ptr<HXResponse>> m_inserted;
    QSet<qint64> m_deleted;
    // Set by purgeOldResponses() for the next write; the rows it deleted.
    bool m_purgeRequested = false;
    QList<qint64> m_purged;
    // Filled while writing, applied once the transaction committed.
    std::vector<std::pair<std::shared_ptr<HXResponse>, qint64>> m_written;
    // Body files made by this write (removed if it does not commit) and
    // those of deleted rows (removed once it did).
    QStringList m_bodyFilesMade;
    QStringList m_bodyFilesDropped;
    qint64 m_largestBodyInRow = -1;
};
