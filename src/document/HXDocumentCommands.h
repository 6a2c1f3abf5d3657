#pragma once

#include "HXDynamicString.h"
#include "HXDynamicValue.h"
#include "HXRequestGroup.h"
#include "HXResponse.h"
#include "HXResult.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <functional>
#include <limits>
#include <memory>
#include <optional>

class HXDocument;
class HXEnvironment;
class HXEnvironmentVariable;
class HXKeyValue;
class HXManagedObject;
class HXPasteboard;
class HXRequest;

// The user's commands on one document's request tree, its environments and
// its stored responses, and the rules that enable them. The window's menus,
// kea-cli and the tests call the same commands.
//
// Targets: every command takes `selection`, the tree items it acts on in
// selection order (the selected rows of the request list, or the items a
// menu item carries). New and pasted items are placed relative to the last
// of them. After a command the front end selects what the command reports
// through selectItems().
//
// Each mutating command is one named undo step and processes the context's
// pending changes before it returns. Destructive commands ask through the
// shared HXPresenter first and act in its completion. Main thread only.
class HXDocumentCommands : public QObject
{
    Q_OBJECT
public:
    using Selection = QList<HXRequestTreeItem *>;

    explicit HXDocumentCommands(HXDocument *document);
    ~HXDocumentCommands() override;
    // The commands of a document, made on first use and owned by it.
    static HXDocumentCommands *commandsForDocument(HXDocument *document);

    HXDocument *document() const { return m_document; }
    // The pasteboard of copy, cut and paste; the general pasteboard unless set.
    HXPasteboard *pasteboard() const;
    void setPasteboard(HXPasteboard *pasteboard) { m_pasteboard = pasteboard; }

    // ---- targets ---------------------------------------------------------
    // The requests among the items, in order (folders dropped).
    static QList<HXRequest *> requestsFromSelection(const Selection &selection);
    // Walks the items: requests (each once) and folders, the contents of a
    // folder before the folder itself, so inner folders come first.
    static void findRequests(QList<HXRequest *> &requests, QList<HXRequestGroup *> &folders, const Selection &items);
    // Where a new item goes from the first selected item: a request gives
    // its parent and that parent's order (0 at top level); a folder gives
    // itself and its order; nothing selected gives no parent and notFound.
    static constexpr qint64 notFound = std::numeric_limits<qint64>::max();
    static HXRequestGroup *parentForSelection(const Selection &selection, qint64 *order = nullptr);

    // ---- tree ------------------------------------------------------------
    // A new request (undo step "Add Request") placed after the last selected
    // item, filled by `block` when given, and selected.
    HXRequest *addRequestWithBlock(const Selection &selection,
                                   const std::function<void(HXRequest *request)> &block = {});
    HXRequest *addRequest(const Selection &selection) { return addRequestWithBlock(selection); }
    // "Add Request Folder": a folder named "Group" or "Group (n)".
    HXRequestGroup *addRequestFolder(const Selection &selection);
    // "Group Requests": a new folder holding the items, named after the
    // first three ("a, b, c...").
    HXRequestGroup *groupRequestTreeItems(const Selection &selection);
    // "Duplicate": a copy of each selected request right after it, named
    // "Name Duplicate", "Name Duplicate (2)", ... with a fresh uuid.
    QList<HXRequest *> duplicate(const Selection &selection);
    // The name a duplicate of `name` gets.
    static QString duplicateName(const QString &name);
    // Writes the items (reference and archive) to the pasteboard, replacing
    // its content; nothing when there are none.
    void copy(const Selection &selection);
    // copy(), then deletes the items without asking.
    void cut(const Selection &selection);
    // Whether the pasteboard holds a request or a folder.
    bool canPaste() const;
    // New requests and folders from the pasteboard, placed after the last
    // selected item; requests get fresh uuids.
    QList<HXRequestTreeItem *> paste(const Selection &selection);
    // "Move": puts the items, in order, into `parent` (null: top level) at
    // `index` among its other items (clamped; -1: at the end), renumbering
    // the siblings 0, 1, 2... A folder is never moved into itself or its own
    // folders. Returns false, changing nothing, for such a move.
    bool moveRequestTreeItems(const Selection &items, HXRequestGroup *parent, qsizetype index);
    // Asks, then deletes the items with everything inside folders.
    void deleteRequest(const Selection &selection);
    // The texts of that question (also for front ends that show them).
    struct DeleteQuestion
    {
        QString title;
        QString informativeText;
        QString undoActionName;
    };
    static DeleteQuestion deleteQuestion(const QList<HXRequest *> &requests, const QList<HXRequestGroup *> &folders);
    // Deletes every tree item (by uuid); with `purgeUndoManager` the undo
    // manager is emptied afterwards.
    void deleteAllRequestTreeItemsPurgeUndoManager(bool purgeUndoManager);

