#pragma once

#include <QAbstractTableModel>
#include <QPointer>

class HXDocumentCommands;
class HXEnvironment;
class HXEnvironmentVariable;

// The variables of a document as rows and its environments as columns
// (after the column of variable names). Cells show a value's display text;
// typing renames a variable or changes a value, each one named step through
// the document's commands. The current environment's header is marked.
class HXEnvironmentTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    explicit HXEnvironmentTableModel(HXDocumentCommands *commands, QObject *parent = nullptr);

    HXEnvironment *environmentForColumn(int column) const;
    HXEnvironmentVariable *variableForRow(int row) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    void reload();

private:
    QPointer<HXDocumentCommands> m_commands;
    QList<HXEnvironment *> m_environments;
    QList<HXEnvironmentVariable *> m_variables;
};
