#include "HXPersistentStoreManager.h"

#include "HXDocumentLogging.h"
#include "HXSQLiteDatabase.h"
#include "HXThreading.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <sqlite3.h>

#include <unistd.h>

namespace {

const QStringList storeFileSuffixes = {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")};

// `name` with " n" before its extension: "Kea Responses.sqlite" -> "Kea Responses 2.sqlite".
QString numberedName(const QString &name, int number)
{
    if (number <= 1)
        return name;
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot <= 0)
        return QStringLiteral("%1 %2").arg(name).arg(number);
    return QStringLiteral("%1 %2%3").arg(name.left(dot)).arg(number).arg(name.mid(dot));
}

// Renames a trashed file and its freedesktop ".trashinfo" record, so that
// restoring from the trash still works. Returns the new path, or the old one
// when it cannot be renamed.
QString renameInTrash(const QString &pathInTrash, const QString &newName)
{
    const QFileInfo trashed(pathInTrash);
    const QDir files = trashed.dir();
    const QString infoDir = files.absoluteFilePath(QStringLiteral("../info"));
    const QString target = files.absoluteFilePath(newName);
    if (QFileInfo::exists(target) || !QFile::rename(pathInTrash, target))
        return pathInTrash;
    const QString oldInfo = QDir(infoDir).absoluteFilePath(trashed.fileName() + QStringLiteral(".trashinfo"));
    if (QFileInfo::exists(oldInfo))
        QFile::rename(oldInfo, QDir(infoDir).absoluteFilePath(newName + QStringLiteral(".trashinfo")));
    return target;
}

// A name free in the trash folder of `pathInTrash` for the file and its
// -wal and -shm companions.
QString freeTrashName(const QString &pathInTrash, const QString &trashName)
{
    const QDir files = QFileInfo(pathInTrash).dir();
    const QDir info(files.absoluteFilePath(QStringLiteral("../info")));
    for (int number = 1; number < 1000; ++number) {
        const QString candidate = numberedName(trashName, number);
        bool taken = false;
        for (const QString &suffix : storeFileSuffixes) {
            const QString name = candidate + suffix;
            taken = taken || files.exists(name) || info.exists(name + QStringLiteral(".trashinfo"));
        }
        if (!taken)
            return candidate;
    }
    return QString();
}

} // namespace

HXPersistentStoreManager::HXPersistentStoreManager(QObject *parent) : QObject(parent) {}

HXPersistentStoreManager::~HXPersistentStoreManager() = default;

QString HXPersistentStoreManager::applicationSupportDirectory()
{
    const QString folder = applicationSupportPath();
    QDir().mkpath(folder);
    return folder;
}

QString HXPersistentStoreManager::applicationSupportPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
}

QString HXPersistentStoreManager::databasePath() const
{
    return QDir(applicationSupportDirectory()).absoluteFilePath(databaseName());
}

QString HXPersistentStoreManager::storeClassName() const
{
    return QString::fromLatin1(metaObject()->className());
}

HXResult<void> HXPersistentStoreManager::prepareVersionedSchema(HXSQLiteDatabase &database, int version,
                                                                const QString &createStatements,
                                                                const QStringList &checkQueries)
{
    // One immediate transaction, so that two processes creating the store at
    // once take turns (each waits out the other within the busy time-out)
    // and the second finds the tables the first made.
    if (auto begun = database.beginTransaction(); !begun)
        return begun;
    auto prepared = [&]() -> HXResult<void> {
        auto found = database.scalar(QStringLiteral("PRAGMA user_version"));
        if (!found)
            return found.error();
        const qint64 foundVersion = found->toLongLong();
        if (foundVersion == 0) {
            if (auto created = database.execute(createStatements); !created)
                return created;
            if (auto set = database.execute(QStringLiteral("PRAGMA user_version=%1").arg(version)); !set)
                return set;
        } else if (foundVersion != version) {
            return HXError(
                QString::fromLatin1(HXSQLiteDatabase::errorDomain), UnfitSchemaError,
                QStringLiteral("the store has version %1, this Kea reads version %2").arg(foundVersion).arg(version));
        }
        for (const QString &query : checkQueries) {
            auto statement = database.prepare(query);
            // A missing table or column; a failure to read is passed on as it is.
            if (!statement && (statement.error().code & 0xff) == SQLITE_ERROR)
                return HXError(QString::fromLatin1(HXSQLiteDatabase::errorDomain), UnfitSchemaError,
                               QStringLiteral("the store's tables do not fit: %1").arg(statement.error().description));
            if (!statement)
                return statement.error();
        }
        return {};
    }();
    if (!prepared) {
        database.rollback();
        return prepared;
    }
    return database.commit();
}

