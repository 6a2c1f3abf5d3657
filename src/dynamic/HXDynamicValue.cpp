#include "HXDynamicValue.h"

#include "HXDynamicLogging.h"
#include "HXDynamicString.h"
#include "HXDynamicValueArchiving.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborStreamWriter>
#include <QCborValue>
#include <QCryptographicHash>
#include <QTimeZone>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString classKey = QStringLiteral("$class");

bool isNumberOrBool(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}

// The value converted to the in-memory form of `type`; invalid when it does
// not fit.
QVariant normalised(const QVariant &value, HXDynamicPropertyType type)
{
    switch (type) {
    case HXDynamicPropertyType::String:
        return value.typeId() == QMetaType::QString ? value : QVariant();
    case HXDynamicPropertyType::Integer:
        if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) {
            const double d = value.toDouble();
            if (!std::isfinite(d))
                return QVariant();
            return QVariant(qint64(std::clamp(d, -9.2e18, 9.2e18)));
        }
        return isNumberOrBool(value) ? QVariant(value.toLongLong()) : QVariant();
    case HXDynamicPropertyType::Boolean:
        return isNumberOrBool(value) ? QVariant(value.toDouble() != 0.0 || value.toLongLong() != 0) : QVariant();
    case HXDynamicPropertyType::Double:
        return isNumberOrBool(value) ? QVariant(value.toDouble()) : QVariant();
    case HXDynamicPropertyType::Date:
        if (value.typeId() == QMetaType::QDateTime && value.toDateTime().isValid())
            return QVariant(value.toDateTime().toUTC());
        return QVariant();
    case HXDynamicPropertyType::Data:
        return value.typeId() == QMetaType::QByteArray ? value : QVariant();
    case HXDynamicPropertyType::KeyValueRows:
        return value.metaType() == QMetaType::fromType<HXDynamicKeyValueRows>() ? value : QVariant();
    case HXDynamicPropertyType::Reference:
        if (value.metaType() == QMetaType::fromType<HXDynamicObjectReference>())
            return value.value<HXDynamicObjectReference>().object ? value : QVariant();
        return QVariant();
    }
    return QVariant();
}

double secondsSince1970(const QDateTime &date)
{
    return double(date.toMSecsSinceEpoch()) / 1000.0;
}

QDateTime dateFromSeconds(double seconds)
{
    if (!std::isfinite(seconds) || std::abs(seconds) > 1e14)
        return QDateTime();
    return QDateTime::fromMSecsSinceEpoch(qint64(std::llround(seconds * 1000.0)), QTimeZone::utc());
}

// Reads one stored property from its CBOR form; invalid when the type does
// not fit.
QVariant decodeProperty(const QCborValue &cbor, HXDynamicPropertyType type)
{
    auto numberOrBool = [&]() -> QVariant {
        if (cbor.isInteger())
            return QVariant(cbor.toInteger());
        if (cbor.isDouble())
            return QVariant(cbor.toDouble());
        if (cbor.isBool())
            return QVariant(cbor.toBool());
        return QVariant();
    };
    switch (type) {
    case HXDynamicPropertyType::String:
    case HXDynamicPropertyType::Reference:
        return cbor.isString() ? QVariant(cbor.toString()) : QVariant();
    case HXDynamicPropertyType::Integer:
    case HXDynamicPropertyType::Boolean:
    case HXDynamicPropertyType::Double:
        return normalised(numberOrBool(), type);
    case HXDynamicPropertyType::Date: {
        if (cbor.isDateTime())
            return normalised(QVariant(cbor.toDateTime()), type);
        if (cbor.isTag() && cbor.tag() == QCborTag(1)) {
            const QCborValue seconds = cbor.taggedValue();
            if (seconds.isInteger() || seconds.isDouble())
                return normalised(QVariant(dateFromSeconds(seconds.toDouble())), type);
        }
        return QVariant();
    }
    case HXDynamicPropertyType::Data:
        return cbor.isByteArray() ? QVariant(cbor.toByteArray()) : QVariant();
    case HXDynamicPropertyType::KeyValueRows: {
        if (!cbor.isArray())
            return QVariant();
        HXDynamicKeyValueRows rows;
        const QCborArray array = cbor.toArray();
        for (const QCborValue &item : array) {
            // A row is [name, value, enabled]; anything else is not one.
            if (!item.isArray() || item.toArray().size() != 3)
                continue;
            const QCborArray fields = item.toArray();
            HXDynamicKeyValueRow row;
            row.name = fields.at(0).isString() ? fields.at(0).toString() : QString();
            row.value = fields.at(1).isString() ? fields.at(1).toString() : QString();
            const QCborValue enabled = fields.at(2);
            if (enabled.isBool())
                row.enabled = enabled.toBool();
            else if (enabled.isInteger())
                row.enabled = enabled.toInteger() != 0;
            else if (enabled.isDouble())
                row.enabled = enabled.toDouble() != 0.0;
            rows.append(row);
        }
        return QVariant::fromValue(rows);
    }
    }
    return QVariant();
}

