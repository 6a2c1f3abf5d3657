#pragma once

#include "HXDocument.h"
#include "HXRequestTreeItem.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariant>

#include <functional>

class HXEnvironment;
class HXKeyValue;
class HXManagedObject;
class HXRequest;
class HXRequestGroup;
class HXUndoManager;

// The changes the window makes to a document, each one named undo step that
// ends by processing the store's pending changes so every view refreshes.
// Views and models call only this class, never the store directly.
class HXDocumentActions : public QObject
{
    Q_OBJECT
public:
    explicit HXDocumentActions(HXDocument *document, QObject *parent = nullptr);

    HXDocument *document() const { return m_document; }
    HXUndoManager *undoManager() const;

    // Tree commands. New items are placed after `selected` (into it when it
    // is a folder) and announced through selectionRequested.
    HXRequest *addRequest(HXRequestTreeItem *selected);
    HXRequestGroup *addRequestFolder(HXRequestTreeItem *selected);
    void renameItem(HXRequestTreeItem *item, const QString &name);
    // Moves the items, in order, into `parent` (none: top level) after
    // `afterSibling` (none: first in a folder, last at the top level). An
    // item is never moved into itself or one of its own folders.
    bool moveItems(const QList<HXRequestTreeItem *> &items, HXRequestGroup *parent, HXRequestTreeItem *afterSibling);
    // Asks first, then deletes the items and everything inside the folders.
    void deleteItems(const QList<HXRequestTreeItem *> &items);

    // One stored field of a request, folder or row.
    void setValue(HXManagedObject *object, const QString &key, const QVariant &value, const QString &undoName);
    // Key/value rows of `owner` held through `relationship`.
    HXKeyValue *addKeyValue(HXManagedObject *owner, const QString &relationship, const QString &name,
                            const QString &value);
    void deleteKeyValues(const QList<HXKeyValue *> &rows);
    void moveKeyValue(HXKeyValue *row, int toIndex);

    // Puts a new value of the named kind into the request's Authorization
    // header, as one step named `undoName`.
    void setAuthorization(HXRequest *request, const QString &className, const QString &undoName);

    // Sending. While a request runs, sending asks whether to stop it first;
    // sending all always asks.
    void sendRequests(const QList<HXRequest *> &requests);
    void sendAllRequests();
    HXEnvironment *addEnvironment();
    void stopRequests();
    bool isBusy() const;

    void undo();
    void redo();

    static bool isAncestor(const HXRequestTreeItem *folder, const HXRequestTreeItem *item);

Q_SIGNALS:
    // The items a command made or moved; the list selects them.
    void selectionRequested(const QList<HXRequestTreeItem *> &items);

private:
    void _perform(const QString &undoName, const std::function<void()> &change);

    QPointer<HXDocument> m_document;
};
