#include "HXUIPreferencesManager.h"

#include "HXDocument.h"
#include "HXDocumentLogging.h"
#include "HXEnvironment.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXSQLiteDatabase.h"
#include "HXThreading.h"

#include <QDir>
#include <QUrl>

namespace {

std::unique_ptr<HXUIPreferencesManager> g_sharedManager;

const char requestColumns[] = "requestUUID, requestTab, responseTab, viewType, responseTextFormat";
const char documentColumns[] = "documentUUID, mainViewType, listViewWidth, mainViewRatio, listViewArrangeBy, "
                               "listViewOrderBy, requestInspectorHeight, selectedListViewItems, "
                               "expandedListViewItems, selectedEnvironment";

std::optional<qint64> optionalInt(const HXSQLiteStatement &row, int column)
{
    return row.isNull(column) ? std::nullopt : std::optional<qint64>(row.int64(column));
}

std::optional<double> optionalReal(const HXSQLiteStatement &row, int column)
{
    return row.isNull(column) ? std::nullopt : std::optional<double>(row.real(column));
}

std::optional<QString> optionalText(const HXSQLiteStatement &row, int column)
{
    return row.isNull(column) ? std::nullopt : std::optional<QString>(row.text(column));
}

template <typename T>
QVariant variantOf(const std::optional<T> &value)
{
    return value ? QVariant::fromValue(*value) : QVariant();
}

std::optional<int> asInt(const std::optional<qint64> &value)
{
    return value ? std::optional<int>(int(*value)) : std::nullopt;
}

QString joinItems(const QSet<QString> &items)
{
    QStringList list(items.begin(), items.end());
    list.sort();
    // Never a null text: an empty list is stored as "", not as no value.
    return QStringLiteral("") + list.join(u',');
}

std::optional<QSet<QString>> splitItems(const std::optional<QString> &text)
{
    if (!text)
        return std::nullopt;
    const QStringList parts = text->split(u',');
    QSet<QString> items(parts.begin(), parts.end());
    items.remove(QString());
    return items;
}

} // namespace

HXUIPreferencesManager::HXUIPreferencesManager() = default;

HXUIPreferencesManager::~HXUIPreferencesManager() = default;

HXUIPreferencesManager *HXUIPreferencesManager::sharedManager()
{
    HX_ASSERT_MAIN_THREAD();
    if (!g_sharedManager) {
        g_sharedManager.reset(new HXUIPreferencesManager);
        g_sharedManager->openStore();
    }
    return g_sharedManager.get();
}

void HXUIPreferencesManager::resetSharedManager()
{
    g_sharedManager.reset();
}

void HXUIPreferencesManager::resetMoveToTrash(bool moveToTrash)
{
    const QString path = QDir(applicationSupportDirectory()).absoluteFilePath(preferencesDatabaseName());
    resetSharedManager();
    if (moveToTrash)
        _moveStoreToTrash(path, QString());
    else
        _deleteStoreFiles(path);
}

HXResult<void> HXUIPreferencesManager::prepareSchema(HXSQLiteDatabase &database)
{
    return prepareVersionedSchema(
        database, 1,
        QStringLiteral("CREATE TABLE IF NOT EXISTS HXRequestPreferences (requestUUID TEXT PRIMARY KEY NOT NULL, "
                       "requestTab INTEGER, "
                       "responseTab INTEGER, viewType INTEGER, responseTextFormat INTEGER);"
                       "CREATE TABLE IF NOT EXISTS HXDocumentPreferences (documentUUID TEXT PRIMARY KEY NOT NULL, "
                       "mainViewType INTEGER, listViewWidth REAL, mainViewRatio REAL, listViewArrangeBy INTEGER, "
                       "listViewOrderBy INTEGER, requestInspectorHeight REAL, selectedListViewItems TEXT, "
                       "expandedListViewItems TEXT, selectedEnvironment TEXT);"),
        {QStringLiteral("SELECT %1 FROM HXRequestPreferences").arg(QLatin1String(requestColumns)),
         QStringLiteral("SELECT %1 FROM HXDocumentPreferences").arg(QLatin1String(documentColumns))});
}

void HXUIPreferencesManager::logFetchFailure(const HXError &error)
{
    qCWarning(lcKeaDocument).noquote()
        << QStringLiteral("Couldn't execute UI Preferences fetch request. Error: %1").arg(error.description);
}

template <typename Record>
Record *HXUIPreferencesManager::_cachedRecord(std::map<QString, Record> &records, const QString &uuid, bool create,
                                              const char *table, const char *key, const char *columns,
                                              void (*readRow)(const HXSQLiteStatement &, Record &))
{
    HX_ASSERT_MAIN_THREAD();
    if (uuid.isEmpty())
        return nullptr;
    if (auto known = records.find(uuid); known != records.end())
        return &known->second;
    if (HXSQLiteDatabase *database = this->database()) {
        auto select = database->prepare(QStringLiteral("SELECT %1 FROM %2 WHERE %3 = ? ORDER BY %3 LIMIT 1")
                                            .arg(QLatin1String(columns), QLatin1String(table), QLatin1String(key)));
        if (!select) {
            logFetchFailure(select.error());
        } else {
            select->bindText(1, uuid);
            const HXSQLiteStatement::Step step = select->step();
            if (step == HXSQLiteStatement::Row) {
                Record record;
                readRow(*select, record);
                return &(records[uuid] = record);
            }
            if (step == HXSQLiteStatement::Failed)
                logFetchFailure(select->lastError());
        }
    }
    if (!create)
        return nullptr;
    return &records[uuid];
}

