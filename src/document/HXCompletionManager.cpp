#include "HXCompletionManager.h"

#include "HXDocumentLogging.h"
#include "HXDynamicValueEngine.h"
#include "HXSQLiteDatabase.h"
#include "HXThreading.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <algorithm>

namespace {

std::unique_ptr<HXCompletionManager> g_sharedManager;
QString g_seedResourcePath = QStringLiteral(":/Completions.json");

const char entryColumns[] = "word, attributedWord, category, filter, desc, weight, isUserGenerated";

std::optional<QString> optionalText(const HXSQLiteStatement &row, int column)
{
    return row.isNull(column) ? std::nullopt : std::optional<QString>(row.text(column));
}

void bindOptional(HXSQLiteStatement &statement, int index, const std::optional<QString> &text)
{
    if (text)
        statement.bindText(index, *text);
    else
        statement.bindNull(index);
}

std::optional<QString> jsonText(const QJsonObject &object, const char *key)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isString() ? std::optional<QString>(value.toString()) : std::nullopt;
}

} // namespace

HXCompletionManager::HXCompletionManager() = default;

HXCompletionManager::~HXCompletionManager()
{
    if (HXCompletionSink::sharedSink() == this)
        HXCompletionSink::setSharedSink(nullptr);
}

HXCompletionManager *HXCompletionManager::sharedCompletionManager()
{
    HX_ASSERT_MAIN_THREAD();
    if (!g_sharedManager) {
        g_sharedManager.reset(new HXCompletionManager);
        g_sharedManager->openStore();
        if (!g_sharedManager->isNew()) {
            if (auto loaded = g_sharedManager->_loadEntries(); !loaded)
                qCWarning(lcKeaDocument).noquote()
                    << QStringLiteral("Couldn't execute completion searching fetch request. Error: %1")
                           .arg(loaded.error().description);
        }
        HXCompletionSink::setSharedSink(g_sharedManager.get());
    }
    return g_sharedManager.get();
}

void HXCompletionManager::resetSharedManager()
{
    g_sharedManager.reset();
}

void HXCompletionManager::reset()
{
    const QString path = QDir(applicationSupportDirectory()).absoluteFilePath(completionDatabaseName());
    resetSharedManager();
    _deleteStoreFiles(path);
}

QString HXCompletionManager::seedResourcePath()
{
    return g_seedResourcePath;
}

void HXCompletionManager::setSeedResourcePath(const QString &path)
{
    g_seedResourcePath = path;
}

HXResult<void> HXCompletionManager::prepareSchema(HXSQLiteDatabase &database)
{
    return prepareVersionedSchema(
        database, 1,
        QStringLiteral("CREATE TABLE HXCompletionEntry (id INTEGER PRIMARY KEY, word TEXT NOT NULL, "
                       "attributedWord TEXT, category TEXT NOT NULL, filter TEXT, desc TEXT, "
                       "weight INTEGER NOT NULL DEFAULT 1, isUserGenerated INTEGER NOT NULL DEFAULT 0);"
                       "CREATE INDEX HXCompletionEntryCategory ON HXCompletionEntry (category);"),
        {QStringLiteral("SELECT id, %1 FROM HXCompletionEntry").arg(QLatin1String(entryColumns))});
}

HXResult<void> HXCompletionManager::_loadEntries()
{
    m_entries.clear();
    HXSQLiteDatabase *db = database();
    if (db == nullptr)
        return {};
    auto statement =
        db->prepare(QStringLiteral("SELECT id, %1 FROM HXCompletionEntry").arg(QLatin1String(entryColumns)));
    if (!statement)
        return statement.error();
    for (;;) {
        const HXSQLiteStatement::Step step = statement->step();
        if (step == HXSQLiteStatement::Done)
            return {};
        if (step == HXSQLiteStatement::Failed)
            return statement->lastError();
        auto entry = std::make_shared<HXCompletionEntry>();
        entry->m_rowId = statement->int64(0);
        entry->m_word = statement->text(1);
        entry->m_attributedWord = statement->text(2);
        entry->m_category = statement->text(3);
        entry->m_filter = optionalText(*statement, 4);
        entry->m_desc = optionalText(*statement, 5);
        entry->m_weight = quint64(std::max<qint64>(0, statement->int64(6)));
        entry->m_isUserGenerated = statement->int64(7) != 0;
        entry->m_dirty = false;
        m_entries.push_back(std::move(entry));
    }
}

