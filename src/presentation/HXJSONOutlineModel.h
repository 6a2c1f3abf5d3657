#pragma once

#include <QAbstractItemModel>

#include <memory>
#include <unordered_map>
#include <vector>

class HXJSONTree;

// A collapsible outline of a parsed JSON body: one row per value (the root,
// each member of an object, each element of an array) with its key or index
// and a short text of its value. Rows are made when a container is first
// expanded, so a large body costs nothing until it is opened.
class HXJSONOutlineModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    enum Column { KeyColumn = 0, ValueColumn = 1, ColumnCount = 2 };
    // Characters of a value shown before it is cut with an ellipsis.
    static constexpr int maximumValueLength = 200;

    explicit HXJSONOutlineModel(QObject *parent = nullptr);
    ~HXJSONOutlineModel() override;

    // The tree to show (from HXJSONParser); none empties the outline.
    void setTree(std::shared_ptr<const HXJSONTree> tree);
    const std::shared_ptr<const HXJSONTree> &tree() const { return m_tree; }
    // UTF-16 range of the row's value in the parsed text.
    std::pair<qint64, qint64> textRange(const QModelIndex &index) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    bool hasChildren(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    // The child nodes of a container; for an object the keys and values alternate.
    const std::vector<qint32> &_children(qint32 container) const;
    bool _isDict(qint32 node) const;
    qint32 _nodeOf(const QModelIndex &index) const;
    int _rowOf(qint32 node) const;
    QString _valueText(qint32 node) const;

    std::shared_ptr<const HXJSONTree> m_tree;
    mutable std::unordered_map<qint32, std::vector<qint32>> m_children;
};