HXUIPreferencesManager::RequestRecord *HXUIPreferencesManager::_requestRecord(const HXRequest *request, bool create)
{
    return _cachedRecord<RequestRecord>(m_requests, request != nullptr ? request->uuid() : QString(), create,
                                        "HXRequestPreferences", "requestUUID", requestColumns,
                                        [](const HXSQLiteStatement &row, RequestRecord &record) {
                                            record.requestTab = optionalInt(row, 1);
                                            record.responseTab = optionalInt(row, 2);
                                            record.viewType = optionalInt(row, 3);
                                            record.responseTextFormat = optionalInt(row, 4);
                                        });
}

HXUIPreferencesManager::DocumentRecord *HXUIPreferencesManager::_documentRecord(const HXDocument *document, bool create)
{
    return _cachedRecord<DocumentRecord>(m_documents, document != nullptr ? document->documentUUID() : QString(),
                                         create, "HXDocumentPreferences", "documentUUID", documentColumns,
                                         [](const HXSQLiteStatement &row, DocumentRecord &record) {
                                             record.mainViewType = optionalInt(row, 1);
                                             record.listViewWidth = optionalReal(row, 2);
                                             record.mainViewRatio = optionalReal(row, 3);
                                             record.listViewArrangeBy = optionalInt(row, 4);
                                             record.listViewOrderBy = optionalInt(row, 5);
                                             record.requestInspectorHeight = optionalReal(row, 6);
                                             record.selectedListViewItems = optionalText(row, 7);
                                             record.expandedListViewItems = optionalText(row, 8);
                                             record.selectedEnvironment = optionalText(row, 9);
                                         });
}

bool HXUIPreferencesManager::hasPendingChanges() const
{
    for (const auto &[uuid, record] : m_requests)
        if (record.dirty)
            return true;
    for (const auto &[uuid, record] : m_documents)
        if (record.dirty)
            return true;
    return false;
}

