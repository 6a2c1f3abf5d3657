#include "HXDocumentCommands.h"

#include "HXDocument.h"
#include "HXManagedObjectContext.h"
#include "HXPasteboard.h"
#include "HXPasteboardManagement.h"
#include "HXPresenter.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXRequestHandler.h"
#include "HXUndoGroup.h"
#include "HXUndoManager.h"

#include <QCoreApplication>
#include <QRegularExpression>

HXDocumentCommands::HXDocumentCommands(HXDocument *document) : QObject(document), m_document(document) {}

HXDocumentCommands::~HXDocumentCommands() = default;

HXDocumentCommands *HXDocumentCommands::commandsForDocument(HXDocument *document)
{
    if (document == nullptr)
        return nullptr;
    if (auto *existing = document->findChild<HXDocumentCommands *>(QString(), Qt::FindDirectChildrenOnly))
        return existing;
    return new HXDocumentCommands(document);
}

HXPasteboard *HXDocumentCommands::pasteboard() const
{
    return m_pasteboard != nullptr ? m_pasteboard : HXPasteboard::generalPasteboard();
}

QList<HXRequest *> HXDocumentCommands::requestsFromSelection(const Selection &selection)
{
    QList<HXRequest *> requests;
    for (HXRequestTreeItem *item : selection) {
        if (auto *request = dynamic_cast<HXRequest *>(item))
            requests.append(request);
    }
    return requests;
}

void HXDocumentCommands::findRequests(QList<HXRequest *> &requests, QList<HXRequestGroup *> &folders,
                                      const Selection &items)
{
    for (HXRequestTreeItem *item : items) {
        if (auto *request = dynamic_cast<HXRequest *>(item)) {
            if (!requests.contains(request))
                requests.append(request);
        } else if (auto *folder = dynamic_cast<HXRequestGroup *>(item)) {
            findRequests(requests, folders, HXDocument::sortedItems(folder->children()));
            if (!folders.contains(folder))
                folders.append(folder);
        }
    }
}

HXRequestGroup *HXDocumentCommands::parentForSelection(const Selection &selection, qint64 *order)
{
    HXRequestGroup *parent = nullptr;
    qint64 found = notFound;
    HXRequestTreeItem *first = selection.isEmpty() ? nullptr : selection.first();
    if (auto *folder = dynamic_cast<HXRequestGroup *>(first)) {
        parent = folder;
        found = folder->order();
    } else if (auto *request = dynamic_cast<HXRequest *>(first)) {
        parent = request->parent();
        found = parent != nullptr ? parent->order() : 0;
    }
    if (order != nullptr)
        *order = found;
    return parent;
}

HXRequest *HXDocumentCommands::addRequestWithBlock(const Selection &selection,
                                                   const std::function<void(HXRequest *)> &block)
{
    HXManagedObjectContext *context = m_document->managedObjectContext();
    HXRequest *request = nullptr;
    {
        HXUndoGroup group(context, tr("Add Request"));
        request = context->insertNewObject<HXRequest>(HXRequest::staticEntityName());
        request->setOrderAndParentWithSelectedItem(selection.isEmpty() ? nullptr : selection.last());
        if (block)
            block(request);
    }
    Q_EMIT selectItems({request}, nullptr);
    return request;
}

HXRequestGroup *HXDocumentCommands::addRequestFolder(const Selection &selection)
{
    HXManagedObjectContext *context = m_document->managedObjectContext();
    HXRequestGroup *folder = nullptr;
    {
        HXUndoGroup group(context, tr("Add Request Folder"));
        folder = context->insertNewObject<HXRequestGroup>(HXRequestGroup::staticEntityName());
        folder->setOrderAndParentWithSelectedItem(selection.isEmpty() ? nullptr : selection.last());
        folder->setName(folder->order() <= 0 ? tr("Group") : tr("Group (%1)").arg(folder->order() + 1));
    }
    Q_EMIT selectItems({folder}, nullptr);
    return folder;
}

HXRequestGroup *HXDocumentCommands::groupRequestTreeItems(const Selection &selection)
{
    HXManagedObjectContext *context = m_document->managedObjectContext();
    HXRequestGroup *folder = nullptr;
    {
        HXUndoGroup group(context, tr("Group Requests"));
        folder = context->insertNewObject<HXRequestGroup>(HXRequestGroup::staticEntityName());
        folder->setOrderAndParentWithSelectedItem(selection.isEmpty() ? nullptr : selection.last());
        QStringList names;
        bool more = false;
        qint64 index = 0;
        for (HXRequestTreeItem *item : selection) {
            if (item == nullptr || item == folder)
                continue;
            item->setParent(folder);
            item->setOrder(index);
            if (index < 3)
                names.append(item->name());
            else
                more = true;
            ++index;
        }
        folder->setName(names.join(QStringLiteral(", ")) + (more ? QStringLiteral("...") : QString()));
    }
    Q_EMIT selectItems({folder}, folder);
    return folder;
}

