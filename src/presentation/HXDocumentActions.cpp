#include "HXDocumentActions.h"

#include "HXDocument.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironment.h"
#include "HXFetchRequest.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXPresenter.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXRequestHandler.h"
#include "HXUndoManager.h"

#include <QCoreApplication>

#include <algorithm>

HXDocumentActions::HXDocumentActions(HXDocument *document, QObject *parent) : QObject(parent), m_document(document) {}

HXUndoManager *HXDocumentActions::undoManager() const
{
    return m_document ? m_document->managedObjectContext()->undoManager() : nullptr;
}

void HXDocumentActions::_perform(const QString &undoName, const std::function<void()> &change)
{
    if (!m_document)
        return;
    HXManagedObjectContext *context = m_document->managedObjectContext();
    HXUndoManager *undo = context->undoManager();
    if (undo != nullptr)
        undo->beginUndoGrouping();
    change();
    if (undo != nullptr) {
        if (!undoName.isEmpty())
            undo->setActionName(undoName);
        undo->endUndoGrouping();
    }
    context->processPendingChanges();
}

HXRequest *HXDocumentActions::addRequest(HXRequestTreeItem *selected)
{
    HXRequest *request = nullptr;
    _perform(tr("Add Request"), [&] {
        HXManagedObjectContext *context = m_document->managedObjectContext();
        request = context->insertNewObject<HXRequest>(HXRequest::staticEntityName());
        request->setName(tr("New Request"));
        request->setOrderAndParentWithSelectedItem(selected);
    });
    if (request != nullptr)
        Q_EMIT selectionRequested({request});
    return request;
}

HXRequestGroup *HXDocumentActions::addRequestFolder(HXRequestTreeItem *selected)
{
    HXRequestGroup *group = nullptr;
    _perform(tr("Add Request Folder"), [&] {
        HXManagedObjectContext *context = m_document->managedObjectContext();
        group = context->insertNewObject<HXRequestGroup>(HXRequestGroup::staticEntityName());
        group->setOrderAndParentWithSelectedItem(selected);
        group->setName(group->order() <= 0 ? tr("Group") : tr("Group (%1)").arg(group->order() + 1));
    });
    if (group != nullptr)
        Q_EMIT selectionRequested({group});
    return group;
}

void HXDocumentActions::renameItem(HXRequestTreeItem *item, const QString &name)
{
    if (item == nullptr || item->name() == name)
        return;
    _perform(tr("Rename"), [&] { item->setName(name); });
}

bool HXDocumentActions::isAncestor(const HXRequestTreeItem *folder, const HXRequestTreeItem *item)
{
    for (const HXRequestTreeItem *parent = item; parent != nullptr; parent = parent->parent()) {
        if (parent == folder)
            return true;
    }
    return false;
}

bool HXDocumentActions::moveItems(const QList<HXRequestTreeItem *> &items, HXRequestGroup *parent,
                                  HXRequestTreeItem *afterSibling)
{
    for (HXRequestTreeItem *item : items) {
        if (item == nullptr || isAncestor(item, parent))
            return false;
    }
    if (items.isEmpty() || (items.size() == 1 && items.first() == afterSibling))
        return false;
    _perform(items.size() == 1 ? tr("Move Request") : tr("Move Requests"), [&] {
        HXRequestTreeItem *after = afterSibling;
        // A sibling that is itself moved cannot anchor the others.
        while (after != nullptr && items.contains(after)) {
            const QList<HXRequestTreeItem *> siblings =
                HXDocument::sortedItems(after->parent() ? after->parent()->children() : m_document->topLevelItems());
            const qsizetype index = siblings.indexOf(after);
            after = index > 0 ? siblings.at(index - 1) : nullptr;
        }
        for (HXRequestTreeItem *item : items) {
            item->setOrderAndParent(parent, after);
            after = item;
        }
        if (parent == nullptr && afterSibling == nullptr) {
            // Without a sibling the store puts top-level items last; a drop
            // at the top of the list puts them first.
            QList<HXRequestTreeItem *> order = items;
            for (HXRequestTreeItem *item : m_document->topLevelItems()) {
                if (!items.contains(item))
                    order.append(item);
            }
            for (qsizetype i = 0; i < order.size(); ++i)
                order.at(i)->setOrder(i);
        }
    });
    Q_EMIT selectionRequested(items);
    return true;
}

