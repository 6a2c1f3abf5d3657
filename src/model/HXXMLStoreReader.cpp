#include "HXXMLStoreReader.h"

#include "HXFileStamp.h"
#include "HXManagedObject.h"
#include "HXManagedObjectContext.h"
#include "HXManagedObjectModel.h"
#include "HXXMLStoreWriter.h"

#include <QDateTime>
#include <QFile>
#include <QStringDecoder>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <sys/stat.h>

HXResult<void> HXXMLStoreReader::read(HXManagedObjectContext *context)
{
    if (m_end - m_at >= 5 && std::memcmp(m_at, "<?xml", 5) == 0) {
        const char *close = static_cast<const char *>(memmem(m_at, size_t(m_end - m_at), "?>", 2));
        if (close == nullptr)
            return fail(HXXMLStore::ForeignFileError, QStringLiteral("this is not a Kea document"));
        m_at = close + 2;
    }
    if (auto skipped = skipMisc(); !skipped)
        return skipped;
    if (m_at >= m_end)
        return fail(HXXMLStore::ForeignFileError, QStringLiteral("this is not a Kea document (it is empty)"));
    auto root = readTag();
    if (!root || root->closing || root->name != "kea-document")
        return fail(HXXMLStore::ForeignFileError, QStringLiteral("this is not a Kea document"), m_begin);
    if (root->attribute("format") != QByteArray::number(HXXMLStoreWriter::formatVersion))
        return fail(HXXMLStore::ModelMismatchError,
                    QStringLiteral("the document format \"%1\" is not one this version of Kea reads")
                        .arg(QString::fromUtf8(root->attribute("format"))));
    if (root->selfClosing)
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("the <metadata> element is missing"));
    // Bytes XML never allows in a document.
    if (const char *control = firstControlCharacter(m_begin, m_end); control != m_end)
        return malformed(QStringLiteral("a control character (byte %1)").arg(static_cast<unsigned char>(*control)),
                         control);

    auto metadataTag = nextTag();
    if (!metadataTag)
        return metadataTag.error();
    if (metadataTag->name != "metadata" || metadataTag->closing || metadataTag->selfClosing)
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("the <metadata> element is missing"),
                    metadataTag->position);
    if (auto result = readMetadata(); !result)
        return result;
    if (context == nullptr)
        return {};

    m_entities.clear();
    for (const HXEntityDescription *entity : m_model->entities())
        m_entities.emplace_back(entity);
    // Room for the objects of a typical document without growing.
    m_objects = HXXMLObjectsById(size_t(m_end - m_at) / 512);
    bool sawIntegrity = false;
    for (;;) {
        auto tag = nextTag();
        if (!tag)
            return tag.error();
        if (tag->closing && tag->name == "kea-document")
            break;
        if (sawIntegrity)
            return fail(HXXMLStore::InvalidContentError, QStringLiteral("content after the <integrity> line"),
                        tag->position);
        if (!tag->closing && tag->name == "object") {
            if (auto result = readObject(*tag, context); !result)
                return result;
        } else if (!tag->closing && tag->name == "integrity" && tag->selfClosing) {
            if (!hasIntegrityLine)
                return fail(HXXMLStore::IntegrityError,
                            QStringLiteral("the <integrity> line is damaged; restore the file from a backup"),
                            tag->position);
            sawIntegrity = true;
        } else {
            return fail(HXXMLStore::InvalidContentError,
                        QStringLiteral("unexpected element <%1%2>")
                            .arg(tag->closing ? QStringLiteral("/") : QString(), QString::fromUtf8(tag->name)),
                        tag->position);
        }
    }
    if (auto skipped = skipMisc(); !skipped)
        return skipped;
    if (m_at != m_end)
        return malformed(QStringLiteral("content after the end of the document"));

    // The table and the ids are larger than the caches, so each lookup
    // waits for memory: for the links a few places on, the slots and the
    // ids to compare are loaded while this one is resolved.
    constexpr size_t lookAhead = 16;
    for (size_t i = 0; i < m_links.size(); ++i) {
        if (i + lookAhead < m_links.size()) {
            m_objects.prefetch(m_links[i + lookAhead].targetHash);
            __builtin_prefetch(m_links[i + lookAhead].target.data());
        }
        if (i + lookAhead / 2 < m_links.size())
            m_objects.prefetchId(m_links[i + lookAhead / 2].targetHash);
        const PendingLink &link = m_links[i];
        HXManagedObject *target = m_objects.value(link.target, link.targetHash);
        if (target == nullptr)
            return fail(HXXMLStore::InvalidContentError,
                        QStringLiteral("reference to a missing object %1").arg(QString::fromUtf8(link.target)),
                        link.position);
        const HXEntityDescription *destination = link.object->entity()->destinationEntity(link.relationship);
        if (!target->entity()->isKindOfEntity(destination))
            return fail(HXXMLStore::InvalidContentError,
                        QStringLiteral("object %1 is a %2, not a %3")
                            .arg(QString::fromUtf8(link.target), target->entityName(), destination->name()),
                        link.position);
        context->linkLoadedObjects(link.object, link.relationship, target);
    }
    return {};
}