void writeText(QCborStreamWriter &writer, const QString &text)
{
    writer.append(text);
}

QString describe(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<HXDynamicKeyValueRows>()) {
        QStringList rows;
        for (const HXDynamicKeyValueRow &row : value.value<HXDynamicKeyValueRows>())
            rows.append(u"("_s + row.name + u", "_s + row.value + u", "_s + (row.enabled ? u"1"_s : u"0"_s) + u")"_s);
        return u"("_s + rows.join(u", "_s) + u")"_s;
    }
    if (value.metaType() == QMetaType::fromType<HXDynamicObjectReference>()) {
        HXManagedObject *object = value.value<HXDynamicObjectReference>().object;
        return object ? QStringLiteral("0x%1").arg(quintptr(object), 0, 16) : QStringLiteral("(null)");
    }
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return QStringLiteral("(null)");
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    case QMetaType::QByteArray:
        return u"<"_s + QString::fromLatin1(value.toByteArray().toHex()) + u">"_s;
    default:
        return value.toString();
    }
}

} // namespace

HXDynamicValue::~HXDynamicValue() = default;

bool HXDynamicValue::isKindOfClass(const QString &name) const
{
    return name == className() || name == u"HXDynamicValue"_s;
}

const QList<HXDynamicProperty> &HXDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> none;
    return none;
}

void HXDynamicValue::registerDefaultValues() {}

HXDynamicResult HXDynamicValue::evaluate()
{
    return {};
}

QString HXDynamicValue::displayString() const
{
    return QString();
}

std::optional<QVariantList> HXDynamicValue::contentObjectsFor(const QString &) const
{
    return std::nullopt;
}

std::optional<QString> HXDynamicValue::localizedStringFor(const QString &, const QVariant &) const
{
    return std::nullopt;
}

QString HXDynamicValue::localizedName() const
{
    return HXDynamicValueCatalogue::localizedTitle(className());
}

QStringList HXDynamicValue::keyPathsForValuesAffectingEvaluate() const
{
    QStringList keys;
    for (const HXDynamicProperty &property : dynamicKeyPaths())
        keys.append(property.key);
    return keys;
}

const HXDynamicProperty *HXDynamicValue::propertyForKey(const QString &key) const
{
    for (const HXDynamicProperty &property : dynamicKeyPaths()) {
        if (property.key == key)
            return &property;
    }
    return nullptr;
}

QString HXDynamicValue::dynamicArchivingClassForKey(const QString &key) const
{
    const HXDynamicProperty *property = propertyForKey(key);
    if (!property || property->type != HXDynamicPropertyType::Reference)
        return QString();
    return property->archivingClass;
}

QVariant HXDynamicValue::valueForKey(const QString &key) const
{
    return m_values.value(key);
}

bool HXDynamicValue::setValue(const QString &key, const QVariant &value)
{
    const HXDynamicProperty *property = propertyForKey(key);
    if (!property)
        return false;
    if (!value.isValid()) {
        m_values.remove(key);
        return true;
    }
    const QVariant stored = normalised(value, property->type);
    if (!stored.isValid())
        return false;
    m_values.insert(key, stored);
    return true;
}

QString HXDynamicValue::stringValue(const QString &key) const
{
    const QVariant value = m_values.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString(u""_s);
}

