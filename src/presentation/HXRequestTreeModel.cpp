#include "HXRequestTreeModel.h"

#include "HXClipboardPasteboard.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDynamicValueEngine.h"
#include "HXManagedObjectContext.h"
#include "HXMemoryPasteboard.h"
#include "HXPasteboardManagement.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXRequestHandler.h"
#include "HXResponse.h"

#include <QMimeData>

#include <algorithm>

struct HXRequestTreeModel::Node
{
    HXRequestTreeItem *item = nullptr;
    Node *parent = nullptr;
    int row = 0;
    int statusCode = 0;
    std::vector<std::unique_ptr<Node>> children;

    bool sameShape(const Node &other) const
    {
        if (item != other.item || children.size() != other.children.size())
            return false;
        for (size_t i = 0; i < children.size(); ++i) {
            if (!children[i]->sameShape(*other.children[i]))
                return false;
        }
        return true;
    }
};

namespace {
bool isInside(const HXRequestTreeItem *item, const HXRequestTreeItem *folder)
{
    for (const HXRequestTreeItem *parent = folder; parent != nullptr; parent = parent->parent()) {
        if (parent == item)
            return true;
    }
    return false;
}
} // namespace

HXRequestTreeModel::HXRequestTreeModel(HXDocumentCommands *commands, QObject *parent)
    : QAbstractItemModel(parent), m_commands(commands)
{
    m_root = _build();
    if (HXDocument *document = _document()) {
        connect(document->managedObjectContext(), &HXManagedObjectContext::objectsDidChange, this,
                &HXRequestTreeModel::_objectsDidChange);
        HXRequestHandler *handler = document->requestHandler();
        connect(handler, &HXRequestHandler::requestStatusChanged, this,
                [this](HXRequest *request, int, int) { _requestChanged(request); });
        connect(handler, &HXRequestHandler::requestDidReceiveNewResponse, this,
                [this](HXRequest *request, const std::shared_ptr<HXResponse> &) { _requestChanged(request); });
    }
}

HXRequestTreeModel::~HXRequestTreeModel() = default;

HXDocument *HXRequestTreeModel::_document() const
{
    return m_commands ? m_commands->document() : nullptr;
}

std::unique_ptr<HXRequestTreeModel::Node> HXRequestTreeModel::_build() const
{
    auto root = std::make_unique<Node>();
    HXDocument *document = _document();
    if (document == nullptr)
        return root;
    std::function<void(Node *, const QList<HXRequestTreeItem *> &)> fill =
        [&](Node *parent, const QList<HXRequestTreeItem *> &items) {
            for (HXRequestTreeItem *item : items) {
                auto node = std::make_unique<Node>();
                node->item = item;
                node->parent = parent;
                node->row = int(parent->children.size());
                if (auto *request = dynamic_cast<HXRequest *>(item)) {
                    if (std::shared_ptr<HXResponse> response = request->lastResponse())
                        node->statusCode = int(response->statusCode());
                } else {
                    fill(node.get(), HXDocument::sortedItems(item->children()));
                }
                parent->children.push_back(std::move(node));
            }
        };
    fill(root.get(), document->topLevelItems());
    return root;
}

void HXRequestTreeModel::reload()
{
    std::unique_ptr<Node> fresh = _build();
    if (fresh->sameShape(*m_root)) {
        // Same items in the same places: keep the indexes, refresh the texts.
        std::function<void(Node *, Node *)> take = [&](Node *to, Node *from) {
            to->statusCode = from->statusCode;
            for (size_t i = 0; i < to->children.size(); ++i)
                take(to->children[i].get(), from->children[i].get());
            if (!to->children.empty()) {
                const QModelIndex parentIndex = to->item ? createIndex(to->row, 0, to) : QModelIndex();
                Q_EMIT dataChanged(index(0, 0, parentIndex), index(int(to->children.size()) - 1, 0, parentIndex));
            }
        };
        take(m_root.get(), fresh.get());
        return;
    }
    beginResetModel();
    m_root = std::move(fresh);
    endResetModel();
}

