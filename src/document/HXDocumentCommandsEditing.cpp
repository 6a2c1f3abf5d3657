// HXDocumentCommands: renaming, single-property edits, the rows of key/value
// tables, and undo/redo.

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestTreeItem.h"
#include "HXUndoGroup.h"
#include "HXUndoManager.h"

#include <QCoreApplication>

#include <algorithm>

void HXDocumentCommands::renameRequestTreeItem(HXRequestTreeItem *item, const QString &name)
{
    if (item == nullptr || !item->isLive() || item->name() == name)
        return;
    HXUndoGroup group(m_document->managedObjectContext(), tr("Rename"));
    item->setName(name);
}

void HXDocumentCommands::setValueForKey(HXManagedObject *object, const QString &key, const QVariant &value,
                                        const QString &undoName)
{
    if (object == nullptr || !object->isLive() || object->valueForKey(key) == value)
        return;
    HXUndoGroup group(m_document->managedObjectContext(), undoName);
    object->setValueForKey(value, key);
}

bool HXDocumentCommands::isValidRequestMethod(const QString &method)
{
    static const QString separators = QStringLiteral("!#$%&'*+-.^_`|~");
    return !method.isEmpty() && std::all_of(method.begin(), method.end(), [](QChar c) {
        return c.unicode() < 0x80 && (c.isLetterOrNumber() || separators.contains(c));
    });
}

bool HXDocumentCommands::setCustomRequestMethod(const Selection &selection, const QString &method)
{
    const QList<HXRequest *> requests = requestsFromSelection(selection);
    if (requests.size() != 1 || !isValidRequestMethod(method))
        return false;
    setValueForKey(requests.first(), QStringLiteral("method"), method, tr("Custom Method"));
    return true;
}

HXKeyValue *HXDocumentCommands::addKeyValue(HXManagedObject *owner, const QString &relationship, const QString &name,
                                            const QString &value)
{
    if (owner == nullptr || !owner->isLive())
        return nullptr;
    HXUndoGroup group(m_document->managedObjectContext(), tr("Add Row"));
    return HXKeyValue::addKeyValueName(name, value, relationship, owner);
}

void HXDocumentCommands::deleteKeyValues(const QList<HXKeyValue *> &rows)
{
    QList<HXKeyValue *> live = rows;
    live.removeIf([](HXKeyValue *row) { return row == nullptr || !row->isLive(); });
    if (live.isEmpty())
        return;
    HXManagedObjectContext *context = m_document->managedObjectContext();
    HXUndoGroup group(context, live.size() == 1 ? tr("Delete Row") : tr("Delete Rows"));
    for (HXKeyValue *row : live)
        context->deleteObject(row);
}

void HXDocumentCommands::moveKeyValue(HXKeyValue *row, int toIndex)
{
    if (row == nullptr || !row->isLive())
        return;
    // A row belongs to exactly one table: a request's or a folder's.
    static const QStringList owners = {QStringLiteral("request"), QStringLiteral("groupForHeaders"),
                                       QStringLiteral("groupForUrlParameters"),
                                       QStringLiteral("groupForBodyParameters")};
    QString relationship;
    HXManagedObject *owner = nullptr;
    for (const QString &name : owners) {
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
    HXUndoGroup group(m_document->managedObjectContext(), tr("Move Row"));
    rows.move(from, toIndex);
    for (qsizetype i = 0; i < rows.size(); ++i)
        rows.at(i)->setOrder(quint64(i));
}

void HXDocumentCommands::undo()
{
    HXManagedObjectContext *context = m_document->managedObjectContext();
    if (HXUndoManager *undo = context->undoManager(); undo != nullptr && undo->canUndo()) {
        undo->undo();
        context->processPendingChanges();
    }
}

void HXDocumentCommands::redo()
{
    HXManagedObjectContext *context = m_document->managedObjectContext();
    if (HXUndoManager *undo = context->undoManager(); undo != nullptr && undo->canRedo()) {
        undo->redo();
        context->processPendingChanges();
    }
}