void HXDocumentActions::deleteItems(const QList<HXRequestTreeItem *> &items)
{
    QList<HXRequestTreeItem *> targets;
    for (HXRequestTreeItem *item : items) {
        // Items inside a folder that is deleted go with it.
        const bool covered = std::any_of(items.begin(), items.end(), [item](HXRequestTreeItem *other) {
            return other != item && HXDocumentActions::isAncestor(other, item);
        });
        if (item != nullptr && !covered)
            targets.append(item);
    }
    if (targets.isEmpty())
        return;
    const QString title = targets.size() == 1 ? tr("Delete \"%1\"?").arg(targets.first()->name())
                                              : tr("Delete %1 items?").arg(targets.size());
    QPointer<HXDocumentActions> self(this);
    HXPresenter::sharedPresenter()->presentAlert(
        {title, tr("You can undo this."), {tr("Delete"), tr("Cancel")}}, [self, targets](int button) {
            if (button != 0 || !self || !self->m_document)
                return;
            self->_perform(targets.size() == 1 ? tr("Delete Request") : tr("Delete Requests"), [&] {
                HXManagedObjectContext *context = self->m_document->managedObjectContext();
                // Everything inside a folder goes with it, innermost first.
                std::function<void(HXRequestTreeItem *)> remove = [&](HXRequestTreeItem *item) {
                    for (HXRequestTreeItem *child : item->children())
                        remove(child);
                    if (auto *request = dynamic_cast<HXRequest *>(item))
                        self->m_document->requestHandler()->stopRequest(request);
                    if (item->isLive())
                        context->deleteObject(item);
                };
                for (HXRequestTreeItem *item : targets)
                    remove(item);
            });
            Q_EMIT self->selectionRequested({});
        });
}

void HXDocumentActions::setValue(HXManagedObject *object, const QString &key, const QVariant &value,
                                 const QString &undoName)
{
    if (object == nullptr || object->valueForKey(key) == value)
        return;
    _perform(undoName, [&] { object->setValueForKey(value, key); });
}

HXKeyValue *HXDocumentActions::addKeyValue(HXManagedObject *owner, const QString &relationship, const QString &name,
                                           const QString &value)
{
    HXKeyValue *row = nullptr;
    _perform(tr("Add Row"), [&] { row = HXKeyValue::addKeyValueName(name, value, relationship, owner); });
    return row;
}

void HXDocumentActions::deleteKeyValues(const QList<HXKeyValue *> &rows)
{
    if (rows.isEmpty())
        return;
    _perform(rows.size() == 1 ? tr("Delete Row") : tr("Delete Rows"), [&] {
        for (HXKeyValue *row : rows) {
            if (row->isLive())
                m_document->managedObjectContext()->deleteObject(row);
        }
    });
}

void HXDocumentActions::moveKeyValue(HXKeyValue *row, int toIndex)
{
    if (row == nullptr)
        return;
    QString relationship;
    HXManagedObject *owner = nullptr;
    for (const QString &name : {QStringLiteral("request"), QStringLiteral("groupForHeaders"),
                                QStringLiteral("groupForUrlParameters"), QStringLiteral("groupForBodyParameters")}) {
        if ((owner = row->objectForKey(name)) != nullptr) {
            relationship = name;
            break;
        }
    }
    if (owner == nullptr)
        return;
    QList<HXKeyValue *> rows = HXKeyValue::keyValuesForRelationship(relationship, owner);
    const qsizetype from = rows.indexOf(row);
    toIndex = std::clamp(toIndex, 0, int(rows.size()) - 1);
    if (from < 0 || from == toIndex)
        return;
    _perform(tr("Move Row"), [&] {
        rows.move(from, toIndex);
        for (qsizetype i = 0; i < rows.size(); ++i)
            rows.at(i)->setOrder(quint64(i));
    });
}

