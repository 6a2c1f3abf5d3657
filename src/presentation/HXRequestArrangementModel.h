#pragma once

#include <QAbstractItemModel>
#include <QPersistentModelIndex>

#include <vector>

// The request list arranged: the requests of a request tree (folders
// flattened, in the tree's order) under one header row per method, host or
// last status code. Header rows are not selectable; request rows show and
// edit the tree's data. It follows the tree as it changes.
class HXRequestArrangementModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    // The arrangements of the list; None shows no groups at all.
    enum Arrangement { None = 0, ByMethod = 1, ByHost = 2, ByLastStatus = 3 };
    // True on header rows (which also answer IsFolderRole, as a folder would).
    static constexpr int HeaderRole = Qt::UserRole + 64;

    explicit HXRequestArrangementModel(QObject *parent = nullptr);

    void setSourceModel(QAbstractItemModel *source);
    void setArrangement(int arrangement);
    int arrangement() const { return m_arrangement; }

    // The tree's index of a request row (invalid for a header), and back.
    QModelIndex mapToSource(const QModelIndex &index) const;
    QModelIndex mapFromSource(const QModelIndex &sourceIndex) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

private:
    struct Group
    {
        QString title;
        std::vector<QPersistentModelIndex> requests;
    };
    // The header a request goes under in the current arrangement.
    QString _groupTitle(const QModelIndex &sourceIndex) const;
    void _rebuild();
    void _sourceDataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight);

    QAbstractItemModel *m_source = nullptr;
    int m_arrangement = None;
    std::vector<Group> m_groups;
};
