#include "HXXMLStoreWriter.h"

#include "HXManagedObject.h"
#include "HXManagedObjectContext.h"
#include "HXManagedObjectModel.h"

#include <QDateTime>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

QByteArray HXXMLStoreWriter::integrityMarker()
{
    return QByteArrayLiteral("\n <integrity sha256=\"");
}

QByteArray HXXMLStoreWriter::documentEnd()
{
    return QByteArrayLiteral("\"/>\n</kea-document>\n");
}

bool HXXMLStoreWriter::writesRelationship(const HXEntityDescription *entity, int index)
{
    const HXRelationshipDescription &relationship = entity->relationships().at(index);
    const int inverse = entity->inverseIndex(index);
    if (inverse < 0)
        return true;
    const HXRelationshipDescription &other = entity->destinationEntity(index)->relationships().at(inverse);
    if (relationship.toMany != other.toMany)
        return !relationship.toMany;
    return relationship.name <= other.name;
}

namespace {

// Whether XML 1.0 can carry the text as character data (with &#9; &#10;
// &#13; for the white space it would otherwise normalise).
bool isXMLSafe(const QString &text)
{
    const qsizetype length = text.size();
    for (qsizetype i = 0; i < length; ++i) {
        const char16_t unit = text.at(i).unicode();
        if (unit < 0x20) {
            if (unit != u'\t' && unit != u'\n' && unit != u'\r')
                return false;
        } else if (unit == 0xFFFE || unit == 0xFFFF) {
            return false;
        } else if (QChar::isHighSurrogate(unit)) {
            if (i + 1 >= length || !QChar::isLowSurrogate(text.at(i + 1).unicode()))
                return false;
            ++i;
        } else if (QChar::isLowSurrogate(unit)) {
            return false;
        }
    }
    return true;
}

void appendEscaped(QByteArray &out, const QByteArray &utf8)
{
    const bool plain = std::none_of(utf8.begin(), utf8.end(), [](char c) {
        return c == '&' || c == '<' || c == '>' || c == '"' || c == '\t' || c == '\n' || c == '\r';
    });
    if (plain) {
        out += utf8;
        return;
    }
    for (const char c : utf8) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\t':
            out += "&#9;";
            break;
        case '\n':
            out += "&#10;";
            break;
        case '\r':
            out += "&#13;";
            break;
        default:
            out += c;
        }
    }
}

QByteArray formatDouble(double value)
{
    if (std::isnan(value))
        return "nan";
    if (std::isinf(value))
        return value > 0 ? "inf" : "-inf";
    return QByteArray::number(value, 'g', 17);
}

struct EntityLayout
{
    QList<int> attributes;    // sorted by name
    QList<int> relationships; // written side only, sorted by name
};

EntityLayout layoutFor(const HXEntityDescription *entity)
{
    EntityLayout layout;
    for (int i = 0; i < entity->attributes().size(); ++i)
        layout.attributes.append(i);
    std::sort(layout.attributes.begin(), layout.attributes.end(),
              [entity](int a, int b) { return entity->attributes().at(a).name < entity->attributes().at(b).name; });
    for (int i = 0; i < entity->relationships().size(); ++i) {
        if (HXXMLStoreWriter::writesRelationship(entity, i))
            layout.relationships.append(i);
    }
    std::sort(layout.relationships.begin(), layout.relationships.end(), [entity](int a, int b) {
        return entity->relationships().at(a).name < entity->relationships().at(b).name;
    });
    return layout;
}