QString HXDocumentCommands::duplicateName(const QString &name)
{
    static const QRegularExpression pattern(QStringLiteral("^(.*) Duplicate(?: \\((\\d+)\\))?$"),
                                            QRegularExpression::CaseInsensitiveOption |
                                                QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = pattern.match(name);
    if (!match.hasMatch())
        return tr("%1 Duplicate").arg(name);
    if (match.capturedLength(2) > 0)
        return tr("%1 Duplicate (%2)").arg(match.captured(1)).arg(match.captured(2).toLongLong() + 1);
    return tr("%1 Duplicate (2)").arg(match.captured(1));
}

QList<HXRequest *> HXDocumentCommands::duplicate(const Selection &selection)
{
    const QList<HXRequest *> requests = requestsFromSelection(selection);
    if (requests.isEmpty())
        return {};
    HXManagedObjectContext *context = m_document->managedObjectContext();
    QList<HXRequest *> copies;
    {
        HXUndoGroup group(context, tr("Duplicate"));
        for (HXRequest *request : requests) {
            auto copied = HXPasteboardManagement::copyIncludingRelationshipsUsingContext(request, context);
            if (!copied || *copied == nullptr)
                continue;
            auto *copy = static_cast<HXRequest *>(*copied);
            copy->setName(duplicateName(request->name()));
            copy->setUuid(HXRequest::generateUUID());
            copy->setOrderAndParent(request->parent(), request);
            copies.append(copy);
        }
    }
    Q_EMIT selectItems(Selection(copies.begin(), copies.end()), nullptr);
    return copies;
}

void HXDocumentCommands::copy(const Selection &selection)
{
    QList<HXPasteboardItem> items;
    for (HXRequestTreeItem *item : selection) {
        if (item != nullptr)
            items.append(HXPasteboardManagement::pasteboardItemForObject(item));
    }
    if (items.isEmpty())
        return;
    pasteboard()->clearContents();
    pasteboard()->writeObjects(items);
}

void HXDocumentCommands::cut(const Selection &selection)
{
    copy(selection);
    HXManagedObjectContext *context = m_document->managedObjectContext();
    for (HXRequestTreeItem *item : selection)
        context->deleteObject(item);
    context->processPendingChanges();
}

bool HXDocumentCommands::canPaste() const
{
    return pasteboard()->canReadItemWithDataConformingToTypes(HXPasteboardManagement::readableTypes());
}

QList<HXRequestTreeItem *> HXDocumentCommands::paste(const Selection &selection)
{
    if (!canPaste())
        return {};
    HXManagedObjectContext *context = m_document->managedObjectContext();
    HXRequestTreeItem *selected = selection.isEmpty() ? nullptr : selection.last();
    QList<HXRequestTreeItem *> pasted;
    {
        HXUndoGroup group(context, tr("Paste"));
        _pasteItems(selected, pasted);
    }
    Q_EMIT selectItems(pasted, nullptr);
    return pasted;
}

void HXDocumentCommands::_pasteItems(HXRequestTreeItem *selected, QList<HXRequestTreeItem *> &pasted)
{
    HXManagedObjectContext *context = m_document->managedObjectContext();
    for (const HXPasteboardItem &item : pasteboard()->pasteboardItems()) {
        HXRequestTreeItem *made = nullptr;
        for (const QString &entity : {HXRequest::staticEntityName(), HXRequestGroup::staticEntityName()}) {
            auto read = HXPasteboardManagement::managedObjectWithPasteboardItem(
                entity, item, context, HXPasteboardManagement::CopyFoundObject);
            if (!read) {
                HXPresenter::sharedPresenter()->presentError(read.error());
                return;
            }
            if (read->object != nullptr) {
                made = static_cast<HXRequestTreeItem *>(read->object);
                break;
            }
        }
        if (made == nullptr)
            continue;
        made->setOrderAndParentWithSelectedItem(selected);
        if (auto *request = dynamic_cast<HXRequest *>(made))
            request->setUuid(HXRequest::generateUUID());
        pasted.append(made);
    }
}

void HXDocumentCommands::deleteAllRequestTreeItemsPurgeUndoManager(bool purgeUndoManager)
{
    HXManagedObjectContext *context = m_document->managedObjectContext();
    HXFetchRequest fetch(QStringLiteral("HXRequestTreeItem"));
    fetch.sortBy(QStringLiteral("uuid"));
    for (HXManagedObject *item : context->executeFetchRequest(fetch).valueOr({}))
        context->deleteObject(item);
    context->processPendingChanges();
    if (purgeUndoManager && context->undoManager() != nullptr)
        context->undoManager()->removeAllActions();
}

bool HXDocumentCommands::moveRequestTreeItems(const Selection &items, HXRequestGroup *parent, qsizetype index)
{
    for (HXRequestGroup *ancestor = parent; ancestor != nullptr; ancestor = ancestor->parent()) {
        if (items.contains(ancestor))
            return false;
    }
    QList<HXRequestTreeItem *> siblings =
        parent != nullptr ? HXDocument::sortedItems(parent->children()) : m_document->topLevelItems();
    siblings.removeIf([&items](HXRequestTreeItem *item) { return items.contains(item); });
    const qsizetype at = index < 0 ? siblings.size() : std::min(index, siblings.size());
    for (qsizetype i = 0; i < items.size(); ++i)
        siblings.insert(at + i, items.at(i));
    HXManagedObjectContext *context = m_document->managedObjectContext();
    {
        HXUndoGroup group(context, tr("Move"));
        for (qsizetype i = 0; i < siblings.size(); ++i) {
            siblings.at(i)->setParent(parent);
            siblings.at(i)->setOrder(i);
        }
    }
    Q_EMIT selectItems(items, parent);
    return true;
}