    // ---- editing ---------------------------------------------------------
    // "Rename": nothing when the name is unchanged.
    void renameRequestTreeItem(HXRequestTreeItem *item, const QString &name);
    // One stored property of a request, folder or row, as one step named
    // `undoName`; nothing when the value is unchanged.
    void setValueForKey(HXManagedObject *object, const QString &key, const QVariant &value, const QString &undoName);
    // Rows of `owner`'s key/value table held through `relationship`
    // ("Add Row", "Delete Row" / "Delete Rows", "Move Row").
    HXKeyValue *addKeyValue(HXManagedObject *owner, const QString &relationship, const QString &name,
                            const QString &value);
    void deleteKeyValues(const QList<HXKeyValue *> &rows);
    void moveKeyValue(HXKeyValue *row, int toIndex);
    // "Custom Method": sets the method of the one selected request. Refuses
    // (false, nothing changed) a method that is not an HTTP token.
    bool setCustomRequestMethod(const Selection &selection, const QString &method);
    // Whether `method` may stand in a request line: one or more of the
    // token characters of HTTP (no space, CR, LF or separators).
    static bool isValidRequestMethod(const QString &method);
    // Undo and redo the named steps of the document's undo manager.
    void undo();
    void redo();

    // ---- sending ---------------------------------------------------------
    // Sends the selected requests; asks first when a request is running.
    void sendRequest(const Selection &selection);
    // Asks, then sends every request of the document in uuid order.
    void sendAllRequests();
    void stopRequests();
    // Every request of the document sorted by uuid.
    QList<HXRequest *> allRequestsByUUID() const;

    // Redirect toggles over the selected requests. state: 1 all on, 0 all
    // off (or none), -1 mixed. A toggle turns all off when all are on, else
    // all on.
    static int stateForRequests(const QList<HXRequest *> &requests, const QString &property);
    void toogleFollowRedirects(const Selection &selection);
    void toogleRedirectMethod(const Selection &selection);
    void toogleRedirectAuthorization(const Selection &selection);

    // Authorization inserts into the "Authorization" header of the last
    // selected request; each returns the inserted value (for its editor).
    HXDynamicValuePtr addHTTPBasicAuthorization(const Selection &selection);
    HXDynamicValuePtr addOAuthAuthorization(const Selection &selection);
    HXDynamicValuePtr addAmazonS3Authorization(const Selection &selection);

    // ---- environments ----------------------------------------------------
    void selectEnvironment(HXEnvironment *environment);
    void selectNextEnvironment();
    void selectPreviousEnvironment();
    HXEnvironment *addEnvironment();
    void deleteEnvironment();
    // "Delete Environment Variable" / "Delete Environment Variables": the
    // variables with their values in every environment, as one step.
    void deleteEnvironmentVariables(const QList<HXEnvironmentVariable *> &variables);
    // Tags of the environment chooser: 33 manage, 32 add, 35 choose (the
    // environment given), 34 delete.
    void environmentToolbarItemChanged(int tag, HXEnvironment *environment = nullptr);

    // ---- responses -------------------------------------------------------
    // Tag 31: the next newer response than `shown` (the oldest without
    // one); tag 32: the next older (the newest without one). Null when
    // there is none.
    static std::shared_ptr<HXResponse> responseInOrder(int tag, HXRequest *request,
                                                       const std::shared_ptr<HXResponse> &shown);
    void deleteResponse(HXRequest *request, const std::shared_ptr<HXResponse> &response);
    void deleteAllResponsesOfCurrentRequest(const Selection &selection);
    void deleteAllResponses();
    // Tags 20 headers, 21 body, 22 full response: asks for a file through
    // the presenter's save panel and writes the last response there.
    void exportResponse(int tag, const Selection &selection);
    static QByteArray exportedResponseData(int tag, const HXResponse &response);

