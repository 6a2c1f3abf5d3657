#include "HXEnvironmentTableModel.h"

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDynamicString.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableValue.h"
#include "HXFetchRequest.h"
#include "HXManagedObjectContext.h"

#include <QFont>

HXEnvironmentTableModel::HXEnvironmentTableModel(HXDocumentCommands *commands, QObject *parent)
    : QAbstractTableModel(parent), m_commands(commands)
{
    HXDocument *document = commands->document();
    connect(document->managedObjectContext(), &HXManagedObjectContext::objectsDidChange, this,
            &HXEnvironmentTableModel::reload);
    connect(document, &HXDocument::currentEnvironmentChanged, this, [this] {
        if (columnCount() > 1)
            Q_EMIT headerDataChanged(Qt::Horizontal, 1, columnCount() - 1);
    });
    reload();
}

void HXEnvironmentTableModel::reload()
{
    beginResetModel();
    m_environments.clear();
    m_variables.clear();
    if (m_commands) {
        HXManagedObjectContext *context = m_commands->document()->managedObjectContext();
        m_environments = HXEnvironment::environmentsSortedByName(context);
        HXFetchRequest fetch(HXEnvironmentVariable::staticEntityName());
        fetch.sortBy(QStringLiteral("name"));
        for (HXManagedObject *object : context->executeFetchRequest(fetch).valueOr({}))
            m_variables.append(static_cast<HXEnvironmentVariable *>(object));
    }
    endResetModel();
}

HXEnvironment *HXEnvironmentTableModel::environmentForColumn(int column) const
{
    return column >= 1 && column <= m_environments.size() ? m_environments.at(column - 1) : nullptr;
}

HXEnvironmentVariable *HXEnvironmentTableModel::variableForRow(int row) const
{
    return row >= 0 && row < m_variables.size() ? m_variables.at(row) : nullptr;
}

int HXEnvironmentTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_variables.size());
}

int HXEnvironmentTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_environments.size()) + 1;
}

QVariant HXEnvironmentTableModel::data(const QModelIndex &index, int role) const
{
    HXEnvironmentVariable *variable = variableForRow(index.row());
    if (variable == nullptr || (role != Qt::DisplayRole && role != Qt::EditRole))
        return {};
    if (index.column() == 0)
        return variable->name();
    HXEnvironment *environment = environmentForColumn(index.column());
    HXEnvironmentVariableValue *value = environment ? environment->valueForVariable(variable) : nullptr;
    if (value == nullptr)
        return QString();
    return role == Qt::EditRole ? value->value() : HXDynamicValueEngine::displayStringFromString(value->value());
}

bool HXEnvironmentTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    HXEnvironmentVariable *variable = variableForRow(index.row());
    if (variable == nullptr || role != Qt::EditRole || !m_commands)
        return false;
    if (index.column() == 0) {
        const QString name = value.toString().trimmed();
        if (name.isEmpty())
            return false;
        m_commands->setValueForKey(variable, QStringLiteral("name"), name, tr("Rename Variable"));
        return true;
    }
    HXEnvironment *environment = environmentForColumn(index.column());
    HXEnvironmentVariableValue *stored = environment ? environment->valueForVariable(variable) : nullptr;
    if (stored == nullptr)
        return false;
    m_commands->setValueForKey(stored, QStringLiteral("value"),
                               HXDynamicValueEngine::archiveAttributedString(HXDynamicString(value.toString())),
                               tr("Change Value"));
    return true;
}

QVariant HXEnvironmentTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    HXEnvironment *environment = environmentForColumn(section);
    const bool current =
        environment != nullptr && m_commands && environment == m_commands->document()->currentEnvironment();
    if (role == Qt::DisplayRole)
        return section == 0 ? tr("Variable") : environment ? environment->name() : QVariant();
    if (role == Qt::FontRole && current) {
        QFont bold;
        bold.setBold(true);
        return bold;
    }
    if (role == Qt::ToolTipRole && current)
        return tr("The current environment");
    return {};
}

Qt::ItemFlags HXEnvironmentTableModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    // Values holding tokens are edited in their own field, not as text.
    const QString stored = data(index, Qt::EditRole).toString();
    if (index.column() == 0 || HXDynamicValueEngine::unarchiveAttributedString(stored).attachments().isEmpty())
        flags |= Qt::ItemIsEditable;
    return flags;
}