qint64 HXDynamicValue::integerValue(const QString &key) const
{
    return m_values.value(key).toLongLong();
}

bool HXDynamicValue::boolValue(const QString &key) const
{
    return m_values.value(key).toBool();
}

double HXDynamicValue::doubleValue(const QString &key) const
{
    return m_values.value(key).toDouble();
}

QDateTime HXDynamicValue::dateValue(const QString &key) const
{
    return m_values.value(key).toDateTime();
}

QByteArray HXDynamicValue::dataValue(const QString &key) const
{
    return m_values.value(key).toByteArray();
}

HXDynamicKeyValueRows HXDynamicValue::keyValueRowsValue(const QString &key) const
{
    return m_values.value(key).value<HXDynamicKeyValueRows>();
}

HXManagedObject *HXDynamicValue::objectValue(const QString &key) const
{
    return m_values.value(key).value<HXDynamicObjectReference>().object;
}

void HXDynamicValue::setObjectValue(const QString &key, HXManagedObject *object)
{
    setValue(key, object ? QVariant::fromValue(HXDynamicObjectReference{object}) : QVariant());
}

std::optional<QList<HXDynamicChoice>> HXDynamicValue::valueForUndefinedKey(const QString &key) const
{
    const QString suffix = u"Content"_s;
    const qsizetype at = key.lastIndexOf(suffix);
    if (at < 0 || at + suffix.size() != key.size())
        return std::nullopt;
    QString base = key.left(at);
    if (base.size() == 1)
        base = base.toUpper();
    else if (!base.isEmpty())
        base[0] = base.at(0).toUpper();
    const std::optional<QVariantList> objects = contentObjectsFor(base);
    if (!objects)
        return std::nullopt;
    QList<HXDynamicChoice> choices;
    choices.reserve(objects->size());
    for (const QVariant &object : *objects) {
        HXDynamicChoice choice{object, QString()};
        if (isNumberOrBool(object)) {
            if (std::optional<QString> label = localizedStringFor(base, object))
                choice.descriptiveString = *label;
        }
        choices.append(choice);
    }
    return choices;
}

QByteArray HXDynamicValue::keyedArchive() const
{
    struct Entry
    {
        QByteArray sortKey;
        QString key;
        const HXDynamicProperty *property;
        QVariant value;
    };
    std::vector<Entry> entries;
    for (const HXDynamicProperty &property : dynamicKeyPaths()) {
        const QVariant value = m_values.value(property.key);
        if (!value.isValid())
            continue;
        entries.push_back({property.key.toUtf8(), property.key, &property, value});
    }
    std::sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) { return a.sortKey < b.sortKey; });
    // "$class" sorts before every property name that starts with a letter;
    // place it by the same byte order so that the rule holds for any name.
    const QByteArray classSortKey = classKey.toUtf8();
    const auto classPosition = std::lower_bound(entries.begin(), entries.end(), classSortKey,
                                                [](const Entry &e, const QByteArray &k) { return e.sortKey < k; });
    const qsizetype classIndex = classPosition - entries.begin();

    QByteArray bytes;
    QCborStreamWriter writer(&bytes);
    writer.startMap(quint64(entries.size() + 1));
    for (qsizetype i = 0; i <= qsizetype(entries.size()); ++i) {
        if (i == classIndex) {
            writeText(writer, classKey);
            writeText(writer, className());
        }
        if (i == qsizetype(entries.size()))
            break;
        const Entry &entry = entries[size_t(i)];
        writeText(writer, entry.key);
        switch (entry.property->type) {
        case HXDynamicPropertyType::String:
            writeText(writer, entry.value.toString());
            break;
        case HXDynamicPropertyType::Integer:
            writer.append(entry.value.toLongLong());
            break;
        case HXDynamicPropertyType::Boolean:
            writer.append(entry.value.toBool());
            break;
        case HXDynamicPropertyType::Double:
            writer.append(entry.value.toDouble());
            break;
        case HXDynamicPropertyType::Date:
            writer.append(QCborTag(1));
            writer.append(secondsSince1970(entry.value.toDateTime()));
            break;
        case HXDynamicPropertyType::Data:
            writer.append(entry.value.toByteArray());
            break;
        case HXDynamicPropertyType::KeyValueRows: {
            const HXDynamicKeyValueRows rows = entry.value.value<HXDynamicKeyValueRows>();
            writer.startArray(quint64(rows.size()));
            for (const HXDynamicKeyValueRow &row : rows) {
                writer.startArray(3);
                writeText(writer, row.name);
                writeText(writer, row.value);
                writer.append(row.enabled);
                writer.endArray();
            }
            writer.endArray();
            break;
        }
        case HXDynamicPropertyType::Reference:
            writeText(writer,
                      HXDynamicValueArchiving::archivedValueForObject(
                          entry.property->archivingClass, *this, entry.value.value<HXDynamicObjectReference>().object));
            break;
        }
    }
    writer.endMap();
    return bytes;
}

