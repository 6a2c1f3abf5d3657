#include "HXRequestTreeModel.h"

#include "HXDocument.h"
#include "HXDocumentActions.h"
#include "HXDynamicValueEngine.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXRequestHandler.h"
#include "HXResponse.h"

#include <QMimeData>

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

HXRequestTreeModel::HXRequestTreeModel(HXDocumentActions *actions, QObject *parent)
    : QAbstractItemModel(parent), m_actions(actions)
{
    m_root = _build();
    if (HXDocument *document = actions->document()) {
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

std::unique_ptr<HXRequestTreeModel::Node> HXRequestTreeModel::_build() const
{
    auto root = std::make_unique<Node>();
    HXDocument *document = m_actions ? m_actions->document() : nullptr;
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
        if (request == nullptr || !m_actions || !m_actions->document())
            return false;
        const int status = m_actions->document()->requestHandler()->statusForRequest(request);
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
    if (item == nullptr || role != Qt::EditRole || !m_actions)
        return false;
    const QString name = value.toString().trimmed();
    if (name.isEmpty())
        return false;
    m_actions->renameItem(item, name);
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
    return {QString::fromLatin1(HXRequest::pasteboardTypeURI)};
}

QMimeData *HXRequestTreeModel::mimeData(const QModelIndexList &indexes) const
{
    QStringList uris;
    for (const QModelIndex &index : indexes) {
        if (HXRequestTreeItem *item = itemForIndex(index); item != nullptr && !uris.contains(item->objectURI()))
            uris.append(item->objectURI());
    }
    if (uris.isEmpty())
        return nullptr;
    auto *data = new QMimeData;
    data->setData(QString::fromLatin1(HXRequest::pasteboardTypeURI), uris.join(u'\n').toUtf8());
    return data;
}

QList<HXRequestTreeItem *> HXRequestTreeModel::_itemsFromMimeData(const QMimeData *data) const
{
    QList<HXRequestTreeItem *> items;
    HXDocument *document = m_actions ? m_actions->document() : nullptr;
    if (data == nullptr || document == nullptr)
        return items;
    const QByteArray uris = data->data(QString::fromLatin1(HXRequest::pasteboardTypeURI));
    for (const QByteArray &uri : uris.split('\n')) {
        HXManagedObject *object = document->managedObjectContext()->objectWithURI(QString::fromUtf8(uri));
        auto *item = dynamic_cast<HXRequestTreeItem *>(object);
        if (item == nullptr || !item->isLive())
            return {};
        items.append(item);
    }
    return items;
}

bool HXRequestTreeModel::canDropMimeData(const QMimeData *data, Qt::DropAction action, int, int,
                                         const QModelIndex &parent) const
{
    if (action != Qt::MoveAction)
        return false;
    HXRequestTreeItem *target = itemForIndex(parent);
    if (target != nullptr && dynamic_cast<HXRequestGroup *>(target) == nullptr)
        return false;
    const QList<HXRequestTreeItem *> items = _itemsFromMimeData(data);
    if (items.isEmpty())
        return false;
    for (HXRequestTreeItem *item : items) {
        if (HXDocumentActions::isAncestor(item, target))
            return false;
    }
    return true;
}

bool HXRequestTreeModel::dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                                      const QModelIndex &parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    auto *folder = dynamic_cast<HXRequestGroup *>(itemForIndex(parent));
    Node *node = _node(parent);
    HXRequestTreeItem *after = nullptr;
    if (row > 0 && size_t(row) <= node->children.size())
        after = node->children[size_t(row) - 1]->item;
    else if (row < 0 && folder == nullptr && !node->children.empty())
        after = node->children.back()->item;
    m_actions->moveItems(_itemsFromMimeData(data), folder, after);
    // The store moved the items; the view must not remove the dragged rows.
    return false;
}

Qt::DropActions HXRequestTreeModel::supportedDropActions() const
{
    return Qt::MoveAction;
}

Qt::DropActions HXRequestTreeModel::supportedDragActions() const
{
    return Qt::MoveAction;
}
