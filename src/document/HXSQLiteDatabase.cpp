#include "HXSQLiteDatabase.h"

#include <climits>

#include <QFile>

#include <sqlite3.h>

#include <utility>

HXSQLiteStatementCache::~HXSQLiteStatementCache()
{
    for (const auto &[sql, statement] : m_statements)
        sqlite3_finalize(statement);
}

sqlite3_stmt *HXSQLiteStatementCache::take(const std::string &sql)
{
    const auto found = m_statements.find(sql);
    if (found == m_statements.end())
        return nullptr;
    sqlite3_stmt *statement = found->second;
    m_statements.erase(found);
    return statement;
}

void HXSQLiteStatementCache::give(sqlite3_stmt *statement)
{
    // Rewound so that it holds no read lock while it waits here.
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    const char *sql = sqlite3_sql(statement);
    if (sql == nullptr || m_statements.size() >= capacity) {
        sqlite3_finalize(statement);
        return;
    }
    m_statements.emplace(sql, statement);
}

HXSQLiteStatement::~HXSQLiteStatement()
{
    release();
}

void HXSQLiteStatement::release()
{
    if (m_statement == nullptr)
        return;
    if (const std::shared_ptr<HXSQLiteStatementCache> cache = m_cache.lock())
        cache->give(m_statement);
    else
        sqlite3_finalize(m_statement);
    m_statement = nullptr;
}

HXSQLiteStatement::HXSQLiteStatement(HXSQLiteStatement &&other) noexcept
    : m_statement(std::exchange(other.m_statement, nullptr)), m_database(other.m_database),
      m_cache(std::move(other.m_cache)), m_bindError(std::move(other.m_bindError))
{}

HXSQLiteStatement &HXSQLiteStatement::operator=(HXSQLiteStatement &&other) noexcept
{
    if (this != &other) {
        release();
        m_statement = std::exchange(other.m_statement, nullptr);
        m_database = other.m_database;
        m_cache = std::move(other.m_cache);
        m_bindError = std::move(other.m_bindError);
    }
    return *this;
}

void HXSQLiteStatement::bind(int index, const QVariant &value)
{
    if (!value.isValid() || value.isNull()) {
        bindNull(index);
        return;
    }
    switch (value.typeId()) {
    case QMetaType::QByteArray:
        bindBlob(index, value.toByteArray());
        break;
    case QMetaType::Double:
    case QMetaType::Float:
        bindDouble(index, value.toDouble());
        break;
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
        bindInt64(index, value.toLongLong());
        break;
    default:
        bindText(index, value.toString());
        break;
    }
}

void HXSQLiteStatement::bindText(int index, const QString &text)
{
    if (text.isNull()) {
        bindNull(index);
        return;
    }
    const QByteArray utf8 = text.toUtf8();
    sqlite3_bind_text64(m_statement, index, utf8.constData(), sqlite3_uint64(utf8.size()), SQLITE_TRANSIENT,
                        SQLITE_UTF8);
}

void HXSQLiteStatement::bindBlob(int index, const QByteArray &bytes)
{
    if (bytes.isNull()) {
        bindNull(index);
        return;
    }
    // A non-null pointer even for an empty array, so that it stays an empty
    // blob rather than NULL.
    static const char empty = 0;
    const int bound = sqlite3_bind_blob64(m_statement, index, bytes.isEmpty() ? &empty : bytes.constData(),
                                          sqlite3_uint64(bytes.size()), SQLITE_TRANSIENT);
    if (bound != SQLITE_OK && !m_bindError)
        m_bindError = HXError(QString::fromLatin1(HXSQLiteDatabase::errorDomain), bound,
                              QStringLiteral("a value of %1 bytes cannot be stored: %2")
                                  .arg(bytes.size())
                                  .arg(QString::fromUtf8(sqlite3_errstr(bound))));
}

void HXSQLiteStatement::bindInt64(int index, qint64 value)
{
    sqlite3_bind_int64(m_statement, index, value);
}