HXDynamicValuePtr HXDynamicValue::valueWithKeyedArchive(const QByteArray &archive)
{
    if (archive.isEmpty())
        return nullptr;
    QCborParserError error;
    const QCborValue root = QCborValue::fromCbor(archive, &error);
    if (error.error != QCborError::NoError || !root.isMap())
        return nullptr;
    const QCborMap map = root.toMap();
    const QCborValue className = map.value(classKey);
    if (!className.isString())
        return nullptr;
    HXDynamicValuePtr value = HXDynamicValueCatalogue::constructBareValue(className.toString());
    if (!value)
        return nullptr;
    for (const HXDynamicProperty &property : value->dynamicKeyPaths()) {
        try {
            const QCborValue stored = map.value(property.key);
            if (stored.isUndefined() || stored.isNull())
                continue;
            QVariant decoded = decodeProperty(stored, property.type);
            if (!decoded.isValid())
                continue;
            if (property.type == HXDynamicPropertyType::Reference) {
                if (!HXDynamicValueArchiving::conformsToProtocol(property.archivingClass))
                    continue;
                HXManagedObject *object = HXDynamicValueArchiving::objectForArchivedValue(property.archivingClass,
                                                                                          *value, decoded.toString());
                if (!object)
                    continue;
                decoded = QVariant::fromValue(HXDynamicObjectReference{object});
            }
            value->setValue(property.key, decoded);
        } catch (...) {
            qCWarning(lcKeaDynamic) << "Skipped an unreadable property" << property.key << "of" << value->className();
        }
    }
    return value;
}

QString HXDynamicValue::uniqueIdentifier() const
{
    return QString::fromLatin1(QCryptographicHash::hash(keyedArchive(), QCryptographicHash::Md5).toHex().toUpper());
}

bool HXDynamicValue::isEqual(const HXDynamicValue &other) const
{
    return isKindOfClass(other.className()) && uniqueIdentifier() == other.uniqueIdentifier();
}

QString HXDynamicValue::description() const
{
    QStringList pairs;
    for (const HXDynamicProperty &property : dynamicKeyPaths())
        pairs.append(property.key + u": "_s + describe(m_values.value(property.key)));
    return QStringLiteral("<%1: 0x%2> ").arg(className()).arg(quintptr(this), 0, 16) + pairs.join(u", "_s);
}

QString HXDynamicValue::archivedString() const
{
    HXDynamicString string;
    string.appendAttachment(HXTextAttachment(pasteboardType(), keyedArchive()));
    return HXDynamicValueEngine::archiveAttributedString(string);
}

HXDynamicValuePtr HXDynamicValue::copy() const
{
    HXDynamicValuePtr value = HXDynamicValueCatalogue::constructBareValue(className());
    if (value)
        value->m_values = m_values;
    return value;
}

QString HXDynamicValue::evaluatedStringWithStringEncoding(HXStringEncoding encoding)
{
    return HXDynamicValueEngine::evaluateDynamicValue(shared_from_this(), HXDynamicResultClass::String, encoding)
        .string();
}

QByteArray HXDynamicValue::evaluatedDataWithStringEncoding(HXStringEncoding encoding)
{
    return HXDynamicValueEngine::evaluateDynamicValue(shared_from_this(), HXDynamicResultClass::Data, encoding).data();
}