HXResult<void> HXXMLStoreReader::readMetadata()
{
    for (;;) {
        auto tag = nextTag();
        if (!tag)
            return tag.error();
        if (tag->closing) {
            if (tag->name != "metadata")
                return malformed(QStringLiteral("</metadata> was expected"), tag->position);
            break;
        }
        if (tag->name == "store-uuid" || tag->name == "model-version") {
            auto text = elementText(*tag);
            if (!text)
                return text.error();
            auto value = decodeString(*text, tag->position);
            if (!value)
                return value.error();
            if (tag->name == "store-uuid")
                metadata.storeUUID = *value;
            else
                metadata.versionIdentifiers.append(*value);
        } else if (tag->name == "entity") {
            const QByteArrayView entity = tag->attribute("name");
            const QByteArrayView hash = tag->attribute("hash");
            if (entity.isEmpty() || hash.isEmpty())
                return fail(HXXMLStore::InvalidContentError, QStringLiteral("an <entity> without name or hash"),
                            tag->position);
            metadata.entityVersionHashes.insert(QString::fromUtf8(entity), hash.toByteArray());
            if (auto text = elementText(*tag); !text)
                return text.error();
        } else {
            return fail(HXXMLStore::InvalidContentError,
                        QStringLiteral("unknown metadata element <%1>").arg(QString::fromUtf8(tag->name)),
                        tag->position);
        }
    }
    if (metadata.storeUUID.isEmpty())
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("the store UUID is missing"));
    if (metadata.versionIdentifiers.isEmpty())
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("the model version is missing"));
    return m_model != nullptr ? checkModel(m_at) : HXResult<void>();
}

HXResult<void> HXXMLStoreReader::checkModel(const char *position) const
{
    const QStringList expected = m_model->versionIdentifiers();
    bool known = false;
    for (const QString &identifier : std::as_const(metadata.versionIdentifiers))
        known = known || expected.contains(identifier);
    if (!known)
        return fail(HXXMLStore::ModelMismatchError,
                    QStringLiteral("the document was written with model version %1, which this version of Kea "
                                   "cannot open (it reads %2)")
                        .arg(metadata.versionIdentifiers.join(u", "), expected.join(u", ")),
                    position);
    const QMap<QString, QByteArray> hashes = m_model->entityVersionHashes();
    if (hashes != metadata.entityVersionHashes) {
        for (auto it = hashes.cbegin(); it != hashes.cend(); ++it) {
            if (metadata.entityVersionHashes.value(it.key()) != it.value())
                return fail(HXXMLStore::ModelMismatchError,
                            QStringLiteral("the document's definition of entity %1 differs from this version of "
                                           "Kea's")
                                .arg(it.key()),
                            position);
        }
        return fail(HXXMLStore::ModelMismatchError, QStringLiteral("the document names entities Kea does not know"),
                    position);
    }
    return {};
}