void HXRequestTreeModel::_objectsDidChange(const HXManagedObjectChanges &changes)
{
    auto touchesTree = [](const QSet<HXManagedObject *> &objects) {
        for (HXManagedObject *object : objects) {
            if (dynamic_cast<HXRequestTreeItem *>(object) != nullptr)
                return true;
        }
        return false;
    };
    if (touchesTree(changes.inserted) || touchesTree(changes.deleted) || touchesTree(changes.updated))
        reload();
}

void HXRequestTreeModel::_requestChanged(HXRequest *request)
{
    const QModelIndex index = indexForItem(request);
    if (!index.isValid())
        return;
    Node *node = _node(index);
    if (std::shared_ptr<HXResponse> response = request->lastResponse())
        node->statusCode = int(response->statusCode());
    Q_EMIT dataChanged(index, index);
}

HXRequestTreeModel::Node *HXRequestTreeModel::_node(const QModelIndex &index) const
{
    return index.isValid() ? static_cast<Node *>(index.internalPointer()) : m_root.get();
}

HXRequestTreeItem *HXRequestTreeModel::itemForIndex(const QModelIndex &index) const
{
    return index.isValid() && index.model() == this ? _node(index)->item : nullptr;
}

QModelIndex HXRequestTreeModel::indexForItem(const HXRequestTreeItem *item) const
{
    if (item == nullptr)
        return {};
    std::function<Node *(Node *)> find = [&](Node *node) -> Node * {
        for (const auto &child : node->children) {
            if (child->item == item)
                return child.get();
            if (Node *found = find(child.get()))
                return found;
        }
        return nullptr;
    };
    Node *node = find(m_root.get());
    return node ? createIndex(node->row, 0, node) : QModelIndex();
}

QModelIndex HXRequestTreeModel::index(int row, int column, const QModelIndex &parent) const
{
    Node *node = _node(parent);
    if (column != 0 || row < 0 || size_t(row) >= node->children.size())
        return {};
    return createIndex(row, 0, node->children[size_t(row)].get());
}

QModelIndex HXRequestTreeModel::parent(const QModelIndex &child) const
{
    if (!child.isValid())
        return {};
    Node *parent = _node(child)->parent;
    return parent == nullptr || parent == m_root.get() ? QModelIndex() : createIndex(parent->row, 0, parent);
}

int HXRequestTreeModel::rowCount(const QModelIndex &parent) const
{
    if (parent.column() > 0)
        return 0;
    return int(_node(parent)->children.size());
}

int HXRequestTreeModel::columnCount(const QModelIndex &) const
{
    return 1;
}

QVariant HXRequestTreeModel::data(const QModelIndex &index, int role) const
{
    HXRequestTreeItem *item = itemForIndex(index);
    if (item == nullptr || !item->isLive())
        return {};
    auto *request = dynamic_cast<HXRequest *>(item);
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return item->name();
    case Qt::ToolTipRole:
        return item->description();
    case MethodRole:
        return request ? request->method() : QString();
    case URLRole:
        return request ? HXDynamicValueEngine::displayStringFromString(request->url()) : QString();
    case StatusCodeRole:
        return _node(index)->statusCode;
    case RunningRole: {
        if (request == nullptr || _document() == nullptr)
            return false;
        const int status = _document()->requestHandler()->statusForRequest(request);
        return status == 1 || status == 2;
    }
    case IsFolderRole:
        return request == nullptr;
    case ObjectURIRole:
        return item->objectURI();
    case SearchTextRole:
        return request ? item->name() + u'\n' + HXDynamicValueEngine::displayStringFromString(request->url())
                       : item->name();
    default:
        return {};
    }
}

bool HXRequestTreeModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    HXRequestTreeItem *item = itemForIndex(index);
    if (item == nullptr || role != Qt::EditRole || !m_commands)
        return false;
    const QString name = value.toString().trimmed();
    if (name.isEmpty())
        return false;
    m_commands->renameRequestTreeItem(item, name);
    return true;
}

Qt::ItemFlags HXRequestTreeModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable | Qt::ItemIsDragEnabled;
    if (dynamic_cast<HXRequest *>(itemForIndex(index)) == nullptr)
        flags |= Qt::ItemIsDropEnabled;
    else
        flags |= Qt::ItemNeverHasChildren;
    return flags;
}

QStringList HXRequestTreeModel::mimeTypes() const
{
    return {HXClipboardPasteboard::itemsMimeType};
}

