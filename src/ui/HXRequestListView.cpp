#include "HXRequestListView.h"

#include "HXDocument.h"
#include "HXDocumentCommands.h"
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
    m_filter->setClearButtonEnabled(true);
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
                    m_tree->expand(m_proxy->mapFromSource(m_model->indexForItem(expand)));
                selectItems(items);
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
        if (HXRequestTreeItem *item = m_model->itemForIndex(m_proxy->mapToSource(index)))
            items.append(item);
    }
    return items;
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
        const QModelIndex index = m_proxy->mapFromSource(m_model->indexForItem(item));
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
    m_savedSelection.clear();
    for (HXRequestTreeItem *item : selectedItems())
        m_savedSelection.append(item->objectURI());
}

void HXRequestListView::_restoreState()
{
    expandItems(m_savedExpanded);
    QList<HXRequestTreeItem *> items;
    std::function<void(const QModelIndex &)> walk = [&](const QModelIndex &parent) {
        for (int row = 0; row < m_model->rowCount(parent); ++row) {
            const QModelIndex index = m_model->index(row, 0, parent);
            if (m_savedSelection.contains(index.data(HXRequestTreeModel::ObjectURIRole).toString()))
                items.append(m_model->itemForIndex(index));
            walk(index);
        }
    };
    walk({});
    selectItems(items);
}