HXResult<QVariant> HXXMLStoreReader::parseValue(const HXAttributeDescription &attribute, const QByteArray &text,
                                                QByteArrayView encoding, const char *position) const
{
    bool ok = encoding.isEmpty() || (attribute.type == HXAttributeType::String && encoding == "utf16le-base64");
    QVariant value;
    const char *first = text.constData();
    const char *last = first + text.size();
    switch (attribute.type) {
    case HXAttributeType::String:
        if (encoding.isEmpty()) {
            QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
            value = QString(decoder.decode(text));
            ok = ok && !decoder.hasError();
        } else if (ok) {
            auto decoded = QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
            ok = bool(decoded) && decoded.decoded.size() % 2 == 0;
            if (ok) {
                QString string(decoded.decoded.size() / 2, Qt::Uninitialized);
                const auto *bytes = reinterpret_cast<const uchar *>(decoded.decoded.constData());
                for (qsizetype i = 0; i < string.size(); ++i)
                    string[i] = QChar(char16_t(bytes[2 * i] | (bytes[2 * i + 1] << 8)));
                value = string;
            }
        }
        break;
    case HXAttributeType::Integer64: {
        qint64 number = 0;
        const auto parsed = std::from_chars(first, last, number);
        ok = ok && parsed.ec == std::errc() && parsed.ptr == last && first != last;
        value = number;
        break;
    }
    case HXAttributeType::UnsignedInteger64: {
        quint64 number = 0;
        const auto parsed = std::from_chars(first, last, number);
        ok = ok && parsed.ec == std::errc() && parsed.ptr == last && first != last;
        value = number;
        break;
    }
    case HXAttributeType::Double:
        if (text == "nan") {
            value = std::nan("");
        } else if (text == "inf" || text == "-inf") {
            value = text.startsWith('-') ? -HUGE_VAL : HUGE_VAL;
        } else {
            double number = 0;
            const auto parsed = std::from_chars(first, last, number);
            ok = ok && parsed.ec == std::errc() && parsed.ptr == last && first != last;
            value = number;
        }
        break;
    case HXAttributeType::Boolean:
        ok = ok && (text == "true" || text == "false");
        value = text == "true";
        break;
    case HXAttributeType::Date: {
        const QDateTime date = QDateTime::fromString(QString::fromLatin1(text), Qt::ISODateWithMs);
        ok = ok && date.isValid() && text.endsWith('Z');
        value = date.toUTC();
        break;
    }
    case HXAttributeType::Binary: {
        auto decoded = QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
        ok = ok && bool(decoded);
        value = decoded.decoded;
        break;
    }
    }
    if (!ok)
        return fail(HXXMLStore::InvalidContentError,
                    QStringLiteral("attribute \"%1\" has a value that is not a %2")
                        .arg(attribute.name, HXAttributeTypeName(attribute.type)),
                    position);
    return value;
}

HXXMLEntityNames *HXXMLStoreReader::entityNamed(QByteArrayView name)
{
    // Objects come grouped by entity: the last one found is the likely one.
    for (size_t step = 0; step < m_entities.size(); ++step) {
        const size_t at = (m_lastEntity + step) % m_entities.size();
        if (m_entities[at].name() == name) {
            m_lastEntity = at;
            return &m_entities[at];
        }
    }
    return nullptr;
}

