#pragma once

#include <QAbstractTableModel>
#include <QPointer>

class HXDocumentCommands;
class HXKeyValue;
class HXManagedObject;
struct HXManagedObjectChanges;

// The rows of a header, parameter or form table: enabled, name, value. The
// table always ends with one blank row for typing; typing into it adds a
// row to the store (and a new blank row appears after it).
class HXKeyValueTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { EnabledColumn = 0, NameColumn = 1, ValueColumn = 2, ColumnCount = 3 };
    enum Role {
        StoredStringRole = Qt::UserRole + 1, // the cell's dynamic string in its stored form
        HasTokensRole,                       // the cell holds tokens (not editable as plain text)
    };

    HXKeyValueTableModel(HXDocumentCommands *commands, QObject *parent = nullptr);

    // The table shown: the rows of `owner` held through `relationship`.
    void setOwner(HXManagedObject *owner, const QString &relationship);
    HXManagedObject *owner() const { return m_owner; }
    // Stored rows of inherited tables shown greyed after the own rows.
    void setInheritedRows(const QList<HXKeyValue *> &rows);

    // The stored row at `row`; null for the trailing blank row and inherited rows.
    HXKeyValue *keyValueForRow(int row) const;
    bool isInheritedRow(int row) const;
    int ownRowCount() const { return int(m_rows.size()); }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool removeRows(int row, int count, const QModelIndex &parent = {}) override;
    // Deletes the stored rows among `rows` as one step.
    bool removeRowList(const QList<int> &rows);

    void reload();

private:
    void _objectsDidChange(const HXManagedObjectChanges &changes);
    bool _hasBlankRow() const;

    QPointer<HXDocumentCommands> m_commands;
    HXManagedObject *m_owner = nullptr;
    QString m_relationship;
    QList<HXKeyValue *> m_rows;
    QList<HXKeyValue *> m_inherited;
};