bool HXPersistentStoreManager::isUnusableStoreError(const HXError &error)
{
    if (error.domain != QLatin1String(HXSQLiteDatabase::errorDomain))
        return false;
    const int primary = error.code & 0xff;
    return error.code == UnfitSchemaError || primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

HXResult<void> HXPersistentStoreManager::_openAndPrepare(const QString &path)
{
    auto opened = HXSQLiteDatabase::open(path);
    if (!opened)
        return opened.error();
    std::shared_ptr<HXSQLiteDatabase> database(std::move(opened).value());
    if (auto prepared = prepareSchema(*database); !prepared)
        return prepared.error();
    m_database = std::move(database);
    return {};
}

void HXPersistentStoreManager::openStore()
{
    HX_ASSERT_MAIN_THREAD();
    const QString path = databasePath();
    m_isNew = !QFileInfo::exists(path);
    // SQLite removes the -wal and -shm files when it closes a file it could
    // not read; keep second links to them so that they can go to the trash
    // with the file they belong to.
    QStringList keptCompanions;
    for (const QString &suffix : {QStringLiteral("-wal"), QStringLiteral("-shm")}) {
        const QString kept = path + suffix + QStringLiteral(".kept");
        QFile::remove(kept);
        if (::link(QFile::encodeName(path + suffix).constData(), QFile::encodeName(kept).constData()) == 0)
            keptCompanions.append(suffix);
    }
    auto opened = _openAndPrepare(path);
    if (opened || !isUnusableStoreError(opened.error())) {
        for (const QString &suffix : std::as_const(keptCompanions))
            QFile::remove(path + suffix + QStringLiteral(".kept"));
        if (!opened) {
            // A full disk, a write error or a store held by another program:
            // the store itself is fine, so it stays where it is.
            qCWarning(lcKeaDocument).noquote() << QStringLiteral("Cannot open persistent store for %1. Error: %2")
                                                      .arg(storeClassName(), opened.error().description);
            m_openError = opened.error();
            return;
        }
    } else {
        qCWarning(lcKeaDocument).noquote() << QStringLiteral("Reset %1 persistent store").arg(storeClassName());
        qCInfo(lcKeaDocument).noquote() << path << opened.error().description;
        for (const QString &suffix : std::as_const(keptCompanions)) {
            QFile::remove(path + suffix);
            QFile::rename(path + suffix + QStringLiteral(".kept"), path + suffix);
        }
        _moveStoreToTrash(path, trashName());
        m_isNew = true;
        opened = _openAndPrepare(path);
        if (!opened) {
            qCWarning(lcKeaDocument).noquote() << QStringLiteral("Cannot create persistent store for %1. Error: %2")
                                                      .arg(storeClassName(), opened.error().description);
            m_openError = opened.error();
            return;
        }
    }
    if (m_isNew)
        loadSeedData();
}

void HXPersistentStoreManager::saveUpdates()
{
    if (auto saved = saveToPersistentStore(); !saved)
        qCWarning(lcKeaDocument).noquote()
            << QStringLiteral("Cannot save new %1 entries to persistent store. Error: %2")
                   .arg(storeClassName(), saved.error().description);
}

HXResult<void> HXPersistentStoreManager::saveToPersistentStore()
{
    HX_ASSERT_MAIN_THREAD();
    if (!hasPendingChanges())
        return {};
    if (!m_database)
        return HXError(
            QString::fromLatin1(HXSQLiteDatabase::errorDomain), -1,
            m_openError
                ? QStringLiteral("the store %1 could not be opened: %2").arg(databaseName(), m_openError->description)
                : QStringLiteral("the store %1 is not open").arg(databaseName()));
    if (auto begun = m_database->beginTransaction(); !begun)
        return begun;
    auto written = writePendingChanges(*m_database);
    if (written)
        written = m_database->commit();
    if (!written) {
        m_database->rollback();
        didWritePendingChanges(false);
        return written;
    }
    didWritePendingChanges(true);
    return {};
}

QString HXPersistentStoreManager::_moveStoreToTrash(const QString &path, const QString &trashName)
{
    QString mainInTrash;
    QString name;
    for (const QString &suffix : storeFileSuffixes) {
        const QString file = path + suffix;
        if (!QFileInfo::exists(file))
            continue;
        QString pathInTrash;
        if (!QFile::moveToTrash(file, &pathInTrash)) {
            QFile::remove(file);
            continue;
        }
        if (!trashName.isEmpty()) {
            // The companions follow the name chosen for the first file moved.
            if (name.isEmpty())
                name = freeTrashName(pathInTrash, trashName);
            if (!name.isEmpty())
                pathInTrash = renameInTrash(pathInTrash, name + suffix);
        }
        if (suffix.isEmpty())
            mainInTrash = pathInTrash;
    }
    return mainInTrash;
}

void HXPersistentStoreManager::_deleteStoreFiles(const QString &path)
{
    for (const QString &suffix : storeFileSuffixes)
        QFile::remove(path + suffix);
}