HXResult<void> HXXMLStoreReader::readObject(const Tag &tag, HXManagedObjectContext *context)
{
    HXXMLEntityNames *names = entityNamed(tag.attribute("entity"));
    const HXEntityDescription *entity = names != nullptr ? names->entity() : nullptr;
    if (entity == nullptr || entity->isAbstract())
        return fail(HXXMLStore::InvalidContentError,
                    QStringLiteral("unknown entity \"%1\"").arg(QString::fromUtf8(tag.attribute("entity"))),
                    tag.position);
    // Counter ids ("p12") of older files keep their number and get a fresh
    // store identifier, so the next save rewrites them; other ids are kept.
    const QByteArrayView id = tag.attribute("id");
    const bool legacy = HXXMLStoreWriter::isLegacyIdentifier(id);
    qint64 number = 0;
    if (legacy) {
        const auto parsed = std::from_chars(id.data() + 1, id.data() + id.size(), number);
        if (parsed.ec != std::errc() || number <= 0)
            number = 0;
    } else if (id.size() <= 64 && std::all_of(id.begin(), id.end(), [](char c) {
                   return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
               })) {
        number = ++m_lastNumber;
    }
    if (id.isEmpty() || number <= 0)
        return fail(HXXMLStore::InvalidContentError,
                    QStringLiteral("invalid object id \"%1\"").arg(QString::fromUtf8(id)), tag.position);
    HXManagedObject *object =
        m_objects.value(id) == nullptr
            ? context->insertLoadedObject(entity, number, legacy ? QByteArray() : id.toByteArray())
            : nullptr;
    if (object == nullptr)
        return fail(HXXMLStore::InvalidContentError,
                    QStringLiteral("object id %1 is used twice").arg(QString::fromUtf8(id)), tag.position);
    m_objects.insert(id, object);
    if (tag.selfClosing)
        return {};

    QVarLengthArray<bool, 16> seenAttributes(entity->attributes().size(), false);
    QVarLengthArray<bool, 16> seenRelationships(entity->relationships().size(), false);
    for (;;) {
        auto child = nextTag();
        if (!child)
            return child.error();
        if (child->closing) {
            if (child->name != "object")
                return malformed(QStringLiteral("</object> was expected"), child->position);
            return {};
        }
        const QByteArrayView nameBytes = child->attribute("name");
        // Only for messages.
        const auto name = [nameBytes] { return QString::fromUtf8(nameBytes); };
        if (child->name == "attribute") {
            const int index = names->attributeIndex(nameBytes);
            if (index < 0)
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("entity %1 has no attribute \"%2\"").arg(entity->name(), name()),
                            child->position);
            if (seenAttributes[index])
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("attribute \"%1\" appears twice").arg(name()), child->position);
            seenAttributes[index] = true;
            const HXAttributeDescription &description = entity->attributes().at(index);
            if (child->attribute("type") != names->attributeType(index))
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("attribute \"%1\" should have type %2")
                                .arg(name(), HXAttributeTypeName(description.type)),
                            child->position);
            const QByteArrayView encoding = child->attribute("encoding");
            auto text = elementText(*child);
            if (!text)
                return text.error();
            auto value = parseValue(description, *text, encoding, child->position);
            if (!value)
                return value.error();
            context->setLoadedAttribute(object, index, *value);
        } else if (child->name == "relationship") {
            const int index = names->relationshipIndex(nameBytes);
            if (index < 0)
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("entity %1 stores no relationship \"%2\"").arg(entity->name(), name()),
                            child->position);
            if (seenRelationships[index])
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("relationship \"%1\" appears twice").arg(name()), child->position);
            seenRelationships[index] = true;
            int count = 0;
            const QByteArrayView targets = child->attribute("to");
            for (qsizetype from = 0; from < targets.size();) {
                qsizetype space = targets.indexOf(' ', from);
                if (space < 0)
                    space = targets.size();
                const QByteArrayView target = targets.sliced(from, space - from);
                from = space + 1;
                if (target.isEmpty())
                    continue;
                if (target.size() > 64)
                    return fail(HXXMLStore::InvalidContentError,
                                QStringLiteral("invalid object reference \"%1\"").arg(QString::fromUtf8(target)),
                                child->position);
                m_links.push_back({object, index, target, HXXMLObjectsById::hashOf(target), child->position});
                ++count;
            }
            if (!entity->relationships().at(index).toMany && count != 1)
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("to-one relationship \"%1\" must name exactly one object").arg(name()),
                            child->position);
            if (auto text = elementText(*child); !text)
                return text.error();
        } else {
            return fail(HXXMLStore::InvalidContentError,
                        QStringLiteral("unknown element <%1> in an object").arg(QString::fromUtf8(child->name)),
                        child->position);
        }
    }
}

