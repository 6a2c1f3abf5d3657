#pragma once

#include "HXResult.h"

#include <QObject>
#include <QString>

#include <memory>
#include <optional>

class HXSQLiteDatabase;

// Base of the side stores kept beside the documents in the user's
// application-support folder (responses, interface state): one SQLite file
// per store, opened when the store is made, moved to the trash and recreated
// only when SQLite finds it damaged or its tables do not fit.
//
// A subclass names its file and trash name, creates and checks its tables,
// and writes its pending changes when asked to save. Each subclass keeps one
// process-wide instance (its sharedManager()); resetSharedManager() drops it
// so the next use opens the file again. Main thread only.
class HXPersistentStoreManager : public QObject
{
    Q_OBJECT
public:
    ~HXPersistentStoreManager() override;

    // The folder of the side stores (created when missing).
    static QString applicationSupportDirectory();
    // The same folder's path, without making it.
    static QString applicationSupportPath();
    // That folder and databaseName().
    QString databasePath() const;

    virtual QString databaseName() const = 0;
    // The name a trashed store file is given in the trash; empty keeps the
    // file's own name.
    virtual QString trashName() const { return QString(); }

    // Null when the store could be neither opened nor recreated; every
    // operation then does nothing.
    HXSQLiteDatabase *database() const { return m_database.get(); }
    // Whether the file was created (or recreated) when the store opened.
    bool isNew() const { return m_isNew; }

    // Writes the pending changes; a failure is logged.
    void saveUpdates();
    // Writes the pending changes in one transaction; all or nothing.
    HXResult<void> saveToPersistentStore();

    // Moves the file at `path` (with its -wal and -shm files) to the trash,
    // renamed to `trashName` there when one is given; deletes them when the
    // trash cannot take them. Returns the path in the trash of the main file,
    // or an empty string when it was deleted or absent.
    static QString _moveStoreToTrash(const QString &path, const QString &trashName);
    // Deletes the file at `path` with its -wal and -shm files.
    static void _deleteStoreFiles(const QString &path);

protected:
    explicit HXPersistentStoreManager(QObject *parent = nullptr);

    // Opens the store file, recreating it when it is unreadable or its
    // tables do not fit. Called by the subclass right after construction.
    void openStore();

    // Creates the tables of a new file, or checks those of an existing one
    // (an error makes the store be recreated).
    virtual HXResult<void> prepareSchema(HXSQLiteDatabase &database) = 0;
    virtual bool hasPendingChanges() const = 0;
    // Writes the pending changes inside the open transaction.
    virtual HXResult<void> writePendingChanges(HXSQLiteDatabase &database) = 0;
    // After the transaction committed (true) or was rolled back (false).
    virtual void didWritePendingChanges(bool committed) = 0;
    // Fills a new store; does nothing by default.
    virtual void loadSeedData() {}

    // The database shared with objects that read from it later (lazily
    // loaded response bodies); they hold it weakly.
    std::weak_ptr<HXSQLiteDatabase> weakDatabase() const { return m_database; }

    // The class name, as the log texts name the store.
    QString storeClassName() const;

    // For prepareSchema(): in one transaction, a file without tables
    // (user_version 0) gets `createStatements` (which should say IF NOT
    // EXISTS) and `version`; a file of another version is refused; then
    // every query of `checkQueries` must prepare (the columns exist). A
    // refusal has the code UnfitSchemaError.
    static constexpr int UnfitSchemaError = -2;
    static HXResult<void> prepareVersionedSchema(HXSQLiteDatabase &database, int version,
                                                 const QString &createStatements, const QStringList &checkQueries);

    // Whether an error opening the store means the file itself is beyond use
    // (SQLite finds it corrupt or not a database, or its tables do not fit),
    // as opposed to a full disk, a write error or a busy file.
    static bool isUnusableStoreError(const HXError &error);

private:
    HXResult<void> _openAndPrepare(const QString &path);

    std::shared_ptr<HXSQLiteDatabase> m_database;
    // Why the store could not be opened, while it is not.
    std::optional<HXError> m_openError;
    bool m_isNew = false;
};
