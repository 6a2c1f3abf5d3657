#include "HXRequestListView.h"

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXRequestArrangementModel.h"
#include "HXRequestGroup.h"
#include "HXRequestListDelegate.h"
#include "HXRequestTreeItem.h"
#include "HXRequestTreeModel.h"

#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QSortFilterProxyModel>
#include <QTreeView>
#include <QVBoxLayout>

HXRequestListView::HXRequestListView(HXDocumentCommands *commands, QWidget *parent) : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_filter = new QLineEdit;
    m_filter->setPlaceholderText(tr("Filter"));
    auto *filterBox = new QVBoxLayout;
    filterBox->setContentsMargins(6, 6, 6, 6);
    filterBox->addWidget(m_filter);
    layout->addLayout(filterBox);

    m_model = new HXRequestTreeModel(commands, this);
    m_proxy = new QSortFilterProxyModel(this);
    m_proxy->setSourceModel(m_model);
    m_proxy->setFilterRole(HXRequestTreeModel::SearchTextRole);
    m_proxy->setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_proxy->setRecursiveFilteringEnabled(true);
    m_proxy->setSortCaseSensitivity(Qt::CaseInsensitive);
    m_proxy->setSortLocaleAware(true);

    m_tree = new QTreeView;
    m_tree->setObjectName(QStringLiteral("requestList"));
    m_tree->setModel(m_proxy);
    m_tree->setHeaderHidden(true);
    m_tree->setFrameShape(QFrame::NoFrame);
    m_tree->setItemDelegate(new HXRequestListDelegate(m_tree));
    m_tree->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_tree->setDragDropMode(QAbstractItemView::DragDrop);
    m_tree->setDefaultDropAction(Qt::MoveAction);
    m_tree->setDragEnabled(true);
    m_tree->setAcceptDrops(true);
    m_tree->setDropIndicatorShown(true);
    m_tree->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked);
    m_tree->setContextMenuPolicy(Qt::CustomContextMenu);
    m_tree->setUniformRowHeights(true);
    m_tree->setAnimated(true);
    m_tree->setAttribute(Qt::WA_MacShowFocusRect, false);
    layout->addWidget(m_tree, 1);

    connect(m_filter, &QLineEdit::textChanged, this, [this](const QString &text) {
        // The clear button's icon is loaded when there is something to clear,
        // not while the window opens.
        if (!text.isEmpty())
            m_filter->setClearButtonEnabled(true);
        m_proxy->setFilterFixedString(text);
        if (!text.isEmpty())
            m_tree->expandAll();
    });
    connect(m_tree, &QTreeView::customContextMenuRequested, this, [this](const QPoint &position) {
        if (m_contextMenu != nullptr)
            m_contextMenu->popup(m_tree->viewport()->mapToGlobal(position));
    });
    connect(m_tree->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &HXRequestListView::selectionChanged);
    connect(m_model, &QAbstractItemModel::modelAboutToBeReset, this, &HXRequestListView::_rememberState);
    connect(m_model, &QAbstractItemModel::modelReset, this, &HXRequestListView::_restoreState);
    connect(commands, &HXDocumentCommands::selectItems, this,
            [this](const QList<HXRequestTreeItem *> &items, HXRequestGroup *expand) {
                if (expand != nullptr)
                    m_tree->expand(_viewIndexForItem(expand));
                selectItems(items);
            });

    m_arranged = new HXRequestArrangementModel(this);
    m_arranged->setSourceModel(m_proxy);
    // Regrouping (a new status code, a changed host) keeps the selection
    // and every group open.
    connect(m_arranged, &QAbstractItemModel::modelAboutToBeReset, this, [this] {
        if (m_tree->model() == m_arranged)
            m_arrangedSelection = _selectedURIs();
    });

    m_tree->expandAll();
}

QList<HXRequestTreeItem *> HXRequestListView::selectedItems() const
{
    QList<HXRequestTreeItem *> items;
    QModelIndexList rows = m_tree->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end(), [this](const QModelIndex &a, const QModelIndex &b) {
        return m_tree->visualRect(a).top() < m_tree->visualRect(b).top();
    });
    for (const QModelIndex &index : rows) {
        if (HXRequestTreeItem *item = _itemForViewIndex(index))
            items.append(item);
    }
    return items;
}

HXRequestTreeItem *HXRequestListView::_itemForViewIndex(const QModelIndex &index) const
{
    const QModelIndex proxyIndex = m_tree->model() == m_arranged ? m_arranged->mapToSource(index) : index;
    return proxyIndex.isValid() ? m_model->itemForIndex(m_proxy->mapToSource(proxyIndex)) : nullptr;
}

QModelIndex HXRequestListView::_viewIndexForItem(const HXRequestTreeItem *item) const
{
    const QModelIndex proxyIndex = m_proxy->mapFromSource(m_model->indexForItem(item));
    return m_tree->model() == m_arranged ? m_arranged->mapFromSource(proxyIndex) : proxyIndex;
}

QAbstractItemModel *HXRequestListView::viewModel() const
{
    return m_tree->model();
}