HXResult<void> HXXMLStoreReader::checkIntegrity(const QByteArray &data, const QString &name, bool *present,
                                                bool *matches)
{
    *present = false;
    *matches = true;
    const QByteArray marker = HXXMLStoreWriter::integrityMarker();
    const QByteArray documentEnd = HXXMLStoreWriter::documentEnd();
    // The last marker in the file, found with memmem, which is much faster
    // than a search from the end.
    qsizetype at = -1;
    for (const char *from = data.constData(), *end = from + data.size();;) {
        const void *found = memmem(from, size_t(end - from), marker.constData(), size_t(marker.size()));
        if (found == nullptr)
            break;
        at = static_cast<const char *>(found) - data.constData();
        from = static_cast<const char *>(found) + 1;
    }
    if (at < 0)
        return {};
    const qsizetype hashStart = at + marker.size();
    const QByteArray stated = data.mid(hashStart, 64);
    const bool wellFormed = data.size() == hashStart + 64 + documentEnd.size() && data.endsWith(documentEnd) &&
                            std::all_of(stated.begin(), stated.end(),
                                        [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
    if (!wellFormed)
        return HXXMLStore::error(HXXMLStore::IntegrityError,
                                 QStringLiteral("%1: the end of the file is damaged (after the <integrity> line); "
                                                "restore it from a backup")
                                     .arg(name));
    *present = true;
    *matches = HXFileStamp::digestOf(QByteArrayView(data.constData(), at + 1)).toHex() == stated;
    return {};
}

HXResult<void> HXXMLStoreReader::checkMergeMarkers(const QByteArray &data, const QString &name)
{
    qint64 line = 1;
    for (qsizetype start = 0; start < data.size(); ++line) {
        qsizetype end = data.indexOf('\n', start);
        if (end < 0)
            end = data.size();
        const QByteArrayView text(data.constData() + start, end - start);
        // Lines of a document start with white space or "<"; the markers'
        // own first bytes are tested first.
        const char first = text.isEmpty() ? '\0' : text.front();
        const bool candidate = first == '<' || first == '=' || first == '>' || first == '|';
        for (const char *marker : {"<<<<<<<", "=======", ">>>>>>>", "|||||||"}) {
            if (candidate && text.startsWith(marker) &&
                (text.size() == 7 || text.at(7) == ' ' || text.at(7) == '\r' || text.at(7) == '\t'))
                return HXXMLStore::error(
                    HXXMLStore::MergeConflictError,
                    QStringLiteral("%1:%2: the document holds an unresolved merge conflict (a \"%3\" line from "
                                   "git); resolve the conflict in the file, or take one side of it, and open it "
                                   "again")
                        .arg(name)
                        .arg(line)
                        .arg(QLatin1String(marker)));
        }
        start = end + 1;
    }
    return {};
}

HXResult<QByteArray> HXXMLStoreReader::readWholeFile(const QString &path, HXFileStamp *stamp)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return HXXMLStore::error(HXXMLStore::ReadError,
                                 QStringLiteral("%1: cannot open the document: %2").arg(path, file.errorString()));
    struct stat status
    {};
    const bool known = ::fstat(file.handle(), &status) == 0;
    QByteArray data = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return HXXMLStore::error(HXXMLStore::ReadError,
                                 QStringLiteral("%1: cannot read the document: %2").arg(path, file.errorString()));
    if (stamp != nullptr)
        *stamp = known ? HXFileStamp(status, HXFileStamp::digestOf(data)) : HXFileStamp();
    return data;
}