    // ---- URL scheme --------------------------------------------------------
    // "/requests/new" (query: url, method, headers, name, body, bodyType,
    // send) and "/requests/current/send"; other paths are ignored. Returns
    // whether the path was known.
    bool handleURL(const QUrl &url, bool isNewDocument, const Selection &selection = {});
    // The stored body of a form ("a=1&b=2" fields, url-encoded) or
    // multipart body holding the fields of `text`.
    static QString formBodyWithText(const HXDynamicString &text, bool multipart);

    // ---- enabling ----------------------------------------------------------
    enum class Action {
        AddRequest,
        AddRequestFolder,
        GroupRequestTreeItems,
        Duplicate,
        Copy,
        Cut,
        Paste,
        DeleteRequest,
        SendRequest,
        SendAllRequests,
        StopRequests,
        SetCustomRequestMethod,
        ToogleFollowRedirects,
        ToogleRedirectMethod,
        ToogleRedirectAuthorization,
        SelectNextRequest,
        SelectPreviousRequest,
        ShowRequestView,
        ShowResponseView,
        ShowSplitView,
        ArrangeRequestsByNone,
        ArrangeRequestsByHTTPMethod,
        ArrangeRequestsByHost,
        ArrangeRequestsByLastResponseStatusCode,
        OrderRequestsByCustomOrder,
        OrderRequestsByName,
        OrderRequestsByURL,
        ShowWarningsPopover,
        ShowRequestCode,
        ExportResponse,
        SelectEnvironment,
        SelectNextEnvironment,
        SelectPreviousEnvironment,
        AddEnvironment,
        DeleteEnvironment,
        ShowEnvironmentsSheet,
        SelectResponseInOrder,
        DeleteResponse,
        DeleteAllResponsesOfCurrentRequest,
        DeleteAllResponses,
        AddHTTPBasicAuthorization,
        AddOAuthAuthorization,
        AddAmazonS3Authorization,
        Undo,
        Redo,
    };
    // What the window knows and the core needs to decide.
    struct InterfaceState
    {
        Selection selection;
        int arrangeBy = 0;    // 0 none, 1 method, 2 host, 3 last status code
        int orderBy = 0;      // 0 custom, 1 name, 2 URL
        int mainViewType = 0; // 0 request, 1 split, 2 response
        bool warningsShown = false;
        bool codeInspectorShown = false;
        bool canSelectNextRequest = false;
        bool canSelectPreviousRequest = false;
        std::shared_ptr<HXResponse> shownResponse;
        int tag = 0; // the item's tag (responses in order, export)
    };
    enum class State { Off = 0, On = 1, Mixed = -1 };
    struct Validation
    {
        bool enabled = false;
        QString title;              // empty: keep the item's own title
        std::optional<State> state; // for checkable items
    };
    Validation validateUserInterfaceItem(Action action, const InterfaceState &state) const;

Q_SIGNALS:
    // The request list should select these items (and expand `expand`).
    void selectItems(const QList<HXRequestTreeItem *> &items, HXRequestGroup *expand);
    // The response view should show this response (null: clear it).
    void showResponse(const std::shared_ptr<HXResponse> &response);
    // The environments sheet should open.
    void showEnvironmentsSheet();

private:
    void _pasteItems(HXRequestTreeItem *selected, QList<HXRequestTreeItem *> &pasted);
    void _sendRequests(const QList<HXRequest *> &requests);
    void _toggle(const Selection &selection, const QString &property, const QString &undoName);
    HXRequest *_lastSelectedRequest(const Selection &selection) const;
    void _deleteConfirmed(const QList<HXRequest *> &requests, const QList<HXRequestGroup *> &folders,
                          const QString &undoName);

    QPointer<HXDocument> m_document;
    HXPasteboard *m_pasteboard = nullptr;
};