QList<std::shared_ptr<const HXCompletionEntry>>
HXCompletionManager::completionsForWord(const QString &word, WordRange range, const QString &category,
                                        const std::optional<QString> &filter)
{
    HX_ASSERT_MAIN_THREAD();
    const qsizetype location = std::clamp<qsizetype>(range.location, 0, word.size());
    const QString prefix = word.mid(location, range.length < 0 ? -1 : range.length);
    QList<std::shared_ptr<const HXCompletionEntry>> found;
    for (const std::shared_ptr<HXCompletionEntry> &entry : m_entries) {
        if (entry->m_category != category)
            continue;
        if (!prefix.isEmpty() && !entry->m_word.startsWith(prefix, Qt::CaseInsensitive))
            continue;
        if (filter && (!entry->m_filter || entry->m_filter->compare(*filter, Qt::CaseInsensitive) != 0))
            continue;
        found.append(entry);
    }
    std::sort(found.begin(), found.end(), [](const auto &a, const auto &b) {
        if (a->m_weight != b->m_weight)
            return a->m_weight > b->m_weight;
        return a->m_word < b->m_word;
    });
    return found;
}

void HXCompletionManager::addCompletionForWord(const QString &word, const QString &attributedWord,
                                               const QString &category, const std::optional<QString> &filter,
                                               const std::optional<QString> &description, quint64 weight,
                                               bool isUserGenerated, bool preventDoubles)
{
    HX_ASSERT_MAIN_THREAD();
    if (word.isEmpty())
        return;
    if (preventDoubles) {
        bool updated = false;
        for (const auto &found : completionsForWord(word, {}, category, filter)) {
            if (found->m_word != word)
                continue;
            // The entries are ours; the lookup hands them out read-only.
            auto *entry = const_cast<HXCompletionEntry *>(found.get());
            if (description)
                entry->m_desc = description;
            entry->m_weight += weight;
            entry->m_dirty = true;
            updated = true;
        }
        if (updated)
            return;
    }
    auto entry = std::make_shared<HXCompletionEntry>();
    entry->m_word = word;
    entry->m_attributedWord = attributedWord;
    entry->m_category = category;
    entry->m_filter = filter;
    entry->m_desc = description;
    entry->m_weight = weight;
    entry->m_isUserGenerated = isUserGenerated;
    m_entries.push_back(std::move(entry));
}

void HXCompletionManager::addUserGeneratedCompletionForAttributedWord(const QString &attributedWord,
                                                                      const QString &category,
                                                                      const std::optional<QString> &filter)
{
    _learnWord(HXDynamicValueEngine::displayStringFromString(attributedWord), attributedWord, category, filter);
}

void HXCompletionManager::_learnWord(const QString &word, const QString &attributedWord, const QString &category,
                                     const std::optional<QString> &filter)
{
    addCompletionForWord(word, attributedWord, category, filter, std::nullopt, 1, true, true);
}

void HXCompletionManager::deleteCompletionEntry(const std::shared_ptr<const HXCompletionEntry> &entry)
{
    HX_ASSERT_MAIN_THREAD();
    auto found = std::find(m_entries.begin(), m_entries.end(), entry);
    if (found == m_entries.end())
        return;
    if ((*found)->m_rowId != 0)
        m_deletedRowIds.insert((*found)->m_rowId);
    m_entries.erase(found);
}

void HXCompletionManager::addCompletions(const QString &category, const QStringList &values)
{
    if (values.isEmpty())
        return;
    for (const QString &value : values)
        _learnWord(value, QString(), category, std::nullopt);
    _scheduleSave();
}

void HXCompletionManager::addFilteredCompletions(const QString &category, const QStringList &values,
                                                 const QStringList &filters)
{
    if (values.isEmpty())
        return;
    for (qsizetype i = 0; i < values.size(); ++i) {
        const QString filter = filters.value(i);
        _learnWord(values.at(i), QString(), category, filter.isEmpty() ? std::nullopt : std::optional<QString>(filter));
    }
    _scheduleSave();
}

