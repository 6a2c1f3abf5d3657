#pragma once

#include "HXResult.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

// Prepared statements that a database keeps for reuse, keyed by their SQL,
// so that a statement run for every response is compiled once. Statements
// come back here when their HXSQLiteStatement is destroyed; the ones still
// here are finalised with the cache.
class HXSQLiteStatementCache
{
public:
    HXSQLiteStatementCache() = default;
    ~HXSQLiteStatementCache();
    HXSQLiteStatementCache(const HXSQLiteStatementCache &) = delete;
    HXSQLiteStatementCache &operator=(const HXSQLiteStatementCache &) = delete;

    // A kept statement for `sql`, reset and unbound, or null.
    sqlite3_stmt *take(const std::string &sql);
    // Keeps `statement` for its SQL, or finalises it when the cache is full.
    void give(sqlite3_stmt *statement);

private:
    static constexpr size_t capacity = 32;
    std::unordered_multimap<std::string, sqlite3_stmt *> m_statements;
};

// A prepared statement of an HXSQLiteDatabase. Values are bound by 1-based
// index; step() runs it one row at a time. When destroyed it goes back to
// its database's cache, or is finalised when the database is gone.
class HXSQLiteStatement
{
public:
    HXSQLiteStatement() = default;
    ~HXSQLiteStatement();
    HXSQLiteStatement(HXSQLiteStatement &&other) noexcept;
    HXSQLiteStatement &operator=(HXSQLiteStatement &&other) noexcept;
    HXSQLiteStatement(const HXSQLiteStatement &) = delete;
    HXSQLiteStatement &operator=(const HXSQLiteStatement &) = delete;

    bool isValid() const { return m_statement != nullptr; }

    // A null QVariant binds NULL; strings bind UTF-8 text; QByteArray binds a
    // blob; integers, booleans and doubles bind numbers.
    void bind(int index, const QVariant &value);
    void bindText(int index, const QString &text);
    void bindBlob(int index, const QByteArray &bytes);
    void bindInt64(int index, qint64 value);
    void bindDouble(int index, double value);
    void bindNull(int index);

    enum Step { Row, Done, Failed };
    Step step();
    // Runs the statement to its end; the error of the failing step, if any.
    HXResult<void> run();
    // Clears the bindings and rewinds, ready to run again.
    void reset();

    bool isNull(int column) const;
    qint64 int64(int column) const;
    double real(int column) const;
    QString text(int column) const;
    QByteArray blob(int column) const;

    // The database's message for the last failure.
    HXError lastError() const;

private:
    friend class HXSQLiteDatabase;
    HXSQLiteStatement(sqlite3_stmt *statement, sqlite3 *database, std::weak_ptr<HXSQLiteStatementCache> cache)
        : m_statement(statement), m_database(database), m_cache(std::move(cache))
    {}
    void release();

    sqlite3_stmt *m_statement = nullptr;
    sqlite3 *m_database = nullptr;
    std::weak_ptr<HXSQLiteStatementCache> m_cache;
    // A value that could not be bound (such as a blob over SQLite's length
    // limit, which would otherwise be stored as NULL); run() reports it.
    std::optional<HXError> m_bindError;
};

// One open SQLite database file: opened in write-ahead-log mode with
// synchronous=NORMAL, closed when destroyed. Main thread only.
class HXSQLiteDatabase
{
public:
    static constexpr const char *errorDomain = "kestrelworks.Kea.SQLiteErrorDomain";

    // Opens (creating when missing) the database at `path`, turns on the
    // write-ahead log and checks that the file really is a database (an
    // unreadable file fails here, not at the first query).
    static HXResult<std::unique_ptr<HXSQLiteDatabase>> open(const QString &path);

    ~HXSQLiteDatabase();
    HXSQLiteDatabase(const HXSQLiteDatabase &) = delete;
    HXSQLiteDatabase &operator=(const HXSQLiteDatabase &) = delete;

    QString path() const { return m_path; }

    // Runs one or more statements without results.
    HXResult<void> execute(const QString &sql);
    // A statement for `sql`: a kept one when this SQL ran before, else a
    // newly compiled one.
    HXResult<HXSQLiteStatement> prepare(const QString &sql);
    // The first column of the first row of a query, or an invalid QVariant.
    HXResult<QVariant> scalar(const QString &sql);

    qint64 lastInsertRowId() const;
    // The longest text or blob this connection stores (SQLite's length
    // limit), and a way to lower it.
    qint64 lengthLimit() const;
    void setLengthLimit(qint64 length);
    int changes() const;

    // BEGIN IMMEDIATE / COMMIT / ROLLBACK.
    HXResult<void> beginTransaction();
    HXResult<void> commit();
    void rollback();

    // "ok" when PRAGMA integrity_check finds nothing wrong, else its report.
    QString integrityCheck();

    // The files SQLite keeps for a database: the file itself, its -wal and
    // its -shm.
    static QStringList databaseFiles(const QString &path);

private:
    explicit HXSQLiteDatabase(sqlite3 *database, QString path)
        : m_database(database), m_path(std::move(path)), m_cache(std::make_shared<HXSQLiteStatementCache>())
    {}
    HXError errorWithCode(int code) const;

    sqlite3 *m_database = nullptr;
    QString m_path;
    std::shared_ptr<HXSQLiteStatementCache> m_cache;
};
