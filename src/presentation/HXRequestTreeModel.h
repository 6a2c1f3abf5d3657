#pragma once

#include <QAbstractItemModel>
#include <QPointer>

#include <memory>
#include <vector>

class HXDocument;
class HXDocumentCommands;
class HXRequest;
class HXRequestTreeItem;
struct HXManagedObjectChanges;

// The request tree of a document: folders and requests in their order, one
// column. Renaming and drag and drop go through the document's commands;
// the model follows the store's change notifications. Dragged rows carry
// their pasteboard items: a drop in the same document moves them, a drop
// from another document copies them through their archives.
class HXRequestTreeModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    enum Role {
        MethodRole = Qt::UserRole + 1, // upper-cased method; empty for folders
        URLRole,                       // the URL as displayed
        StatusCodeRole,                // status code of the last response, 0 without one
        RunningRole,                   // the request is being sent
        IsFolderRole,
        ObjectURIRole,
        SearchTextRole, // what the filter field matches: name and URL
    };

    explicit HXRequestTreeModel(HXDocumentCommands *commands, QObject *parent = nullptr);
    ~HXRequestTreeModel() override;

    HXRequestTreeItem *itemForIndex(const QModelIndex &index) const;
    QModelIndex indexForItem(const HXRequestTreeItem *item) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;
    bool canDropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                         const QModelIndex &parent) const override;
    bool dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                      const QModelIndex &parent) override;
    Qt::DropActions supportedDropActions() const override;
    Qt::DropActions supportedDragActions() const override;

    // Re-reads the tree and the last responses.
    void reload();

private:
    struct Node;
    Node *_node(const QModelIndex &index) const;
    std::unique_ptr<Node> _build() const;
    void _objectsDidChange(const HXManagedObjectChanges &changes);
    void _requestChanged(HXRequest *request);
    HXDocument *_document() const;
    // The dragged items when they all belong to this document; else none.
    QList<HXRequestTreeItem *> _itemsFromMimeData(const QMimeData *data) const;

    QPointer<HXDocumentCommands> m_commands;
    std::unique_ptr<Node> m_root;
};
