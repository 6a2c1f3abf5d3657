#include "HXKeyedArchiver.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborStreamReader>
#include <QCborStreamWriter>
#include <QCoreApplication>

#include <algorithm>
#include <vector>

namespace {

void write(QCborStreamWriter &writer, const QCborValue &value)
{
    switch (value.type()) {
    case QCborValue::Integer:
        writer.append(value.toInteger());
        break;
    case QCborValue::ByteArray:
        writer.append(value.toByteArray());
        break;
    case QCborValue::String: {
        const QByteArray utf8 = value.toString().toUtf8();
        writer.appendTextString(utf8.constData(), utf8.size());
        break;
    }
    case QCborValue::Array: {
        const QCborArray array = value.toArray();
        writer.startArray(quint64(array.size()));
        for (const QCborValue &item : array)
            write(writer, item);
        writer.endArray();
        break;
    }
    case QCborValue::Map: {
        const QCborMap map = value.toMap();
        std::vector<std::pair<QByteArray, QCborValue>> keys;
        for (auto it = map.begin(); it != map.end(); ++it)
            keys.emplace_back(it.key().isString() ? it.key().toString().toUtf8() : it.key().toCbor(), it.key());
        std::sort(keys.begin(), keys.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
        writer.startMap(quint64(keys.size()));
        for (const auto &[sortKey, key] : keys) {
            write(writer, key);
            write(writer, map.value(key));
        }
        writer.endMap();
        break;
    }
    case QCborValue::Tag:
        writer.append(value.tag());
        write(writer, value.taggedValue());
        break;
    case QCborValue::False:
        writer.append(false);
        break;
    case QCborValue::True:
        writer.append(true);
        break;
    case QCborValue::Double:
        writer.append(value.toDouble());
        break;
    case QCborValue::DateTime:
        writer.append(QCborTag(1));
        writer.append(double(value.toDateTime().toMSecsSinceEpoch()) / 1000.0);
        break;
    case QCborValue::Undefined:
        writer.append(QCborSimpleType::Undefined);
        break;
    default:
        writer.appendNull();
        break;
    }
}

} // namespace

QByteArray HXKeyedArchiver::archivedDataWithRootObject(const QCborValue &root)
{
    QByteArray bytes;
    QCborStreamWriter writer(&bytes);
    write(writer, root);
    return bytes;
}

HXResult<QCborValue> HXKeyedArchiver::unarchivedObjectWithData(const QByteArray &data)
{
    QCborStreamReader reader(data);
    const QCborValue value = QCborValue::fromCbor(reader);
    // One whole item and nothing after it.
    if (data.isEmpty() || reader.lastError() != QCborError::NoError || reader.currentOffset() != data.size())
        return HXError(QString::fromLatin1(errorDomain), qint64(ErrorCode::Unreadable),
                       QCoreApplication::translate("HXKeyedArchiver", "The archive is not readable (at byte %1).")
                           .arg(reader.currentOffset()));
    return value;
}

QCborValue HXKeyedArchiver::setWithArray(const QCborArray &members)
{
    return QCborValue(QCborTag(setTag), members);
}

bool HXKeyedArchiver::isSet(const QCborValue &value)
{
    return value.isTag() && value.tag() == QCborTag(setTag) && value.taggedValue().isArray();
}

QCborArray HXKeyedArchiver::arrayFromSet(const QCborValue &value)
{
    if (isSet(value))
        return value.taggedValue().toArray();
    return value.isArray() ? value.toArray() : QCborArray();
}