void HXCompletionManager::_scheduleSave()
{
    if (m_saveScheduled || !hasPendingChanges())
        return;
    m_saveScheduled = true;
    QTimer::singleShot(0, this, [this] {
        m_saveScheduled = false;
        saveUpdates();
    });
}

void HXCompletionManager::loadSeedData()
{
    QFile file(g_seedResourcePath);
    QJsonParseError parseError{};
    QJsonDocument json;
    if (file.open(QIODevice::ReadOnly))
        json = QJsonDocument::fromJson(file.readAll(), &parseError);
    else
        parseError.error = QJsonParseError::IllegalValue;
    if (json.isNull() || !json.isArray()) {
        const QString reason = !file.isOpen()          ? file.errorString()
                               : parseError.error != 0 ? parseError.errorString()
                                                       : QStringLiteral("the list of entries is not an array");
        qCWarning(lcKeaDocument).noquote()
            << QStringLiteral("Cannot parse completion seed JSON. Error: %1").arg(reason);
        return;
    }
    for (const QJsonValue &item : json.array()) {
        const QJsonObject object = item.toObject();
        const QJsonValue weight = object.value(QLatin1String("weight"));
        addCompletionForWord(
            jsonText(object, "word").value_or(QString()), jsonText(object, "attributedWord").value_or(QString()),
            jsonText(object, "category").value_or(QString()), jsonText(object, "filter"), jsonText(object, "desc"),
            weight.isDouble() ? quint64(std::max(0.0, weight.toDouble())) : 1, false, false);
    }
    saveUpdates();
}

bool HXCompletionManager::hasPendingChanges() const
{
    return !m_deletedRowIds.isEmpty() ||
           std::any_of(m_entries.begin(), m_entries.end(), [](const auto &entry) { return entry->m_dirty; });
}

HXResult<void> HXCompletionManager::writePendingChanges(HXSQLiteDatabase &database)
{
    m_writtenRowIds.clear();
    if (!m_deletedRowIds.isEmpty()) {
        auto remove = database.prepare(QStringLiteral("DELETE FROM HXCompletionEntry WHERE id = ?"));
        if (!remove)
            return remove.error();
        for (const qint64 rowId : std::as_const(m_deletedRowIds)) {
            remove->bindInt64(1, rowId);
            if (auto removed = remove->run(); !removed)
                return removed;
            remove->reset();
        }
    }
    auto insert = database.prepare(QStringLiteral("INSERT INTO HXCompletionEntry (%1) VALUES (?, ?, ?, ?, ?, ?, ?)")
                                       .arg(QLatin1String(entryColumns)));
    auto update = database.prepare(QStringLiteral("UPDATE HXCompletionEntry SET desc = ?, weight = ? WHERE id = ?"));
    if (!insert)
        return insert.error();
    if (!update)
        return update.error();
    for (const std::shared_ptr<HXCompletionEntry> &entry : m_entries) {
        if (!entry->m_dirty)
            continue;
        if (entry->m_rowId != 0) {
            bindOptional(*update, 1, entry->m_desc);
            update->bindInt64(2, qint64(entry->m_weight));
            update->bindInt64(3, entry->m_rowId);
            if (auto updated = update->run(); !updated)
                return updated;
            update->reset();
            m_writtenRowIds.emplace_back(entry.get(), entry->m_rowId);
            continue;
        }
        insert->bindText(1, entry->m_word);
        if (entry->m_attributedWord.isEmpty())
            insert->bindNull(2);
        else
            insert->bindText(2, entry->m_attributedWord);
        insert->bindText(3, entry->m_category);
        bindOptional(*insert, 4, entry->m_filter);
        bindOptional(*insert, 5, entry->m_desc);
        insert->bindInt64(6, qint64(entry->m_weight));
        insert->bindInt64(7, entry->m_isUserGenerated ? 1 : 0);
        if (auto inserted = insert->run(); !inserted)
            return inserted;
        insert->reset();
        m_writtenRowIds.emplace_back(entry.get(), database.lastInsertRowId());
    }
    return {};
}

void HXCompletionManager::didWritePendingChanges(bool committed)
{
    if (committed) {
        // Every entry still in memory was alive during the save.
        for (const auto &[entry, rowId] : m_writtenRowIds) {
            entry->m_rowId = rowId;
            entry->m_dirty = false;
        }
        m_deletedRowIds.clear();
    }
    m_writtenRowIds.clear();
}
