#include "HXKeyValueTableModel.h"

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDynamicValueEngine.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"

#include <QFont>
#include <QGuiApplication>
#include <QPalette>

HXKeyValueTableModel::HXKeyValueTableModel(HXDocumentCommands *commands, QObject *parent)
    : QAbstractTableModel(parent), m_commands(commands)
{
    if (commands->document())
        connect(commands->document()->managedObjectContext(), &HXManagedObjectContext::objectsDidChange, this,
                &HXKeyValueTableModel::_objectsDidChange);
}

void HXKeyValueTableModel::setOwner(HXManagedObject *owner, const QString &relationship)
{
    beginResetModel();
    m_owner = owner;
    m_relationship = relationship;
    m_inherited.clear();
    m_rows = owner ? HXKeyValue::keyValuesForRelationship(relationship, owner) : QList<HXKeyValue *>();
    endResetModel();
}

void HXKeyValueTableModel::setInheritedRows(const QList<HXKeyValue *> &rows)
{
    beginResetModel();
    m_inherited = rows;
    endResetModel();
}

void HXKeyValueTableModel::reload()
{
    beginResetModel();
    if (m_owner != nullptr && !m_owner->isLive())
        m_owner = nullptr;
    m_rows = m_owner ? HXKeyValue::keyValuesForRelationship(m_relationship, m_owner) : QList<HXKeyValue *>();
    m_inherited.removeIf([](HXKeyValue *row) { return !row->isLive(); });
    endResetModel();
}

void HXKeyValueTableModel::_objectsDidChange(const HXManagedObjectChanges &changes)
{
    for (const QSet<HXManagedObject *> *set : {&changes.inserted, &changes.updated, &changes.deleted}) {
        for (HXManagedObject *object : *set) {
            if (object == m_owner || dynamic_cast<HXKeyValue *>(object) != nullptr) {
                reload();
                return;
            }
        }
    }
}

bool HXKeyValueTableModel::_hasBlankRow() const
{
    return !m_rows.isEmpty() && m_rows.last()->isBlank();
}

HXKeyValue *HXKeyValueTableModel::keyValueForRow(int row) const
{
    return row >= 0 && row < m_rows.size() ? m_rows.at(row) : nullptr;
}

bool HXKeyValueTableModel::isInheritedRow(int row) const
{
    const int first = int(m_rows.size()) + (_hasBlankRow() ? 0 : 1);
    return row >= first && row < first + m_inherited.size();
}

int HXKeyValueTableModel::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid() || m_owner == nullptr)
        return 0;
    return int(m_rows.size() + (_hasBlankRow() ? 0 : 1) + m_inherited.size());
}

int HXKeyValueTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant HXKeyValueTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const int row = index.row();
    HXKeyValue *keyValue = keyValueForRow(row);
    const bool inherited = isInheritedRow(row);
    if (inherited)
        keyValue = m_inherited.at(row - (rowCount() - int(m_inherited.size())));
    const bool blank = keyValue == nullptr || keyValue->isBlank();
    if (index.column() == EnabledColumn) {
        if (role == Qt::CheckStateRole && !(blank && !inherited))
            return keyValue->enabled() ? Qt::Checked : Qt::Unchecked;
        return {};
    }
    const QString stored =
        keyValue == nullptr ? QString() : (index.column() == NameColumn ? keyValue->name() : keyValue->value());
    switch (role) {
    case Qt::DisplayRole:
        return HXDynamicValueEngine::displayStringFromString(stored);
    case Qt::EditRole: {
        const HXDynamicString string = HXDynamicValueEngine::unarchiveAttributedString(stored);
        return string.attachments().isEmpty() ? string.string() : QVariant();
    }
    case StoredStringRole:
        return stored;
    case HasTokensRole:
        return !HXDynamicValueEngine::unarchiveAttributedString(stored).attachments().isEmpty();
    case Qt::ForegroundRole:
        if (inherited || (keyValue != nullptr && !keyValue->enabled()))
            return QGuiApplication::palette().brush(QPalette::Disabled, QPalette::Text);
        return {};
    case Qt::ToolTipRole:
        return inherited ? tr("Inherited from the folder") : QVariant();
    default:
        return {};
    }
}

bool HXKeyValueTableModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || !m_commands || m_owner == nullptr || isInheritedRow(index.row()))
        return false;
    HXKeyValue *keyValue = keyValueForRow(index.row());
    if (index.column() == EnabledColumn) {
        if (role != Qt::CheckStateRole || keyValue == nullptr)
            return false;
        m_commands->setValueForKey(keyValue, QStringLiteral("enabled"), value.toInt() == Qt::Checked,
                                   value.toInt() == Qt::Checked ? tr("Enable Row") : tr("Disable Row"));
        return true;
    }
    if (role != Qt::EditRole && role != StoredStringRole)
        return false;
    const QString stored = role == StoredStringRole
                               ? value.toString()
                               : HXDynamicValueEngine::archiveAttributedString(HXDynamicString(value.toString()));
    if (keyValue == nullptr) {
        if (stored.isEmpty())
            return false;
        const bool name = index.column() == NameColumn;
        m_commands->addKeyValue(m_owner, m_relationship, name ? stored : QString(), name ? QString() : stored);
        return true;
    }
    const QString key = index.column() == NameColumn ? QStringLiteral("name") : QStringLiteral("value");
    m_commands->setValueForKey(keyValue, key, stored,
                               index.column() == NameColumn ? tr("Change Name") : tr("Change Value"));
    return true;
}

QVariant HXKeyValueTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case NameColumn:
        return tr("Name");
    case ValueColumn:
        return tr("Value");
    default:
        return QString();
    }
}

Qt::ItemFlags HXKeyValueTableModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    if (isInheritedRow(index.row()))
        return Qt::ItemIsSelectable;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    HXKeyValue *keyValue = keyValueForRow(index.row());
    if (index.column() == EnabledColumn) {
        if (keyValue != nullptr && !keyValue->isBlank())
            flags |= Qt::ItemIsUserCheckable;
    } else if (!data(index, HasTokensRole).toBool()) {
        flags |= Qt::ItemIsEditable;
    }
    return flags;
}

bool HXKeyValueTableModel::removeRows(int row, int count, const QModelIndex &parent)
{
    if (parent.isValid() || count <= 0)
        return false;
    QList<int> rows;
    for (int i = row; i < row + count; ++i)
        rows.append(i);
    return removeRowList(rows);
}

bool HXKeyValueTableModel::removeRowList(const QList<int> &rows)
{
    if (!m_commands)
        return false;
    QList<HXKeyValue *> keyValues;
    for (int row : rows) {
        if (HXKeyValue *keyValue = keyValueForRow(row); keyValue != nullptr && !keyValue->isBlank())
            keyValues.append(keyValue);
    }
    if (keyValues.isEmpty())
        return false;
    m_commands->deleteKeyValues(keyValues);
    return true;
}