HXResult<void> HXUIPreferencesManager::writePendingChanges(HXSQLiteDatabase &database)
{
    auto requests = database.prepare(QStringLiteral("INSERT OR REPLACE INTO HXRequestPreferences (%1) "
                                                    "VALUES (?, ?, ?, ?, ?)")
                                         .arg(QLatin1String(requestColumns)));
    if (!requests)
        return requests.error();
    for (const auto &[uuid, record] : m_requests) {
        if (!record.dirty)
            continue;
        requests->bindText(1, uuid);
        requests->bind(2, variantOf(record.requestTab));
        requests->bind(3, variantOf(record.responseTab));
        requests->bind(4, variantOf(record.viewType));
        requests->bind(5, variantOf(record.responseTextFormat));
        if (auto done = requests->run(); !done)
            return done;
        requests->reset();
    }
    auto documents = database.prepare(QStringLiteral("INSERT OR REPLACE INTO HXDocumentPreferences (%1) "
                                                     "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
                                          .arg(QLatin1String(documentColumns)));
    if (!documents)
        return documents.error();
    for (const auto &[uuid, record] : m_documents) {
        if (!record.dirty)
            continue;
        documents->bindText(1, uuid);
        documents->bind(2, variantOf(record.mainViewType));
        documents->bind(3, variantOf(record.listViewWidth));
        documents->bind(4, variantOf(record.mainViewRatio));
        documents->bind(5, variantOf(record.listViewArrangeBy));
        documents->bind(6, variantOf(record.listViewOrderBy));
        documents->bind(7, variantOf(record.requestInspectorHeight));
        documents->bind(8, variantOf(record.selectedListViewItems));
        documents->bind(9, variantOf(record.expandedListViewItems));
        documents->bind(10, variantOf(record.selectedEnvironment));
        if (auto done = documents->run(); !done)
            return done;
        documents->reset();
    }
    return {};
}

void HXUIPreferencesManager::didWritePendingChanges(bool committed)
{
    if (!committed)
        return;
    for (auto &[uuid, record] : m_requests)
        record.dirty = false;
    for (auto &[uuid, record] : m_documents)
        record.dirty = false;
}

// Per request.

void HXUIPreferencesManager::addTabValue(int tabValue, const HXRequest *request, int viewType)
{
    if (viewType != RequestView && viewType != ResponseView)
        return;
    if (RequestRecord *record = _requestRecord(request, true)) {
        (viewType == RequestView ? record->requestTab : record->responseTab) = tabValue;
        record->dirty = true;
    }
}

std::optional<int> HXUIPreferencesManager::tabValueForRequest(const HXRequest *request, int viewType)
{
    const RequestRecord *record = _requestRecord(request, false);
    if (record == nullptr || (viewType != RequestView && viewType != ResponseView))
        return std::nullopt;
    return asInt(viewType == RequestView ? record->requestTab : record->responseTab);
}

void HXUIPreferencesManager::addViewType(int viewType, const HXRequest *request)
{
    _store(_requestRecord(request, true), &RequestRecord::viewType, viewType);
}

std::optional<int> HXUIPreferencesManager::viewTypeForRequest(const HXRequest *request)
{
    return asInt(_read(_requestRecord(request, false), &RequestRecord::viewType));
}

void HXUIPreferencesManager::setResponseTextFormat(int format, const HXRequest *request)
{
    _store(_requestRecord(request, true), &RequestRecord::responseTextFormat, format);
}

std::optional<int> HXUIPreferencesManager::responseTextFormatForRequest(const HXRequest *request)
{
    return asInt(_read(_requestRecord(request, false), &RequestRecord::responseTextFormat));
}

// Per document.

void HXUIPreferencesManager::setOrderBy(int orderBy, const HXDocument *document)
{
    _store(_documentRecord(document, true), &DocumentRecord::listViewOrderBy, orderBy);
}

std::optional<int> HXUIPreferencesManager::orderByForDocument(const HXDocument *document)
{
    return asInt(_read(_documentRecord(document, false), &DocumentRecord::listViewOrderBy));
}

void HXUIPreferencesManager::setArrangeBy(int arrangeBy, const HXDocument *document)
{
    _store(_documentRecord(document, true), &DocumentRecord::listViewArrangeBy, arrangeBy);
}

std::optional<int> HXUIPreferencesManager::arrangeByForDocument(const HXDocument *document)
{
    return asInt(_read(_documentRecord(document, false), &DocumentRecord::listViewArrangeBy));
}

void HXUIPreferencesManager::setExpandedItems(const QSet<QString> &items, const HXDocument *document)
{
    _store(_documentRecord(document, true), &DocumentRecord::expandedListViewItems, joinItems(items));
}

std::optional<QSet<QString>> HXUIPreferencesManager::expandedItemsForDocument(const HXDocument *document)
{
    return splitItems(_read(_documentRecord(document, false), &DocumentRecord::expandedListViewItems));
}

void HXUIPreferencesManager::setSelectedItems(const QSet<QString> &items, const HXDocument *document)
{
    _store(_documentRecord(document, true), &DocumentRecord::selectedListViewItems, joinItems(items));
}

std::optional<QSet<QString>> HXUIPreferencesManager::selectedItemsForDocument(const HXDocument *document)
{
    return splitItems(_read(_documentRecord(document, false), &DocumentRecord::selectedListViewItems));
}

void HXUIPreferencesManager::setMainViewType(int type, const HXDocument *document)
{
    _store(_documentRecord(document, true), &DocumentRecord::mainViewType, type);
}

std::optional<int> HXUIPreferencesManager::mainViewTypeForDocument(const HXDocument *document)
{
    return asInt(_read(_documentRecord(document, false), &DocumentRecord::mainViewType));
}

void HXUIPreferencesManager::setListViewWidth(double width, double mainViewRatio, const HXDocument *document)
{
    if (DocumentRecord *record = _documentRecord(document, true)) {
        record->listViewWidth = width;
        record->mainViewRatio = mainViewRatio;
        record->dirty = true;
    }
}

std::optional<HXUIPreferencesManager::ListViewGeometry>
HXUIPreferencesManager::getListViewWidth(const HXDocument *document)
{
    const DocumentRecord *record = _documentRecord(document, false);
    if (record == nullptr || (!record->listViewWidth && !record->mainViewRatio))
        return std::nullopt;
    return ListViewGeometry{record->listViewWidth.value_or(0), record->mainViewRatio.value_or(0)};
}

void HXUIPreferencesManager::setSelectedEnvironment(const HXEnvironment *environment, const HXDocument *document)
{
    _store(_documentRecord(document, true), &DocumentRecord::selectedEnvironment,
           environment != nullptr ? environment->objectURI() : QString());
}

HXEnvironment *HXUIPreferencesManager::selectedEnvironmentForDocument(const HXDocument *document)
{
    const DocumentRecord *record = _documentRecord(document, false);
    if (record == nullptr || !record->selectedEnvironment || record->selectedEnvironment->isEmpty())
        return nullptr;
    const QUrl uri(*record->selectedEnvironment);
    if (!uri.isValid() || uri.scheme() != u"x-coredata")
        return nullptr;
    HXManagedObject *object = document->managedObjectContext()->objectWithURI(*record->selectedEnvironment);
    if (object == nullptr || !object->isLive() || object->entityName() != HXEnvironment::staticEntityName())
        return nullptr;
    return static_cast<HXEnvironment *>(object);
}

void HXUIPreferencesManager::setRequestInspectorHeight(double height, const HXDocument *document)
{
    _store(_documentRecord(document, true), &DocumentRecord::requestInspectorHeight, height);
}

std::optional<double> HXUIPreferencesManager::requestInspectorHeightForDocument(const HXDocument *document)
{
    return _read(_documentRecord(document, false), &DocumentRecord::requestInspectorHeight);
}
