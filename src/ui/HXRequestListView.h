#pragma once

#include <QWidget>

class HXDocumentCommands;
class HXRequestArrangementModel;
class HXRequestTreeItem;
class HXRequestTreeModel;
class QLineEdit;
class QMenu;
class QAbstractItemModel;
class QModelIndex;
class QSortFilterProxyModel;
class QTreeView;

// The request list: a filter field over a tree of folders and requests with
// multi-selection, drag and drop, inline rename (F2) and a context menu.
// Expanded folders and the selection survive the model's resets.
class HXRequestListView : public QWidget
{
    Q_OBJECT
public:
    HXRequestListView(HXDocumentCommands *commands, QWidget *parent = nullptr);

    HXRequestTreeModel *model() const { return m_model; }
    QTreeView *treeView() const { return m_tree; }
    QLineEdit *filterField() const { return m_filter; }

    QList<HXRequestTreeItem *> selectedItems() const;
    HXRequestTreeItem *currentItem() const;
    void selectItems(const QList<HXRequestTreeItem *> &items);
    void setContextMenu(QMenu *menu) { m_contextMenu = menu; }
    void renameCurrent();
    // 0: the document's own order, 1: by name, 2: by URL.
    void setOrderBy(int orderBy);
    // 0: the tree as it is; 1, 2, 3: the requests under a header per
    // method, host or last status code (no folders, no dragging).
    void setArrangeBy(int arrangeBy);
    int arrangeBy() const;
    // What the tree view shows: the tree, or its arrangement.
    QAbstractItemModel *viewModel() const;

    QStringList expandedItemURIs() const;
    void expandItems(const QStringList &uris);

Q_SIGNALS:
    void selectionChanged();

private:
    void _rememberState();
    void _restoreState();
    HXRequestTreeItem *_itemForViewIndex(const QModelIndex &index) const;
    QModelIndex _viewIndexForItem(const HXRequestTreeItem *item) const;
    QStringList _selectedURIs() const;
    void _selectURIs(const QStringList &uris);

    HXRequestTreeModel *m_model = nullptr;
    QSortFilterProxyModel *m_proxy = nullptr;
    HXRequestArrangementModel *m_arranged = nullptr;
    QTreeView *m_tree = nullptr;
    QLineEdit *m_filter = nullptr;
    QMenu *m_contextMenu = nullptr;
    QStringList m_savedExpanded;
    QStringList m_savedSelection;
    // The tree's expanded folders while the list is arranged.
    QStringList m_treeExpanded;
    QStringList m_arrangedSelection;
    QMetaObject::Connection m_arrangedReset;
};
