#include "HXJSONOutlineModel.h"

#include "HXJSONTree.h"

#include <algorithm>

HXJSONOutlineModel::HXJSONOutlineModel(QObject *parent) : QAbstractItemModel(parent) {}

HXJSONOutlineModel::~HXJSONOutlineModel() = default;

void HXJSONOutlineModel::setTree(std::shared_ptr<const HXJSONTree> tree)
{
    beginResetModel();
    m_tree = std::move(tree);
    if (m_tree != nullptr && (m_tree->root() < 0 || m_tree->root() >= m_tree->count()))
        m_tree.reset();
    m_children.clear();
    endResetModel();
}

const std::vector<qint32> &HXJSONOutlineModel::_children(qint32 container) const
{
    auto found = m_children.find(container);
    if (found != m_children.end())
        return found->second;
    std::vector<qint32> children;
    for (qint32 child = m_tree->firstChild(container); child >= 0; child = m_tree->node(child).next)
        children.push_back(child);
    return m_children.emplace(container, std::move(children)).first->second;
}

bool HXJSONOutlineModel::_isDict(qint32 node) const
{
    return m_tree->node(node).kind == HXJSONNodeDict;
}

// Rows are identified by the node that holds their value, plus one (so that
// no row has the id 0).
qint32 HXJSONOutlineModel::_nodeOf(const QModelIndex &index) const
{
    return index.isValid() ? qint32(index.internalId()) - 1 : -1;
}

int HXJSONOutlineModel::_rowOf(qint32 node) const
{
    const qint32 parent = m_tree->node(node).parent;
    if (parent < 0)
        return 0;
    const std::vector<qint32> &siblings = _children(parent);
    // Nodes are numbered in text order, so siblings are sorted.
    const auto position = std::lower_bound(siblings.begin(), siblings.end(), node) - siblings.begin();
    return _isDict(parent) ? int(position / 2) : int(position);
}

QModelIndex HXJSONOutlineModel::index(int row, int column, const QModelIndex &parent) const
{
    if (m_tree == nullptr || row < 0 || column < 0 || column >= ColumnCount)
        return {};
    if (!parent.isValid())
        return row == 0 ? createIndex(0, column, quintptr(m_tree->root() + 1)) : QModelIndex();
    const qint32 container = _nodeOf(parent);
    const std::vector<qint32> &children = _children(container);
    const size_t position = _isDict(container) ? size_t(row) * 2 + 1 : size_t(row);
    if (position >= children.size())
        return {};
    return createIndex(row, column, quintptr(children[position] + 1));
}

QModelIndex HXJSONOutlineModel::parent(const QModelIndex &child) const
{
    const qint32 node = _nodeOf(child);
    if (m_tree == nullptr || node < 0 || node == m_tree->root())
        return {};
    const qint32 parent = m_tree->node(node).parent;
    if (parent < 0)
        return {};
    return createIndex(_rowOf(parent), 0, quintptr(parent + 1));
}

int HXJSONOutlineModel::rowCount(const QModelIndex &parent) const
{
    if (m_tree == nullptr || parent.column() > 0)
        return 0;
    if (!parent.isValid())
        return 1;
    const qint32 node = _nodeOf(parent);
    const qint32 kind = m_tree->node(node).kind;
    if (kind != HXJSONNodeDict && kind != HXJSONNodeArray)
        return 0;
    const size_t count = _children(node).size();
    return int(kind == HXJSONNodeDict ? count / 2 : count);
}

int HXJSONOutlineModel::columnCount(const QModelIndex &) const
{
    return ColumnCount;
}

bool HXJSONOutlineModel::hasChildren(const QModelIndex &parent) const
{
    if (m_tree == nullptr)
        return false;
    if (!parent.isValid())
        return true;
    if (parent.column() > 0)
        return false;
    const qint32 node = _nodeOf(parent);
    const qint32 kind = m_tree->node(node).kind;
    return (kind == HXJSONNodeDict || kind == HXJSONNodeArray) && m_tree->firstChild(node) >= 0;
}

QString HXJSONOutlineModel::_valueText(qint32 index) const
{
    const HXJSONNode node = m_tree->node(index);
    switch (node.kind) {
    case HXJSONNodeDict: {
        const size_t count = _children(index).size() / 2;
        return count == 1 ? tr("{1 member}") : tr("{%1 members}").arg(count);
    }
    case HXJSONNodeArray: {
        const size_t count = _children(index).size();
        return count == 1 ? tr("[1 element]") : tr("[%1 elements]").arg(count);
    }
    default:
        break;
    }
    const qint32 end = m_tree->endOffset(node);
    const qsizetype length = std::min<qsizetype>(end - node.start, maximumValueLength * 4);
    QString text = QString::fromUtf8(m_tree->text().constData() + node.start, length);
    if (text.size() > maximumValueLength)
        text = text.left(maximumValueLength) + u'…';
    if (node.kind == HXJSONNodeString)
        return u'"' + text + u'"';
    return text;
}

QVariant HXJSONOutlineModel::data(const QModelIndex &index, int role) const
{
    const qint32 node = _nodeOf(index);
    if (m_tree == nullptr || node < 0 || (role != Qt::DisplayRole && role != Qt::ToolTipRole))
        return {};
    if (index.column() == ValueColumn)
        return _valueText(node);
    const qint32 parent = m_tree->node(node).parent;
    if (parent < 0)
        return tr("root");
    if (!_isDict(parent))
        return QStringLiteral("[%1]").arg(index.row());
    const std::vector<qint32> &siblings = _children(parent);
    const HXJSONNode key = m_tree->node(siblings[size_t(index.row()) * 2]);
    return QString::fromUtf8(m_tree->text().constData() + key.start, m_tree->endOffset(key) - key.start);
}

QVariant HXJSONOutlineModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == KeyColumn ? tr("Key") : tr("Value");
}

std::pair<qint64, qint64> HXJSONOutlineModel::textRange(const QModelIndex &index) const
{
    const qint32 node = _nodeOf(index);
    if (m_tree == nullptr || node < 0)
        return {0, 0};
    const HXJSONNode item = m_tree->node(node);
    const qint64 start = m_tree->utf16Offset(item.start);
    return {start, m_tree->utf16Offset(m_tree->endOffset(item)) - start};
}