void HXDocumentActions::setAuthorization(HXRequest *request, const QString &className, const QString &undoName)
{
    HXDynamicValuePtr value = HXDynamicValueCatalogue::createValue(className);
    if (request == nullptr || value == nullptr)
        return;
    _perform(undoName, [&] {
        request->setHeaderName(QStringLiteral("Authorization"),
                               HXDynamicValueEngine::archiveAttributedString(HXDynamicString::withDynamicValue(value)));
    });
}

void HXDocumentActions::sendRequests(const QList<HXRequest *> &requests)
{
    if (!m_document || requests.isEmpty())
        return;
    HXRequestHandler *handler = m_document->requestHandler();
    if (!handler->isBusy()) {
        handler->sendRequests(requests);
        return;
    }
    QPointer<HXDocument> document = m_document;
    HXPresenter::sharedPresenter()->presentAlert(
        {tr("Stop request?"), tr("A request is currently running."), {tr("Stop & send"), tr("Cancel"), tr("Stop")}},
        [document, requests](int button) {
            if (!document || button == 1)
                return;
            document->requestHandler()->stopAllRequests();
            if (button == 0)
                document->requestHandler()->sendRequests(requests);
        });
}

void HXDocumentActions::sendAllRequests()
{
    if (!m_document)
        return;
    HXFetchRequest fetch(HXRequest::staticEntityName());
    fetch.sortBy(QStringLiteral("uuid"));
    QList<HXRequest *> requests;
    if (auto found = m_document->managedObjectContext()->executeFetchRequest(fetch); found.ok()) {
        for (HXManagedObject *object : *found)
            requests.append(static_cast<HXRequest *>(object));
    }
    if (requests.isEmpty())
        return;
    QPointer<HXDocument> document = m_document;
    const bool busy = m_document->requestHandler()->isBusy();
    const qsizetype count = requests.size();
    const HXPresenter::Alert alert =
        busy
            ? HXPresenter::Alert{tr("Stop request? And send all?"),
                                 tr("A request is currently running, stop it and send %1 request(s)?").arg(count),
                                 {tr("Stop & send all"), tr("Cancel"), tr("Stop")}}
            : HXPresenter::Alert{tr("Send all?"), tr("Send %1 request(s)?").arg(count), {tr("Send all"), tr("Cancel")}};
    HXPresenter::sharedPresenter()->presentAlert(alert, [document, requests, busy](int button) {
        if (!document || button == 1)
            return;
        if (busy)
            document->requestHandler()->stopAllRequests();
        if (button == 0)
            document->requestHandler()->sendRequests(requests);
    });
}

HXEnvironment *HXDocumentActions::addEnvironment()
{
    if (!m_document)
        return nullptr;
    HXManagedObjectContext *context = m_document->managedObjectContext();
    HXEnvironment *environment = HXEnvironment::addEnvironment(QString(), context);
    context->processPendingChanges();
    m_document->selectEnvironment(environment);
    return environment;
}

void HXDocumentActions::stopRequests()
{
    if (m_document)
        m_document->requestHandler()->stopAllRequests();
}

bool HXDocumentActions::isBusy() const
{
    return m_document && m_document->requestHandler()->isBusy();
}

void HXDocumentActions::undo()
{
    if (HXUndoManager *undo = undoManager(); undo != nullptr && undo->canUndo()) {
        undo->undo();
        m_document->managedObjectContext()->processPendingChanges();
    }
}

void HXDocumentActions::redo()
{
    if (HXUndoManager *undo = undoManager(); undo != nullptr && undo->canRedo()) {
        undo->redo();
        m_document->managedObjectContext()->processPendingChanges();
    }
}
