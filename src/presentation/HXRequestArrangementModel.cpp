#include "HXRequestArrangementModel.h"

#include "HXRequestTreeModel.h"

#include <QCollator>
#include <QUrl>

#include <algorithm>
#include <functional>

namespace {
// Header rows carry no id; request rows carry their group's position + 1.
constexpr quintptr headerId = 0;
} // namespace

HXRequestArrangementModel::HXRequestArrangementModel(QObject *parent) : QAbstractItemModel(parent) {}

void HXRequestArrangementModel::setSourceModel(QAbstractItemModel *source)
{
    if (m_source != nullptr)
        m_source->disconnect(this);
    m_source = source;
    if (source != nullptr) {
        connect(source, &QAbstractItemModel::modelReset, this, &HXRequestArrangementModel::_rebuild);
        connect(source, &QAbstractItemModel::rowsInserted, this, &HXRequestArrangementModel::_rebuild);
        connect(source, &QAbstractItemModel::rowsRemoved, this, &HXRequestArrangementModel::_rebuild);
        connect(source, &QAbstractItemModel::rowsMoved, this, &HXRequestArrangementModel::_rebuild);
        connect(source, &QAbstractItemModel::layoutChanged, this, &HXRequestArrangementModel::_rebuild);
        connect(source, &QAbstractItemModel::dataChanged, this, &HXRequestArrangementModel::_sourceDataChanged);
    }
    _rebuild();
}

void HXRequestArrangementModel::setArrangement(int arrangement)
{
    arrangement = std::clamp(arrangement, int(None), int(ByLastStatus));
    if (arrangement == m_arrangement)
        return;
    m_arrangement = arrangement;
    _rebuild();
}

QString HXRequestArrangementModel::_groupTitle(const QModelIndex &sourceIndex) const
{
    switch (m_arrangement) {
    case ByMethod:
        return sourceIndex.data(HXRequestTreeModel::MethodRole).toString();
    case ByHost: {
        const QString host = QUrl(sourceIndex.data(HXRequestTreeModel::URLRole).toString()).host();
        return host.isEmpty() ? tr("No Host") : host;
    }
    case ByLastStatus: {
        const int status = sourceIndex.data(HXRequestTreeModel::StatusCodeRole).toInt();
        return status > 0 ? QString::number(status) : tr("No Response");
    }
    default:
        return QString();
    }
}

void HXRequestArrangementModel::_rebuild()
{
    beginResetModel();
    m_groups.clear();
    if (m_source != nullptr && m_arrangement != None) {
        // The requests in the tree's order, folders flattened.
        std::vector<QPersistentModelIndex> requests;
        std::function<void(const QModelIndex &)> walk = [&](const QModelIndex &parent) {
            for (int row = 0; row < m_source->rowCount(parent); ++row) {
                const QModelIndex index = m_source->index(row, 0, parent);
                if (index.data(HXRequestTreeModel::IsFolderRole).toBool())
                    walk(index);
                else
                    requests.emplace_back(index);
            }
        };
        walk({});
        for (const QPersistentModelIndex &request : requests) {
            const QString title = _groupTitle(request);
            auto found = std::find_if(m_groups.begin(), m_groups.end(),
                                      [&title](const Group &group) { return group.title == title; });
            if (found == m_groups.end())
                found = m_groups.insert(m_groups.end(), Group{title, {}});
            found->requests.push_back(request);
        }
        // Groups in natural order ("200" before "404", hosts and methods by
        // name), the ones without a value last.
        QCollator collator;
        collator.setNumericMode(true);
        collator.setCaseSensitivity(Qt::CaseInsensitive);
        const QString noValue = m_arrangement == ByHost ? tr("No Host") : tr("No Response");
        std::stable_sort(m_groups.begin(), m_groups.end(), [&](const Group &a, const Group &b) {
            if ((a.title == noValue) != (b.title == noValue))
                return b.title == noValue;
            return collator.compare(a.title, b.title) < 0;
        });
    }
    endResetModel();
}

void HXRequestArrangementModel::_sourceDataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight)
{
    if (m_arrangement == None)
        return;
    // A request whose method, host or status moved it to another group
    // rebuilds the groups; anything else repaints its row.
    QList<QModelIndex> rows;
    for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
        const QModelIndex sourceIndex = topLeft.siblingAtRow(row);
        const QModelIndex index = mapFromSource(sourceIndex);
        if (sourceIndex.data(HXRequestTreeModel::IsFolderRole).toBool())
            continue;
        if (!index.isValid() || m_groups.at(index.internalId() - 1).title != _groupTitle(sourceIndex)) {
            _rebuild();
            return;
        }
        rows.append(index);
    }
    for (const QModelIndex &index : rows)
        Q_EMIT dataChanged(index, index);
}

QModelIndex HXRequestArrangementModel::mapToSource(const QModelIndex &index) const
{
    if (!index.isValid() || index.internalId() == headerId)
        return {};
    return m_groups.at(index.internalId() - 1).requests.at(index.row());
}

QModelIndex HXRequestArrangementModel::mapFromSource(const QModelIndex &sourceIndex) const
{
    if (!sourceIndex.isValid())
        return {};
    for (std::size_t group = 0; group < m_groups.size(); ++group) {
        const auto &requests = m_groups[group].requests;
        const auto found = std::find(requests.begin(), requests.end(), sourceIndex);
        if (found != requests.end())
            return createIndex(int(found - requests.begin()), 0, quintptr(group + 1));
    }
    return {};
}

QModelIndex HXRequestArrangementModel::index(int row, int column, const QModelIndex &parent) const
{
    if (column != 0 || row < 0)
        return {};
    if (!parent.isValid())
        return row < int(m_groups.size()) ? createIndex(row, 0, headerId) : QModelIndex();
    if (parent.internalId() != headerId || row >= int(m_groups.at(parent.row()).requests.size()))
        return {};
    return createIndex(row, 0, quintptr(parent.row() + 1));
}

QModelIndex HXRequestArrangementModel::parent(const QModelIndex &child) const
{
    if (!child.isValid() || child.internalId() == headerId)
        return {};
    return createIndex(int(child.internalId() - 1), 0, headerId);
}

int HXRequestArrangementModel::rowCount(const QModelIndex &parent) const
{
    if (!parent.isValid())
        return int(m_groups.size());
    if (parent.internalId() == headerId)
        return int(m_groups.at(parent.row()).requests.size());
    return 0;
}

int HXRequestArrangementModel::columnCount(const QModelIndex &) const
{
    return 1;
}

QVariant HXRequestArrangementModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    if (index.internalId() != headerId)
        return mapToSource(index).data(role);
    const Group &group = m_groups.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return QStringLiteral("%1 (%2)").arg(group.title).arg(group.requests.size());
    case HXRequestTreeModel::IsFolderRole:
    case HeaderRole:
        return true;
    case HXRequestTreeModel::ObjectURIRole:
        return QStringLiteral("arrangement:%1").arg(group.title);
    default:
        return {};
    }
}

bool HXRequestArrangementModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    const QModelIndex sourceIndex = mapToSource(index);
    return sourceIndex.isValid() && m_source->setData(sourceIndex, value, role);
}

Qt::ItemFlags HXRequestArrangementModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    if (index.internalId() == headerId)
        return Qt::ItemIsEnabled;
    // Dragging moves items in the tree's order, which an arranged list
    // does not show; rows here are selected and renamed only.
    return m_source->flags(mapToSource(index)) & (Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable);
}