void HXSQLiteStatement::bindDouble(int index, double value)
{
    sqlite3_bind_double(m_statement, index, value);
}

void HXSQLiteStatement::bindNull(int index)
{
    sqlite3_bind_null(m_statement, index);
}

HXSQLiteStatement::Step HXSQLiteStatement::step()
{
    if (m_statement == nullptr)
        return Failed;
    switch (sqlite3_step(m_statement)) {
    case SQLITE_ROW:
        return Row;
    case SQLITE_DONE:
        return Done;
    default:
        return Failed;
    }
}

HXResult<void> HXSQLiteStatement::run()
{
    if (m_bindError)
        return *m_bindError;
    for (;;) {
        switch (step()) {
        case Row:
            continue;
        case Done:
            return {};
        case Failed:
            return lastError();
        }
    }
}

void HXSQLiteStatement::reset()
{
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
    m_bindError.reset();
}

bool HXSQLiteStatement::isNull(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}

qint64 HXSQLiteStatement::int64(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

double HXSQLiteStatement::real(int column) const
{
    return sqlite3_column_double(m_statement, column);
}

QString HXSQLiteStatement::text(int column) const
{
    if (isNull(column))
        return QString();
    const auto *data = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    const int size = sqlite3_column_bytes(m_statement, column);
    return data != nullptr ? QString::fromUtf8(data, size) : QStringLiteral("");
}

QByteArray HXSQLiteStatement::blob(int column) const
{
    if (isNull(column))
        return QByteArray();
    const void *data = sqlite3_column_blob(m_statement, column);
    const int size = sqlite3_column_bytes(m_statement, column);
    return data != nullptr ? QByteArray(static_cast<const char *>(data), size) : QByteArray("");
}

HXError HXSQLiteStatement::lastError() const
{
    const int code = m_database != nullptr ? sqlite3_extended_errcode(m_database) : SQLITE_MISUSE;
    const QString message = m_database != nullptr ? QString::fromUtf8(sqlite3_errmsg(m_database))
                                                  : QString::fromUtf8(sqlite3_errstr(SQLITE_MISUSE));
    return HXError(QString::fromLatin1(HXSQLiteDatabase::errorDomain), code, message);
}

HXResult<std::unique_ptr<HXSQLiteDatabase>> HXSQLiteDatabase::open(const QString &path)
{
    sqlite3 *handle = nullptr;
    const QByteArray file = QFile::encodeName(path);
    const int opened = sqlite3_open_v2(file.constData(), &handle,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (opened != SQLITE_OK) {
        HXError error(QString::fromLatin1(errorDomain), opened,
                      handle != nullptr ? QString::fromUtf8(sqlite3_errmsg(handle))
                                        : QString::fromUtf8(sqlite3_errstr(opened)));
        sqlite3_close_v2(handle);
        return error;
    }
    std::unique_ptr<HXSQLiteDatabase> database(new HXSQLiteDatabase(handle, path));
    sqlite3_extended_result_codes(handle, 1);
    sqlite3_busy_timeout(handle, 5000);
    // journal_mode reads the file header, so a file that is not a database
    // fails here; reading the schema catches a damaged first page.
    auto mode = database->scalar(QStringLiteral("PRAGMA journal_mode=WAL"));
    if (!mode)
        return mode.error();
    if (mode->toString().compare(u"wal", Qt::CaseInsensitive) != 0)
        return HXError(QString::fromLatin1(errorDomain), SQLITE_CANTOPEN,
                       QStringLiteral("cannot use a write-ahead log (journal mode %1)").arg(mode->toString()));
    if (auto synchronous = database->execute(QStringLiteral("PRAGMA synchronous=NORMAL")); !synchronous)
        return synchronous.error();
    if (auto schema = database->scalar(QStringLiteral("SELECT count(*) FROM sqlite_master")); !schema)
        return schema.error();
    return database;
}

HXSQLiteDatabase::~HXSQLiteDatabase()
{
    // The kept statements are finalised here; a statement a caller still
    // holds is finalised when it is destroyed, and SQLite closes the file
    // then.
    m_cache.reset();
    sqlite3_close_v2(m_database);
}

HXError HXSQLiteDatabase::errorWithCode(int code) const
{
    return HXError(QString::fromLatin1(errorDomain), code, QString::fromUtf8(sqlite3_errmsg(m_database)));
}

HXResult<void> HXSQLiteDatabase::execute(const QString &sql)
{
    char *message = nullptr;
    const int result = sqlite3_exec(m_database, sql.toUtf8().constData(), nullptr, nullptr, &message);
    if (result == SQLITE_OK)
        return {};
    HXError error(QString::fromLatin1(errorDomain), result,
                  message != nullptr ? QString::fromUtf8(message) : QString::fromUtf8(sqlite3_errstr(result)));
    sqlite3_free(message);
    return error;
}

HXResult<HXSQLiteStatement> HXSQLiteDatabase::prepare(const QString &sql)
{
    const std::string utf8 = sql.toStdString();
    sqlite3_stmt *statement = m_cache->take(utf8);
    if (statement != nullptr)
        return HXSQLiteStatement(statement, m_database, m_cache);
    const int result =
        sqlite3_prepare_v3(m_database, utf8.c_str(), int(utf8.size()), SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (result != SQLITE_OK) {
        sqlite3_finalize(statement);
        return errorWithCode(result);
    }
    return HXSQLiteStatement(statement, m_database, m_cache);
}

HXResult<QVariant> HXSQLiteDatabase::scalar(const QString &sql)
{
    auto statement = prepare(sql);
    if (!statement)
        return statement.error();
    switch (statement->step()) {
    case HXSQLiteStatement::Row:
        break;
    case HXSQLiteStatement::Done:
        return QVariant();
    case HXSQLiteStatement::Failed:
        return statement->lastError();
    }
    sqlite3_stmt *raw = statement->m_statement;
    switch (sqlite3_column_type(raw, 0)) {
    case SQLITE_INTEGER:
        return QVariant(statement->int64(0));
    case SQLITE_FLOAT:
        return QVariant(statement->real(0));
    case SQLITE_BLOB:
        return QVariant(statement->blob(0));
    case SQLITE_NULL:
        return QVariant();
    default:
        return QVariant(statement->text(0));
    }
}

qint64 HXSQLiteDatabase::lastInsertRowId() const
{
    return sqlite3_last_insert_rowid(m_database);
}

int HXSQLiteDatabase::changes() const
{
    return sqlite3_changes(m_database);
}

HXResult<void> HXSQLiteDatabase::beginTransaction()
{
    return execute(QStringLiteral("BEGIN IMMEDIATE"));
}

HXResult<void> HXSQLiteDatabase::commit()
{
    return execute(QStringLiteral("COMMIT"));
}

void HXSQLiteDatabase::rollback()
{
    if (sqlite3_get_autocommit(m_database) == 0)
        (void)execute(QStringLiteral("ROLLBACK"));
}

QString HXSQLiteDatabase::integrityCheck()
{
    auto statement = prepare(QStringLiteral("PRAGMA integrity_check"));
    if (!statement)
        return statement.error().description;
    QStringList lines;
    while (statement->step() == HXSQLiteStatement::Row)
        lines.append(statement->text(0));
    return lines.isEmpty() ? statement->lastError().description : lines.join(u'\n');
}

QStringList HXSQLiteDatabase::databaseFiles(const QString &path)
{
    return {path, path + QStringLiteral("-wal"), path + QStringLiteral("-shm")};
}

qint64 HXSQLiteDatabase::lengthLimit() const
{
    return sqlite3_limit(m_database, SQLITE_LIMIT_LENGTH, -1);
}

void HXSQLiteDatabase::setLengthLimit(qint64 length)
{
    sqlite3_limit(m_database, SQLITE_LIMIT_LENGTH, int(qBound(qint64(0), length, qint64(INT_MAX))));
}