void appendAttribute(QByteArray &out, const HXAttributeDescription &attribute, const QVariant &value)
{
    out += "  <attribute name=\"";
    appendEscaped(out, attribute.name.toUtf8());
    out += "\" type=\"";
    out += HXAttributeTypeName(attribute.type).toLatin1();
    out += '"';
    switch (attribute.type) {
    case HXAttributeType::String: {
        const QString text = value.toString();
        if (isXMLSafe(text)) {
            out += '>';
            appendEscaped(out, text.toUtf8());
        } else {
            // Control characters or broken surrogates: keep the exact UTF-16.
            QByteArray units(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
            if constexpr (QSysInfo::ByteOrder == QSysInfo::BigEndian) {
                for (qsizetype i = 0; i + 1 < units.size(); i += 2)
                    std::swap(units[i], units[i + 1]);
            }
            out += " encoding=\"utf16le-base64\">";
            out += units.toBase64();
        }
        break;
    }
    case HXAttributeType::Integer64:
        out += '>';
        out += QByteArray::number(value.toLongLong());
        break;
    case HXAttributeType::UnsignedInteger64:
        out += '>';
        out += QByteArray::number(value.toULongLong());
        break;
    case HXAttributeType::Double:
        out += '>';
        out += formatDouble(value.toDouble());
        break;
    case HXAttributeType::Boolean:
        out += value.toBool() ? ">true" : ">false";
        break;
    case HXAttributeType::Date:
        out += '>';
        out += value.toDateTime().toUTC().toString(Qt::ISODateWithMs).toLatin1();
        break;
    case HXAttributeType::Binary:
        out += '>';
        out += value.toByteArray().toBase64();
        break;
    }
    out += "</attribute>\n";
}

void appendObject(QByteArray &out, const HXManagedObject *object, const EntityLayout &layout,
                  const QHash<const HXManagedObject *, QByteArray> &identifiers)
{
    const HXEntityDescription *entity = object->entity();
    out += " <object entity=\"";
    appendEscaped(out, entity->name().toUtf8());
    out += "\" id=\"" + identifiers.value(object) + "\">\n";
    for (const int index : std::as_const(layout.attributes)) {
        const HXAttributeDescription &attribute = entity->attributes().at(index);
        const QVariant &value = object->attributeValue(index);
        if (value.isValid())
            appendAttribute(out, attribute, value);
    }
    for (const int index : std::as_const(layout.relationships)) {
        const HXRelationshipDescription &relationship = entity->relationships().at(index);
        QList<QByteArray> targets;
        if (relationship.toMany) {
            for (const HXManagedObject *target : object->toManyObjects(index))
                targets.append(identifiers.value(target));
            std::sort(targets.begin(), targets.end());
        } else if (const HXManagedObject *target = object->toOneObject(index)) {
            targets.append(identifiers.value(target));
        }
        if (targets.isEmpty())
            continue;
        out += "  <relationship name=\"";
        appendEscaped(out, relationship.name.toUtf8());
        out += "\" to=\"" + targets.join(' ') + "\"/>\n";
    }
    out += " </object>\n";
}

} // namespace

QHash<const HXManagedObject *, QByteArray> HXXMLStoreWriter::fileIdentifiers(const QList<HXManagedObject *> &objects)
{
    QHash<const HXManagedObject *, QByteArray> identifiers;
    QSet<QByteArray> taken;
    identifiers.reserve(objects.size());
    for (const HXManagedObject *object : objects) {
        // An object with a uuid (requests, variables) is known by it, as long
        // as it is usable in the file and no other object claims it.
        QByteArray identifier = preferredIdentifier(*object);
        if (taken.contains(identifier))
            identifier.clear();
        if (identifier.isEmpty())
            identifier = object->storeIdentifier();
        taken.insert(identifier);
        identifiers.insert(object, identifier);
    }
    return identifiers;
}

QByteArray HXXMLStoreWriter::preferredIdentifier(const HXManagedObject &object)
{
    const int uuidIndex = object.entity()->attributeIndex(QStringLiteral("uuid"));
    if (uuidIndex >= 0) {
        const QByteArray uuid = object.attributeValue(uuidIndex).toString().toLatin1();
        const bool usable =
            !uuid.isEmpty() && uuid.size() <= 64 && !isLegacyIdentifier(uuid) &&
            std::all_of(uuid.begin(), uuid.end(), [](char c) {
                return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
            });
        if (usable)
            return uuid;
    }
    return object.storeIdentifier();
}

