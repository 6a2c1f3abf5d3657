#include "HXXMLStoreWriter.h"

#include "HXManagedObject.h"
#include "HXManagedObjectContext.h"
#include "HXManagedObjectModel.h"
#include "HXXMLObjectIds.h"
#include "HXXMLOutputBuffer.h"

#include <QDateTime>
#include <QSet>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>
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

// The reference a character is written as in text and attribute values;
// empty for a character written as it is.
std::string_view escapeOf(char16_t c)
{
    switch (c) {
    case u'&':
        return "&amp;";
    case u'<':
        return "&lt;";
    case u'>':
        return "&gt;";
    case u'"':
        return "&quot;";
    case u'\t':
        return "&#9;";
    case u'\n':
        return "&#10;";
    case u'\r':
        return "&#13;";
    default:
        return {};
    }
}

template <typename Output>
void appendEscaped(Output &out, const QByteArray &utf8)
{
    const auto escaped = [](char c) { return !escapeOf(static_cast<unsigned char>(c)).empty(); };
    if (std::none_of(utf8.begin(), utf8.end(), escaped)) {
        out += utf8;
        return;
    }
    for (const char c : utf8) {
        if (const std::string_view escape = escapeOf(static_cast<unsigned char>(c)); !escape.empty())
            out += QByteArrayView(escape.data(), qsizetype(escape.size()));
        else
            out += c;
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

template <typename Integer>
void appendInteger(HXXMLOutputBuffer &out, Integer value)
{
    char *at = out.reserve(24);
    out.commit(std::to_chars(at, at + 24, value).ptr);
}

// Appends text made only of ASCII that XML carries as it is, escaped, and
// returns true; returns false with `out` unchanged for any other text (and
// for text so long that reserving room for its escapes is not worth it).
bool appendPlainASCII(HXXMLOutputBuffer &out, QStringView text)
{
    // "&quot;" is the longest escape.
    constexpr qsizetype longestEscape = 6;
    if (text.size() > (qsizetype(1) << 16))
        return false;
    char *at = out.reserve(text.size() * longestEscape);
    for (const QChar character : text) {
        const char16_t unit = character.unicode();
        if (unit >= 0x80 || (unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r'))
            return false;
        if (const std::string_view escape = escapeOf(unit); !escape.empty()) {
            std::memcpy(at, escape.data(), escape.size());
            at += escape.size();
        } else {
            *at++ = char(unit);
        }
    }
    out.commit(at);
    return true;
}

void appendString(HXXMLOutputBuffer &out, const QString &text)
{
    out += '>';
    if (appendPlainASCII(out, text))
        return;
    if (isXMLSafe(text)) {
        appendEscaped(out, text.toUtf8());
        return;
    }
    // Control characters or broken surrogates: keep the exact UTF-16.
    out.chop(1);
    QByteArray units(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
    if constexpr (QSysInfo::ByteOrder == QSysInfo::BigEndian) {
        for (qsizetype i = 0; i + 1 < units.size(); i += 2)
            std::swap(units[i], units[i + 1]);
    }
    out += " encoding=\"utf16le-base64\">";
    out += units.toBase64();
}

// What an entity's objects are written with, worked out once per save: the
// fixed start of each line, and which properties go in which order.
struct EntityLayout
{
    struct Attribute
    {
        int index;
        HXAttributeType type;
        QByteArray start; // `  <attribute name="…" type="…"`
    };
    struct Relationship
    {
        int index;
        bool toMany;
        QByteArray start; // `  <relationship name="…" to="`
    };
    QByteArray objectStart;                  // ` <object entity="…" id="`
    std::vector<Attribute> attributes;       // sorted by name
    std::vector<Relationship> relationships; // written side only, sorted by name
};

EntityLayout layoutFor(const HXEntityDescription *entity)
{
    EntityLayout layout;
    layout.objectStart = " <object entity=\"";
    appendEscaped(layout.objectStart, entity->name().toUtf8());
    layout.objectStart += "\" id=\"";
    const auto &attributes = entity->attributes();
    for (int i = 0; i < attributes.size(); ++i) {
        QByteArray start = "  <attribute name=\"";
        appendEscaped(start, attributes.at(i).name.toUtf8());
        start += "\" type=\"" + HXAttributeTypeName(attributes.at(i).type).toLatin1() + '"';
        layout.attributes.push_back({i, attributes.at(i).type, start});
    }
    std::sort(layout.attributes.begin(), layout.attributes.end(), [&attributes](const auto &a, const auto &b) {
        return attributes.at(a.index).name < attributes.at(b.index).name;
    });
    const auto &relationships = entity->relationships();
    for (int i = 0; i < relationships.size(); ++i) {
        if (!HXXMLStoreWriter::writesRelationship(entity, i))
            continue;
        QByteArray start = "  <relationship name=\"";
        appendEscaped(start, relationships.at(i).name.toUtf8());
        start += "\" to=\"";
        layout.relationships.push_back({i, relationships.at(i).toMany, start});
    }
    std::sort(layout.relationships.begin(), layout.relationships.end(), [&relationships](const auto &a, const auto &b) {
        return relationships.at(a.index).name < relationships.at(b.index).name;
    });
    return layout;
}

void appendValue(HXXMLOutputBuffer &out, HXAttributeType type, const QVariant &value)
{
    switch (type) {
    case HXAttributeType::String:
        appendString(out, value.toString());
        break;
    case HXAttributeType::Integer64:
        out += '>';
        appendInteger(out, value.toLongLong());
        break;
    case HXAttributeType::UnsignedInteger64:
        out += '>';
        appendInteger(out, value.toULongLong());
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
}

// `targets` is scratch space kept between calls.
void appendObject(HXXMLOutputBuffer &out, const HXManagedObject *object, std::string_view identifier,
                  const EntityLayout &layout, const HXXMLObjectIds &identifiers, std::vector<std::string_view> &targets)
{
    out += layout.objectStart;
    out += identifier;
    out += "\">\n";
    for (const EntityLayout::Attribute &attribute : layout.attributes) {
        const QVariant &value = object->attributeValue(attribute.index);
        if (!value.isValid())
            continue;
        out += attribute.start;
        appendValue(out, attribute.type, value);
        out += "</attribute>\n";
    }
    for (const EntityLayout::Relationship &relationship : layout.relationships) {
        targets.clear();
        if (relationship.toMany) {
            for (const HXManagedObject *target : object->toManyObjects(relationship.index))
                targets.push_back(identifiers.of(target));
            std::sort(targets.begin(), targets.end());
        } else if (const HXManagedObject *target = object->toOneObject(relationship.index)) {
            targets.push_back(identifiers.of(target));
        }
        if (targets.empty())
            continue;
        out += relationship.start;
        for (size_t i = 0; i < targets.size(); ++i) {
            if (i > 0)
                out += ' ';
            out += targets[i];
        }
        out += "\"/>\n";
    }
    out += " </object>\n";
}

// The uuid an object of `entity` may be known by, or an empty array.
QByteArray usableUUID(const HXManagedObject &object, int uuidIndex)
{
    if (uuidIndex < 0)
        return {};
    const QByteArray uuid = object.attributeValue(uuidIndex).toString().toLatin1();
    const bool usable =
        !uuid.isEmpty() && uuid.size() <= 64 && !HXXMLStoreWriter::isLegacyIdentifier(uuid) &&
        std::all_of(uuid.begin(), uuid.end(), [](char c) {
            return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
        });
    return usable ? uuid : QByteArray();
}

int uuidIndexOf(const HXEntityDescription *entity)
{
    return entity->attributeIndex(QStringLiteral("uuid"));
}

} // namespace

std::vector<QByteArray> HXXMLStoreWriter::fileIdentifiers(const QList<HXManagedObject *> &objects)
{
    // Store identifiers are unique in a context. Objects known by theirs come
    // first: those without a usable uuid, and those whose uuid already is
    // their store identifier (read from a file by it). The others are known
    // by their uuid unless it is taken or is another object's store
    // identifier, and else by their own: no two objects share an id, even
    // when two requests share a uuid and the one read by it comes later.
    std::vector<QByteArray> identifiers(size_t(objects.size()));
    std::vector<QByteArray> uuids(size_t(objects.size()));
    QSet<QByteArray> taken;
    QSet<QByteArray> otherStoreIdentifiers;
    taken.reserve(objects.size());
    const HXEntityDescription *entity = nullptr;
    int uuidIndex = -1;
    for (qsizetype i = 0; i < objects.size(); ++i) {
        const HXManagedObject *object = objects.at(i);
        if (object->entity() != entity) {
            entity = object->entity();
            uuidIndex = uuidIndexOf(entity);
        }
        QByteArray uuid = usableUUID(*object, uuidIndex);
        QByteArray storeIdentifier = object->storeIdentifier();
        if (uuid.isEmpty() || uuid == storeIdentifier) {
            taken.insert(storeIdentifier);
            identifiers[size_t(i)] = std::move(storeIdentifier);
        } else {
            otherStoreIdentifiers.insert(storeIdentifier);
            uuids[size_t(i)] = std::move(uuid);
        }
    }
    for (qsizetype i = 0; i < objects.size(); ++i) {
        const QByteArray &uuid = uuids[size_t(i)];
        if (uuid.isEmpty())
            continue;
        QByteArray &identifier = identifiers[size_t(i)];
        identifier =
            taken.contains(uuid) || otherStoreIdentifiers.contains(uuid) ? objects.at(i)->storeIdentifier() : uuid;
        taken.insert(identifier);
    }
    return identifiers;
}

QByteArray HXXMLStoreWriter::preferredIdentifier(const HXManagedObject &object)
{
    QByteArray uuid = usableUUID(object, uuidIndexOf(object.entity()));
    return uuid.isEmpty() ? object.storeIdentifier() : uuid;
}

bool HXXMLStoreWriter::isLegacyIdentifier(QByteArrayView identifier)
{
    return identifier.size() > 1 && identifier.front() == 'p' &&
           std::all_of(identifier.begin() + 1, identifier.end(), [](char c) { return c >= '0' && c <= '9'; });
}

void HXXMLStoreWriter::serialize(const HXManagedObjectContext &context, const std::function<void(QByteArrayView)> &sink)
{
    const HXManagedObjectModel *model = context.managedObjectModel();
    // Grouped by entity, the entities by name.
    const QList<HXManagedObject *> objects = context.registeredObjects();
    const std::vector<QByteArray> identifierBytes = fileIdentifiers(objects);
    const HXXMLObjectIds identifiers(objects, identifierBytes);
    // Each entity's objects by their own id: where an object goes depends on
    // nothing that another branch of the document could change, so adding an
    // object adds its lines and changes no other.
    // The first eight bytes of an id, as a number that orders like them,
    // decide almost every comparison without reading the id itself.
    struct Entry
    {
        quint64 prefix;
        std::string_view identifier;
        const HXManagedObject *object;
    };
    std::vector<Entry> entries;
    entries.reserve(size_t(objects.size()));
    for (qsizetype i = 0; i < objects.size(); ++i) {
        const HXManagedObject *object = objects.at(i);
        const std::string_view identifier(identifierBytes[size_t(i)].constData(),
                                          size_t(identifierBytes[size_t(i)].size()));
        quint64 prefix = 0;
        for (size_t i = 0; i < 8; ++i)
            prefix = prefix << 8 | (i < identifier.size() ? static_cast<unsigned char>(identifier[i]) : 0);
        entries.push_back({prefix, identifier, object});
    }
    for (auto run = entries.begin(); run != entries.end();) {
        const HXEntityDescription *entity = run->object->entity();
        const auto runEnd =
            std::find_if(run, entries.end(), [entity](const Entry &entry) { return entry.object->entity() != entity; });
        std::sort(run, runEnd, [](const Entry &a, const Entry &b) {
            return a.prefix != b.prefix ? a.prefix < b.prefix : a.identifier < b.identifier;
        });
        run = runEnd;
    }

    // Written in chunks, so a large document never sits in memory twice.
    constexpr qsizetype chunkSize = 1 << 20;
    HXXMLOutputBuffer out(chunkSize + 64 * 1024);
    auto flush = [&] {
        sink(out.bytes());
        out.clear();
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
    std::vector<std::string_view> targets;
    auto next = entries.cbegin();
    for (const HXEntityDescription *entity : std::as_const(entities)) {
        out += " <!-- ";
        out += entity->name().toUtf8();
        out += " -->\n";
        const EntityLayout layout = layoutFor(entity);
        for (; next != entries.cend() && next->object->entity() == entity; ++next) {
            appendObject(out, next->object, next->identifier, layout, identifiers, targets);
            if (out.size() >= chunkSize)
                flush();
        }
    }
    // Objects of an entity the model does not list (none today) are still
    // written, never dropped.
    for (; next != entries.cend(); ++next)
        appendObject(out, next->object, next->identifier, layoutFor(next->object->entity()), identifiers, targets);
    out += "</kea-document>\n";
    sink(out.bytes());
}