QMimeData *HXRequestTreeModel::mimeData(const QModelIndexList &indexes) const
{
    QList<HXRequestTreeItem *> items;
    for (const QModelIndex &index : indexes) {
        if (HXRequestTreeItem *item = itemForIndex(index); item != nullptr && !items.contains(item))
            items.append(item);
    }
    // A folder carries its contents; rows inside a dragged folder go with it.
    items.removeIf([&items](HXRequestTreeItem *item) {
        return std::any_of(items.begin(), items.end(),
                           [item](HXRequestTreeItem *other) { return other != item && isInside(other, item); });
    });
    if (items.isEmpty())
        return nullptr;
    QList<HXPasteboardItem> pasteboardItems;
    QStringList names;
    for (HXRequestTreeItem *item : items) {
        pasteboardItems.append(HXPasteboardManagement::pasteboardItemForObject(item));
        names.append(item->name());
    }
    return HXClipboardPasteboard::mimeDataForItems(pasteboardItems, names.join(u'\n'));
}

QList<HXRequestTreeItem *> HXRequestTreeModel::_itemsFromMimeData(const QMimeData *data) const
{
    QList<HXRequestTreeItem *> items;
    HXDocument *document = _document();
    if (document == nullptr)
        return items;
    for (const HXPasteboardItem &entry : HXClipboardPasteboard::itemsFromMimeData(data)) {
        HXRequestTreeItem *found = nullptr;
        for (const QString &entity : {HXRequest::staticEntityName(), HXRequestGroup::staticEntityName()}) {
            const QString type = HXPasteboardManagement::URIPasteboardTypeForEntity(entity);
            if (!entry.hasType(type))
                continue;
            found = dynamic_cast<HXRequestTreeItem *>(
                document->managedObjectContext()->objectWithURI(QString::fromUtf8(entry.dataForType(type))));
        }
        if (found == nullptr || !found->isLive())
            return {};
        items.append(found);
    }
    return items;
}

bool HXRequestTreeModel::canDropMimeData(const QMimeData *data, Qt::DropAction action, int, int,
                                         const QModelIndex &parent) const
{
    if (action != Qt::MoveAction && action != Qt::CopyAction)
        return false;
    HXRequestTreeItem *target = itemForIndex(parent);
    if (target != nullptr && dynamic_cast<HXRequestGroup *>(target) == nullptr)
        return false;
    const QList<HXRequestTreeItem *> items = _itemsFromMimeData(data);
    if (items.isEmpty())
        return !HXClipboardPasteboard::itemsFromMimeData(data).isEmpty();
    return std::none_of(items.begin(), items.end(),
                        [target](HXRequestTreeItem *item) { return isInside(item, target); });
}

bool HXRequestTreeModel::dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                                      const QModelIndex &parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    auto *folder = dynamic_cast<HXRequestGroup *>(itemForIndex(parent));
    const QList<HXRequestTreeItem *> items = _itemsFromMimeData(data);
    if (items.isEmpty() || action == Qt::CopyAction) {
        // From another document, or a copying drag: a paste of copies into
        // the folder (or at the end), one step like any paste.
        HXMemoryPasteboard dropped;
        dropped.writeObjects(HXClipboardPasteboard::itemsFromMimeData(data));
        m_commands->setPasteboard(&dropped);
        m_commands->paste(folder != nullptr ? QList<HXRequestTreeItem *>{folder} : QList<HXRequestTreeItem *>{});
        m_commands->setPasteboard(nullptr);
        return false;
    }
    // The position among the rows that stay where they are.
    qsizetype index = -1;
    if (row >= 0) {
        const Node *node = _node(parent);
        index = 0;
        for (size_t i = 0; i < std::min(size_t(row), node->children.size()); ++i) {
            if (!items.contains(node->children[i]->item))
                ++index;
        }
    }
    m_commands->moveRequestTreeItems(items, folder, index);
    // The store moved the items; the view must not remove the dragged rows.
    return false;
}

Qt::DropActions HXRequestTreeModel::supportedDropActions() const
{
    return Qt::MoveAction | Qt::CopyAction;
}

Qt::DropActions HXRequestTreeModel::supportedDragActions() const
{
    return Qt::MoveAction;
}