bool HXXMLStoreWriter::isLegacyIdentifier(QByteArrayView identifier)
{
    return identifier.size() > 1 && identifier.front() == 'p' &&
           std::all_of(identifier.begin() + 1, identifier.end(), [](char c) { return c >= '0' && c <= '9'; });
}

void HXXMLStoreWriter::serialize(const HXManagedObjectContext &context, const std::function<void(QByteArrayView)> &sink)
{
    const HXManagedObjectModel *model = context.managedObjectModel();
    QList<HXManagedObject *> objects = context.registeredObjects();
    const QHash<const HXManagedObject *, QByteArray> identifiers = fileIdentifiers(objects);
    // By entity, then by the object's own id: where an object goes depends on
    // nothing that another branch of the document could change, so adding an
    // object adds its lines and changes no other. The keys are looked up once,
    // not on every comparison.
    struct SortKey
    {
        QString entity;
        QByteArray identifier;
        HXManagedObject *object;
    };
    std::vector<SortKey> keys;
    keys.reserve(size_t(objects.size()));
    for (HXManagedObject *object : objects)
        keys.push_back({object->entity()->name(), identifiers.value(object), object});
    std::sort(keys.begin(), keys.end(), [](const SortKey &a, const SortKey &b) {
        if (const int order = a.entity.compare(b.entity); order != 0)
            return order < 0;
        return a.identifier < b.identifier;
    });
    for (size_t i = 0; i < keys.size(); ++i)
        objects[qsizetype(i)] = keys[i].object;

    // Written in chunks, so a large document never sits in memory twice.
    constexpr qsizetype chunkSize = 1 << 20;
    QByteArray out;
    out.reserve(chunkSize + 64 * 1024);
    auto flush = [&] {
        sink(out);
        out.resize(0);
    };
    out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<kea-document format=\"";
    out += QByteArray::number(formatVersion);
    out += "\">\n <metadata>\n  <store-uuid>";
    appendEscaped(out, context.storeUUID().toUtf8());
    out += "</store-uuid>\n";
    for (const QString &identifier : model->versionIdentifiers()) {
        out += "  <model-version>";
        appendEscaped(out, identifier.toUtf8());
        out += "</model-version>\n";
    }
    const QMap<QString, QByteArray> hashes = model->entityVersionHashes();
    for (auto it = hashes.cbegin(); it != hashes.cend(); ++it) {
        out += "  <entity name=\"";
        appendEscaped(out, it.key().toUtf8());
        out += "\" hash=\"" + it.value() + "\"/>\n";
    }
    out += " </metadata>\n";

    // Each entity's objects follow a line naming the entity, written even
    // when it has none: objects added at the end of one entity's run and at
    // the start of the next are then apart, and branches that add them merge.
    QList<const HXEntityDescription *> entities;
    for (const HXEntityDescription *entity : model->entities()) {
        if (!entity->isAbstract())
            entities.append(entity);
    }
    std::sort(entities.begin(), entities.end(),
              [](const HXEntityDescription *a, const HXEntityDescription *b) { return a->name() < b->name(); });
    qsizetype next = 0;
    for (const HXEntityDescription *entity : std::as_const(entities)) {
        out += " <!-- ";
        out += entity->name().toUtf8();
        out += " -->\n";
        const EntityLayout layout = layoutFor(entity);
        for (; next < objects.size() && objects.at(next)->entity() == entity; ++next) {
            appendObject(out, objects.at(next), layout, identifiers);
            if (out.size() >= chunkSize)
                flush();
        }
    }
    // Objects of an entity the model does not list (none today) are still
    // written, never dropped.
    for (; next < objects.size(); ++next)
        appendObject(out, objects.at(next), layoutFor(objects.at(next)->entity()), identifiers);
    out += "</kea-document>\n";
    sink(out);
}
