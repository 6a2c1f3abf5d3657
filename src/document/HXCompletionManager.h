#pragma once

#include "HXCompletionEntry.h"
#include "HXCompletionSink.h"
#include "HXPersistentStoreManager.h"

#include <QList>
#include <QSet>

#include <memory>
#include <optional>
#include <vector>

// The words offered as completions in the request editors (header names and
// values, parameters, form fields), shared by every document:
// "CompletionManager_2.sqlite" in the application-support folder. A new
// store is filled from the "Completions" list among the application's
// resources; words the requests send are learnt and gain weight each time.
//
// Entries are kept in memory and written by saveUpdates(). As the
// completion sink of requests, learnt words are saved once the current
// event has been handled. Main thread only.
class HXCompletionManager : public HXPersistentStoreManager, public HXCompletionSink
{
    Q_OBJECT
public:
    ~HXCompletionManager() override;

    // The process-wide instance, opened (and installed as the completion
    // sink of requests) on first use.
    static HXCompletionManager *sharedCompletionManager();
    // Drops the instance and deletes the store, so the next use starts again
    // from the seed list.
    static void reset();
    // Drops the instance; unsaved changes are lost. The next use reopens.
    static void resetSharedManager();

    static QString completionDatabaseName() { return QStringLiteral("CompletionManager_2.sqlite"); }
    QString databaseName() const override { return completionDatabaseName(); }
    // Where the seed list is read from; tests point it elsewhere.
    static QString seedResourcePath();
    static void setSeedResourcePath(const QString &path);

    // The part of a word being completed: `length` characters from
    // `location` (-1: to the end of the word).
    struct WordRange
    {
        qsizetype location = 0;
        qsizetype length = -1;
    };

    // Entries of `category` whose word starts with the part of `word` inside
    // `range` (ignoring case; every entry of the category when that part is
    // empty) and, when a filter is given, whose filter equals it ignoring
    // case. Heaviest first, then by word.
    QList<std::shared_ptr<const HXCompletionEntry>> completionsForWord(const QString &word, WordRange range,
                                                                       const QString &category,
                                                                       const std::optional<QString> &filter);

    // Adds an entry; an empty word is ignored. With `preventDoubles`, an
    // entry of the same category and filter with exactly this word is
    // updated instead: its weight grows by `weight` and its description is
    // replaced when one is given.
    void addCompletionForWord(const QString &word, const QString &attributedWord, const QString &category,
                              const std::optional<QString> &filter, const std::optional<QString> &description,
                              quint64 weight, bool isUserGenerated, bool preventDoubles);
    // Learns a word the user typed (an archived dynamic string): its plain
    // text, tokens shown by their display strings, gains one point of weight.
    void addUserGeneratedCompletionForAttributedWord(const QString &attributedWord, const QString &category,
                                                     const std::optional<QString> &filter);
    void deleteCompletionEntry(const std::shared_ptr<const HXCompletionEntry> &entry);

    // Every entry, in no particular order.
    qsizetype countOfEntries() const { return qsizetype(m_entries.size()); }

    // HXCompletionSink: learns plain words sent by requests.
    void addCompletions(const QString &category, const QStringList &values) override;
    void addFilteredCompletions(const QString &category, const QStringList &values,
                                const QStringList &filters) override;

    void loadSeedData() override;

protected:
    HXResult<void> prepareSchema(HXSQLiteDatabase &database) override;
    bool hasPendingChanges() const override;
    HXResult<void> writePendingChanges(HXSQLiteDatabase &database) override;
    void didWritePendingChanges(bool committed) override;

private:
    HXCompletionManager();

    HXResult<void> _loadEntries();
    void _learnWord(const QString &word, const QString &attributedWord, const QString &category,
                    const std::optional<QString> &filter);
    void _scheduleSave();

    std::vector<std::shared_ptr<HXCompletionEntry>> m_entries;
    QSet<qint64> m_deletedRowIds;
    std::vector<std::pair<HXCompletionEntry *, qint64>> m_writtenRowIds; // during a save
    bool m_saveScheduled = false;
};
