#pragma once

#include "HXPersistentStoreManager.h"

#include <QSet>
#include <QString>

#include <map>
#include <optional>
#include <type_traits>

class HXDocument;
class HXEnvironment;
class HXRequest;
class HXSQLiteStatement;

// Interface state of each request and each document, kept outside the
// documents in "UserInterfacePreferences.sqlite": per request (by its uuid)
// the selected tab of each view, the view type and the response text
// format; per document (by its documentUUID) the request list's order,
// grouping, expanded and selected items, the main view, the list width and
// split ratio, the inspector height and the selected environment.
//
// Setters create the record when needed; getters never do and give nothing
// for an unknown request or document (callers then use their defaults).
// Changes are written by saveUpdates(). A document without an identifier
// has no interface state. Main thread only.
class HXUIPreferencesManager : public HXPersistentStoreManager
{
    Q_OBJECT
public:
    ~HXUIPreferencesManager() override;

    static HXUIPreferencesManager *sharedManager();
    // Drops the instance; unsaved changes are lost. The next use reopens.
    static void resetSharedManager();
    // Drops the instance and moves the file to the trash (or deletes it).
    static void resetMoveToTrash(bool moveToTrash);

    static QString preferencesDatabaseName() { return QStringLiteral("UserInterfacePreferences.sqlite"); }
    QString databaseName() const override { return preferencesDatabaseName(); }

    // The views whose selected tab is remembered per request.
    enum ViewType { RequestView = 0, ResponseView = 1 };

    void addTabValue(int tabValue, const HXRequest *request, int viewType);
    std::optional<int> tabValueForRequest(const HXRequest *request, int viewType);
    void addViewType(int viewType, const HXRequest *request);
    std::optional<int> viewTypeForRequest(const HXRequest *request);
    void setResponseTextFormat(int format, const HXRequest *request);
    std::optional<int> responseTextFormatForRequest(const HXRequest *request);

    void setOrderBy(int orderBy, const HXDocument *document);
    std::optional<int> orderByForDocument(const HXDocument *document);
    void setArrangeBy(int arrangeBy, const HXDocument *document);
    std::optional<int> arrangeByForDocument(const HXDocument *document);
    // Kept as one text joined by ","; read back as a set without "".
    void setExpandedItems(const QSet<QString> &items, const HXDocument *document);
    std::optional<QSet<QString>> expandedItemsForDocument(const HXDocument *document);
    void setSelectedItems(const QSet<QString> &items, const HXDocument *document);
    std::optional<QSet<QString>> selectedItemsForDocument(const HXDocument *document);
    void setMainViewType(int type, const HXDocument *document);
    std::optional<int> mainViewTypeForDocument(const HXDocument *document);
    struct ListViewGeometry
    {
        double listViewWidth = 0;
        double mainViewRatio = 0;
    };
    void setListViewWidth(double width, double mainViewRatio, const HXDocument *document);
    std::optional<ListViewGeometry> getListViewWidth(const HXDocument *document);
    // Kept as the environment's object URI; read back only when it is an
    // "x-coredata" URI of a live environment of the document.
    void setSelectedEnvironment(const HXEnvironment *environment, const HXDocument *document);
    HXEnvironment *selectedEnvironmentForDocument(const HXDocument *document);
    void setRequestInspectorHeight(double height, const HXDocument *document);
    std::optional<double> requestInspectorHeightForDocument(const HXDocument *document);

protected:
    HXResult<void> prepareSchema(HXSQLiteDatabase &database) override;
    bool hasPendingChanges() const override;
    HXResult<void> writePendingChanges(HXSQLiteDatabase &database) override;
    void didWritePendingChanges(bool committed) override;

private:
    HXUIPreferencesManager();

    struct RequestRecord
    {
        std::optional<qint64> requestTab, responseTab, viewType, responseTextFormat;
        bool dirty = false;
    };
    struct DocumentRecord
    {
        std::optional<qint64> mainViewType, listViewArrangeBy, listViewOrderBy;
        std::optional<double> listViewWidth, mainViewRatio, requestInspectorHeight;
        std::optional<QString> selectedListViewItems, expandedListViewItems, selectedEnvironment;
        bool dirty = false;
    };

    // Sets one field of a record (none: nothing to set) and marks it for saving.
    template <typename Record, typename Value>
    static void _store(Record *record, std::optional<Value> Record::*field, std::type_identity_t<Value> value)
    {
        if (record != nullptr) {
            record->*field = std::move(value);
            record->dirty = true;
        }
    }
    // One field of a record, nothing without a record.
    template <typename Record, typename Value>
    static std::optional<Value> _read(const Record *record, std::optional<Value> Record::*field)
    {
        return record != nullptr ? record->*field : std::nullopt;
    }

    // The record of `uuid` from memory, else from the store's `table` (keyed
    // by `key`), else a new one when `create` is set.
    template <typename Record>
    Record *_cachedRecord(std::map<QString, Record> &records, const QString &uuid, bool create, const char *table,
                          const char *key, const char *columns, void (*readRow)(const HXSQLiteStatement &, Record &));
    RequestRecord *_requestRecord(const HXRequest *request, bool create);
    DocumentRecord *_documentRecord(const HXDocument *document, bool create);
    static void logFetchFailure(const HXError &error);

    std::map<QString, RequestRecord> m_requests;
    std::map<QString, DocumentRecord> m_documents;
};