QStringList HXRequestListView::_selectedURIs() const
{
    QStringList uris;
    for (const QModelIndex &index : m_tree->selectionModel()->selectedRows()) {
        const QString uri = index.data(HXRequestTreeModel::ObjectURIRole).toString();
        if (!uri.isEmpty())
            uris.append(uri);
    }
    return uris;
}

void HXRequestListView::_selectURIs(const QStringList &uris)
{
    QList<HXRequestTreeItem *> items;
    std::function<void(const QModelIndex &)> walk = [&](const QModelIndex &parent) {
        for (int row = 0; row < m_model->rowCount(parent); ++row) {
            const QModelIndex index = m_model->index(row, 0, parent);
            if (uris.contains(index.data(HXRequestTreeModel::ObjectURIRole).toString()))
                items.append(m_model->itemForIndex(index));
            walk(index);
        }
    };
    walk({});
    selectItems(items);
}

int HXRequestListView::arrangeBy() const
{
    return m_tree->model() == m_arranged ? m_arranged->arrangement() : 0;
}

void HXRequestListView::setArrangeBy(int arrangeBy)
{
    const QStringList selection = _selectedURIs();
    const bool arranged = arrangeBy > 0;
    if (arranged && m_tree->model() != m_arranged)
        m_treeExpanded = expandedItemURIs();
    m_arranged->setArrangement(arranged ? arrangeBy : 0);
    QAbstractItemModel *shown = arranged ? static_cast<QAbstractItemModel *>(m_arranged) : m_proxy;
    if (m_tree->model() != shown) {
        m_tree->setModel(shown);
        connect(m_tree->selectionModel(), &QItemSelectionModel::selectionChanged, this,
                &HXRequestListView::selectionChanged);
        // After the view's and its selection model's own handlers, which
        // clear the selection on a reset.
        disconnect(m_arrangedReset);
        if (arranged)
            m_arrangedReset = connect(m_arranged, &QAbstractItemModel::modelReset, this, [this] {
                m_tree->expandAll();
                _selectURIs(m_arrangedSelection);
            });
        m_tree->setDragDropMode(arranged ? QAbstractItemView::NoDragDrop : QAbstractItemView::DragDrop);
        if (!arranged)
            expandItems(m_treeExpanded);
    }
    if (arranged)
        m_tree->expandAll();
    _selectURIs(selection);
    Q_EMIT selectionChanged();
}

HXRequestTreeItem *HXRequestListView::currentItem() const
{
    const QList<HXRequestTreeItem *> items = selectedItems();
    return items.isEmpty() ? nullptr : items.last();
}

void HXRequestListView::selectItems(const QList<HXRequestTreeItem *> &items)
{
    QItemSelection selection;
    QModelIndex last;
    for (HXRequestTreeItem *item : items) {
        const QModelIndex index = _viewIndexForItem(item);
        if (!index.isValid())
            continue;
        for (QModelIndex parent = index.parent(); parent.isValid(); parent = parent.parent())
            m_tree->expand(parent);
        selection.select(index, index);
        last = index;
    }
    m_tree->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    if (last.isValid()) {
        m_tree->selectionModel()->setCurrentIndex(last, QItemSelectionModel::NoUpdate);
        m_tree->scrollTo(last);
    }
}

void HXRequestListView::setOrderBy(int orderBy)
{
    switch (orderBy) {
    case 1:
        m_proxy->setSortRole(Qt::DisplayRole);
        m_proxy->sort(0, Qt::AscendingOrder);
        break;
    case 2:
        m_proxy->setSortRole(HXRequestTreeModel::URLRole);
        m_proxy->sort(0, Qt::AscendingOrder);
        break;
    default:
        m_proxy->sort(-1);
        break;
    }
}

void HXRequestListView::renameCurrent()
{
    const QModelIndex index = m_tree->currentIndex();
    if (index.isValid())
        m_tree->edit(index);
}

QStringList HXRequestListView::expandedItemURIs() const
{
    if (m_tree->model() == m_arranged)
        return m_treeExpanded;
    QStringList uris;
    std::function<void(const QModelIndex &)> walk = [&](const QModelIndex &parent) {
        for (int row = 0; row < m_proxy->rowCount(parent); ++row) {
            const QModelIndex index = m_proxy->index(row, 0, parent);
            if (m_tree->isExpanded(index)) {
                uris.append(index.data(HXRequestTreeModel::ObjectURIRole).toString());
                walk(index);
            }
        }
    };
    walk({});
    return uris;
}

void HXRequestListView::expandItems(const QStringList &uris)
{
    if (m_tree->model() == m_arranged) {
        m_treeExpanded = uris;
        return;
    }
    std::function<void(const QModelIndex &)> walk = [&](const QModelIndex &parent) {
        for (int row = 0; row < m_proxy->rowCount(parent); ++row) {
            const QModelIndex index = m_proxy->index(row, 0, parent);
            if (uris.contains(index.data(HXRequestTreeModel::ObjectURIRole).toString())) {
                m_tree->expand(index);
                walk(index);
            }
        }
    };
    walk({});
}

void HXRequestListView::_rememberState()
{
    m_savedExpanded = expandedItemURIs();
    m_savedSelection = _selectedURIs();
}

void HXRequestListView::_restoreState()
{
    expandItems(m_savedExpanded);
    _selectURIs(m_savedSelection);
}
