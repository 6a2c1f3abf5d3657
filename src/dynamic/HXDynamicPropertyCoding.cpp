#include "HXDynamicPropertyCoding.h"

#include <QCborArray>
#include <QCborStreamWriter>
#include <QCborValue>
#include <QTimeZone>

#include <algorithm>
#include <cmath>

namespace {

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

} // namespace

bool HXDynamicPropertyCoding::isNumberOrBool(const QVariant &value)
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

QVariant HXDynamicPropertyCoding::normalised(const QVariant &value, HXDynamicPropertyType type)
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

QVariant HXDynamicPropertyCoding::decode(const QCborValue &cbor, HXDynamicPropertyType type)
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

void HXDynamicPropertyCoding::write(QCborStreamWriter &writer, HXDynamicPropertyType type, const QVariant &value)
{
    switch (type) {
    case HXDynamicPropertyType::String:
    case HXDynamicPropertyType::Reference:
        writer.append(value.toString());
        break;
    case HXDynamicPropertyType::Integer:
        writer.append(value.toLongLong());
        break;
    case HXDynamicPropertyType::Boolean:
        writer.append(value.toBool());
        break;
    case HXDynamicPropertyType::Double:
        writer.append(value.toDouble());
        break;
    case HXDynamicPropertyType::Date:
        writer.append(QCborTag(1));
        writer.append(secondsSince1970(value.toDateTime()));
        break;
    case HXDynamicPropertyType::Data:
        writer.append(value.toByteArray());
        break;
    case HXDynamicPropertyType::KeyValueRows: {
        const HXDynamicKeyValueRows rows = value.value<HXDynamicKeyValueRows>();
        writer.startArray(quint64(rows.size()));
        for (const HXDynamicKeyValueRow &row : rows) {
            writer.startArray(3);
            writer.append(row.name);
            writer.append(row.value);
            writer.append(row.enabled);
            writer.endArray();
        }
        writer.endArray();
        break;
    }
    }
}
