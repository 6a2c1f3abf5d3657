#include "HXXMLStore.h"

#include "HXManagedObject.h"
#include "HXManagedObjectContext.h"
#include "HXManagedObjectModel.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QVarLengthArray>

#include <openssl/evp.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QByteArray kIntegrityMarker = QByteArrayLiteral("\n <integrity sha256=\"");
const QByteArray kDocumentEnd = QByteArrayLiteral("\"/>\n</kea-document>\n");
constexpr int kFormatVersion = 1;

QByteArray sha256Hex(QByteArrayView bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), size_t(bytes.size()), digest, &length, EVP_sha256(), nullptr);
    return QByteArray(reinterpret_cast<const char *>(digest), int(length)).toHex();
}

HXError storeError(HXXMLStore::ErrorCode code, const QString &text)
{
    return HXError(QString::fromLatin1(HXXMLStore::errorDomain), code, text);
}

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

// Whether a relationship is written on this side of its pair.
bool writesRelationship(const HXEntityDescription *entity, int index)
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
        if (writesRelationship(entity, i))
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

// ---- reading ----

// A strict reader of the XML that serialize() writes, over the UTF-8 bytes:
// elements, attributes in double or single quotes, character and entity
// references, comments and white space between elements. Anything else is an
// error naming the line.
class Reader
{
public:
    Reader(const QByteArray &data, const QString &name, const HXManagedObjectModel *model)
        : m_begin(data.constData()), m_at(data.constData()), m_end(data.constData() + data.size()), m_name(name),
          m_model(model)
    {}

    bool integrityChecked = false;
    HXStoreMetadata metadata;

    // Reads the whole document into `context` (metadata only when null).
    HXResult<void> read(HXManagedObjectContext *context);

private:
    struct Tag
    {
        QByteArrayView name;
        bool closing = false;
        bool selfClosing = false;
        const char *position = nullptr;
        QVarLengthArray<std::pair<QByteArrayView, QByteArrayView>, 4> attributes;

        QByteArrayView attribute(QByteArrayView key) const
        {
            for (const auto &[name, value] : attributes) {
                if (name == key)
                    return value;
            }
            return {};
        }
        bool hasAttribute(QByteArrayView key) const
        {
            for (const auto &attribute : attributes) {
                if (attribute.first == key)
                    return true;
            }
            return false;
        }
    };
    struct PendingLink
    {
        HXManagedObject *object;
        int relationship;
        qint64 target;
        const char *position;
    };

    qint64 lineAt(const char *position) const { return 1 + std::count(m_begin, position, '\n'); }
    HXError fail(HXXMLStore::ErrorCode code, const QString &what, const char *position = nullptr) const
    {
        return storeError(code,
                          QStringLiteral("%1:%2: %3").arg(m_name).arg(lineAt(position ? position : m_at)).arg(what));
    }
    HXError malformed(const QString &what, const char *position = nullptr) const
    {
        return fail(HXXMLStore::MalformedError,
                    QStringLiteral("the file is not well-formed XML (%1); it may be truncated or damaged — restore "
                                   "it from a backup")
                        .arg(what),
                    position);
    }

    static bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
    static bool isNameChar(char c)
    {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
               c == ':' || c == '.';
    }

    // Skips white space and comments; stops at the next '<' of an element or
    // at text. Fails on an unterminated comment.
    HXResult<void> skipMisc();
    HXResult<Tag> readTag();
    // The decoded text up to the next '<'.
    HXResult<QByteArray> readText();
    HXResult<QByteArray> decode(QByteArrayView raw, const char *position) const;
    HXResult<QString> decodeString(QByteArrayView raw, const char *position) const;
    // Reads the next tag after white space; text there is an error.
    HXResult<Tag> nextTag();
    // Text content of an element whose start tag was just read.
    HXResult<QByteArray> elementText(const Tag &tag);

    HXResult<void> readMetadata();
    HXResult<void> checkModel(const char *position) const;
    HXResult<void> readObject(const Tag &tag, HXManagedObjectContext *context);
    HXResult<QVariant> parseValue(const HXAttributeDescription &attribute, const QByteArray &text,
                                  QByteArrayView encoding, const char *position) const;

    const char *m_begin;
    const char *m_at;
    const char *m_end;
    QString m_name;
    const HXManagedObjectModel *m_model;
    QHash<QByteArray, const HXEntityDescription *> m_entities;
    std::vector<PendingLink> m_links;
};

HXResult<void> Reader::skipMisc()
{
    while (m_at < m_end) {
        if (isSpace(*m_at)) {
            ++m_at;
        } else if (m_end - m_at >= 4 && std::memcmp(m_at, "<!--", 4) == 0) {
            const char *close = static_cast<const char *>(memmem(m_at + 4, size_t(m_end - m_at - 4), "-->", 3));
            if (close == nullptr)
                return malformed(QStringLiteral("a comment is not closed"));
            m_at = close + 3;
        } else {
            break;
        }
    }
    return {};
}

HXResult<Reader::Tag> Reader::readTag()
{
    Tag tag;
    tag.position = m_at;
    if (m_at >= m_end || *m_at != '<')
        return malformed(QStringLiteral("an element was expected"));
    ++m_at;
    if (m_at < m_end && *m_at == '/') {
        tag.closing = true;
        ++m_at;
    }
    const char *nameStart = m_at;
    while (m_at < m_end && isNameChar(*m_at))
        ++m_at;
    if (m_at == nameStart)
        return malformed(QStringLiteral("an element has no name"));
    tag.name = QByteArrayView(nameStart, m_at - nameStart);
    for (;;) {
        const char *beforeSpace = m_at;
        while (m_at < m_end && isSpace(*m_at))
            ++m_at;
        if (m_at >= m_end)
            return malformed(QStringLiteral("the file ends inside a tag"));
        if (*m_at == '>') {
            ++m_at;
            return tag;
        }
        if (*m_at == '/' && !tag.closing) {
            if (m_at + 1 >= m_end || m_at[1] != '>')
                return malformed(QStringLiteral("a tag is not closed"));
            m_at += 2;
            tag.selfClosing = true;
            return tag;
        }
        if (tag.closing || m_at == beforeSpace)
            return malformed(QStringLiteral("unexpected characters in a tag"));
        const char *attributeStart = m_at;
        while (m_at < m_end && isNameChar(*m_at))
            ++m_at;
        const QByteArrayView attributeName(attributeStart, m_at - attributeStart);
        while (m_at < m_end && isSpace(*m_at))
            ++m_at;
        if (attributeName.isEmpty() || m_at >= m_end || *m_at != '=')
            return malformed(QStringLiteral("an attribute has no value"));
        ++m_at;
        while (m_at < m_end && isSpace(*m_at))
            ++m_at;
        if (m_at >= m_end || (*m_at != '"' && *m_at != '\''))
            return malformed(QStringLiteral("an attribute value is not quoted"));
        const char quote = *m_at++;
        const char *valueStart = m_at;
        const char *valueEnd = static_cast<const char *>(std::memchr(m_at, quote, size_t(m_end - m_at)));
        if (valueEnd == nullptr)
            return malformed(QStringLiteral("an attribute value is not closed"));
        const QByteArrayView value(valueStart, valueEnd - valueStart);
        if (value.contains('<'))
            return malformed(QStringLiteral("\"<\" inside an attribute value"));
        if (tag.hasAttribute(attributeName))
            return malformed(QStringLiteral("an attribute appears twice in one tag"));
        tag.attributes.append({attributeName, value});
        m_at = valueEnd + 1;
    }
}

HXResult<QByteArray> Reader::decode(QByteArrayView raw, const char *position) const
{
    if (!raw.contains('&'))
        return raw.toByteArray();
    QByteArray out;
    out.reserve(raw.size());
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const char c = raw.at(i);
        if (c != '&') {
            out += c;
            continue;
        }
        const qsizetype semicolon = raw.indexOf(';', i);
        if (semicolon < 0 || semicolon - i > 12)
            return malformed(QStringLiteral("a \"&\" that starts no reference"), position);
        const QByteArrayView reference = raw.sliced(i + 1, semicolon - i - 1);
        i = semicolon;
        if (reference == "amp")
            out += '&';
        else if (reference == "lt")
            out += '<';
        else if (reference == "gt")
            out += '>';
        else if (reference == "quot")
            out += '"';
        else if (reference == "apos")
            out += '\'';
        else if (reference.startsWith('#')) {
            bool ok = false;
            const uint code = reference.startsWith("#x") ? reference.sliced(2).toByteArray().toUInt(&ok, 16)
                                                         : reference.sliced(1).toByteArray().toUInt(&ok, 10);
            const bool allowed = code == 0x9 || code == 0xA || code == 0xD || (code >= 0x20 && code <= 0xD7FF) ||
                                 (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
            if (!ok || !allowed)
                return malformed(QStringLiteral("an invalid character reference"), position);
            const char32_t character = char32_t(code);
            out += QString::fromUcs4(&character, 1).toUtf8();
        } else {
            return malformed(QStringLiteral("an unknown entity \"&%1;\"").arg(QString::fromLatin1(reference)),
                             position);
        }
    }
    return out;
}

HXResult<QString> Reader::decodeString(QByteArrayView raw, const char *position) const
{
    auto bytes = decode(raw, position);
    if (!bytes)
        return bytes.error();
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(*bytes);
    if (decoder.hasError())
        return malformed(QStringLiteral("text that is not valid UTF-8"), position);
    return text;
}

HXResult<QByteArray> Reader::readText()
{
    const char *start = m_at;
    const char *lt = static_cast<const char *>(std::memchr(m_at, '<', size_t(m_end - m_at)));
    m_at = lt != nullptr ? lt : m_end;
    return decode(QByteArrayView(start, m_at - start), start);
}

HXResult<Reader::Tag> Reader::nextTag()
{
    if (auto skipped = skipMisc(); !skipped)
        return skipped.error();
    if (m_at >= m_end)
        return malformed(QStringLiteral("the file ends early"));
    if (*m_at != '<') {
        const char *lt = static_cast<const char *>(std::memchr(m_at, '<', size_t(m_end - m_at)));
        const qsizetype length = std::min<qsizetype>(40, (lt ? lt : m_end) - m_at);
        return fail(HXXMLStore::InvalidContentError,
                    QStringLiteral("unexpected text \"%1\"").arg(QString::fromUtf8(m_at, length)));
    }
    return readTag();
}

HXResult<QByteArray> Reader::elementText(const Tag &tag)
{
    if (tag.selfClosing)
        return QByteArray();
    auto text = readText();
    if (!text)
        return text;
    const char *closeAt = m_at;
    auto closing = readTag();
    if (!closing)
        return closing.error();
    if (!closing->closing || closing->name != tag.name)
        return malformed(QStringLiteral("</%1> was expected").arg(QString::fromLatin1(tag.name)), closeAt);
    return text;
}

HXResult<void> Reader::read(HXManagedObjectContext *context)
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
    if (root->attribute("format") != QByteArray::number(kFormatVersion))
        return fail(HXXMLStore::ModelMismatchError,
                    QStringLiteral("the document format \"%1\" is not one this version of Kea reads")
                        .arg(QString::fromUtf8(root->attribute("format"))));
    if (root->selfClosing)
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("the <metadata> element is missing"));
    // Bytes XML never allows in a document.
    for (const char *p = m_begin; p < m_end; ++p) {
        const auto c = static_cast<unsigned char>(*p);
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
            return malformed(QStringLiteral("a control character (byte %1)").arg(c), p);
    }

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
        m_entities.insert(entity->name().toUtf8(), entity);
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
            if (!integrityChecked)
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

    for (const PendingLink &link : m_links) {
        HXManagedObject *target = context->objectWithNumber(link.target);
        if (target == nullptr)
            return fail(HXXMLStore::InvalidContentError,
                        QStringLiteral("reference to a missing object p%1").arg(link.target), link.position);
        const HXEntityDescription *destination = link.object->entity()->destinationEntity(link.relationship);
        if (!target->entity()->isKindOfEntity(destination))
            return fail(HXXMLStore::InvalidContentError,
                        QStringLiteral("object p%1 is a %2, not a %3")
                            .arg(link.target)
                            .arg(target->entityName(), destination->name()),
                        link.position);
        context->linkLoadedObjects(link.object, link.relationship, target);
    }
    return {};
}

HXResult<void> Reader::readMetadata()
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

HXResult<void> Reader::checkModel(const char *position) const
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

HXResult<QVariant> Reader::parseValue(const HXAttributeDescription &attribute, const QByteArray &text,
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

HXResult<void> Reader::readObject(const Tag &tag, HXManagedObjectContext *context)
{
    const HXEntityDescription *entity = m_entities.value(tag.attribute("entity").toByteArray());
    if (entity == nullptr || entity->isAbstract())
        return fail(HXXMLStore::InvalidContentError,
                    QStringLiteral("unknown entity \"%1\"").arg(QString::fromUtf8(tag.attribute("entity"))),
                    tag.position);
    const QByteArrayView id = tag.attribute("id");
    qint64 number = 0;
    const auto parsed = id.startsWith('p') ? std::from_chars(id.data() + 1, id.data() + id.size(), number)
                                           : std::from_chars_result{id.data(), std::errc::invalid_argument};
    if (parsed.ec != std::errc() || parsed.ptr != id.data() + id.size() || number <= 0)
        return fail(HXXMLStore::InvalidContentError,
                    QStringLiteral("invalid object id \"%1\"").arg(QString::fromUtf8(id)), tag.position);
    HXManagedObject *object = context->insertLoadedObject(entity, number);
    if (object == nullptr)
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("object id p%1 is used twice").arg(number),
                    tag.position);
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
        const QString name = QString::fromUtf8(child->attribute("name"));
        if (child->name == "attribute") {
            const int index = entity->attributeIndex(name);
            if (index < 0)
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("entity %1 has no attribute \"%2\"").arg(entity->name(), name),
                            child->position);
            if (seenAttributes[index])
                return fail(HXXMLStore::InvalidContentError, QStringLiteral("attribute \"%1\" appears twice").arg(name),
                            child->position);
            seenAttributes[index] = true;
            const HXAttributeDescription &description = entity->attributes().at(index);
            if (child->attribute("type") != HXAttributeTypeName(description.type).toLatin1())
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("attribute \"%1\" should have type %2")
                                .arg(name, HXAttributeTypeName(description.type)),
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
            const int index = entity->relationshipIndex(name);
            if (index < 0 || !writesRelationship(entity, index))
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("entity %1 stores no relationship \"%2\"").arg(entity->name(), name),
                            child->position);
            if (seenRelationships[index])
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("relationship \"%1\" appears twice").arg(name), child->position);
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
                qint64 targetNumber = 0;
                const auto result =
                    target.startsWith('p')
                        ? std::from_chars(target.data() + 1, target.data() + target.size(), targetNumber)
                        : std::from_chars_result{target.data(), std::errc::invalid_argument};
                if (result.ec != std::errc() || result.ptr != target.data() + target.size() || targetNumber <= 0)
                    return fail(HXXMLStore::InvalidContentError,
                                QStringLiteral("invalid object reference \"%1\"").arg(QString::fromUtf8(target)),
                                child->position);
                m_links.push_back({object, index, targetNumber, child->position});
                ++count;
            }
            if (!entity->relationships().at(index).toMany && count != 1)
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("to-one relationship \"%1\" must name exactly one object").arg(name),
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

HXResult<void> checkIntegrity(const QByteArray &data, const QString &name, bool *checked)
{
    *checked = false;
    const qsizetype marker = data.lastIndexOf(kIntegrityMarker);
    if (marker < 0)
        return {};
    const qsizetype hashStart = marker + kIntegrityMarker.size();
    const QByteArray stated = data.mid(hashStart, 64);
    const bool wellFormed = data.size() == hashStart + 64 + kDocumentEnd.size() && data.endsWith(kDocumentEnd) &&
                            std::all_of(stated.begin(), stated.end(),
                                        [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
    if (!wellFormed)
        return storeError(HXXMLStore::IntegrityError,
                          QStringLiteral("%1: the end of the file is damaged (after the <integrity> line); restore "
                                         "it from a backup")
                              .arg(name));
    const QByteArray actual = sha256Hex(QByteArrayView(data.constData(), marker + 1));
    if (actual != stated)
        return storeError(HXXMLStore::IntegrityError,
                          QStringLiteral("%1: the file was damaged or changed outside Kea (its checksum does not "
                                         "match); restore it from a backup, or delete its <integrity> line to open "
                                         "it as it is")
                              .arg(name));
    *checked = true;
    return {};
}

HXResult<QByteArray> readWholeFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return storeError(HXXMLStore::ReadError,
                          QStringLiteral("%1: cannot open the document: %2").arg(path, file.errorString()));
    QByteArray data = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return storeError(HXXMLStore::ReadError,
                          QStringLiteral("%1: cannot read the document: %2").arg(path, file.errorString()));
    return data;
}

} // namespace

void HXXMLStore::serialize(const HXManagedObjectContext &context, const std::function<void(QByteArrayView)> &sink)
{
    const HXManagedObjectModel *model = context.managedObjectModel();
    const QList<HXManagedObject *> objects = context.registeredObjects();

    // Written in chunks, so a large document never sits in memory twice; the
    // digest covers every byte before the integrity line.
    constexpr qsizetype chunkSize = 1 << 20;
    QByteArray out;
    out.reserve(chunkSize + 64 * 1024);
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> digest(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr);
    auto flush = [&] {
        EVP_DigestUpdate(digest.get(), out.constData(), size_t(out.size()));
        sink(out);
        out.resize(0);
    };
    out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<kea-document format=\"";
    out += QByteArray::number(kFormatVersion);
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

    QHash<const HXEntityDescription *, EntityLayout> layouts;
    for (const HXManagedObject *object : objects) {
        const HXEntityDescription *entity = object->entity();
        auto layout = layouts.find(entity);
        if (layout == layouts.end())
            layout = layouts.insert(entity, layoutFor(entity));
        out += " <object entity=\"";
        appendEscaped(out, entity->name().toUtf8());
        out += "\" id=\"p" + QByteArray::number(object->objectNumber()) + "\">\n";
        for (const int index : std::as_const(layout->attributes)) {
            const HXAttributeDescription &attribute = entity->attributes().at(index);
            const QVariant &value = object->attributeValue(index);
            if (value.isValid())
                appendAttribute(out, attribute, value);
        }
        for (const int index : std::as_const(layout->relationships)) {
            const HXRelationshipDescription &relationship = entity->relationships().at(index);
            QList<qint64> numbers;
            if (relationship.toMany) {
                for (const HXManagedObject *target : object->toManyObjects(index))
                    numbers.append(target->objectNumber());
                std::sort(numbers.begin(), numbers.end());
            } else if (const HXManagedObject *target = object->toOneObject(index)) {
                numbers.append(target->objectNumber());
            }
            if (numbers.isEmpty())
                continue;
            out += "  <relationship name=\"";
            appendEscaped(out, relationship.name.toUtf8());
            out += "\" to=\"";
            for (qsizetype i = 0; i < numbers.size(); ++i) {
                if (i > 0)
                    out += ' ';
                out += 'p' + QByteArray::number(numbers.at(i));
            }
            out += "\"/>\n";
        }
        out += " </object>\n";
        if (out.size() >= chunkSize)
            flush();
    }
    flush();
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(digest.get(), hash, &length);
    out += kIntegrityMarker.sliced(1);
    out += QByteArray(reinterpret_cast<const char *>(hash), int(length)).toHex();
    out += kDocumentEnd;
    sink(out);
}

QByteArray HXXMLStore::serialize(const HXManagedObjectContext &context)
{
    QByteArray bytes;
    serialize(context, [&bytes](QByteArrayView chunk) { bytes += chunk; });
    return bytes;
}

HXResult<void> HXXMLStore::save(HXManagedObjectContext *context, const QString &path)
{
    auto written = writeFileAtomically(
        path, [context](const std::function<void(QByteArrayView)> &sink) { serialize(*context, sink); });
    if (written)
        context->markSaved();
    return written;
}

HXResult<void> HXXMLStore::writeFileAtomically(const QString &path, const QByteArray &bytes)
{
    return writeFileAtomically(path, [&bytes](const std::function<void(QByteArrayView)> &sink) { sink(bytes); });
}

HXResult<void> HXXMLStore::writeFileAtomically(const QString &path, const Producer &produce)
{
    const QFileInfo info(path);
    const QString folder = info.absolutePath();
    QByteArray temporary = QFile::encodeName(QDir(folder).filePath(QStringLiteral(".%1.XXXXXX").arg(info.fileName())));
    auto failure = [&](const QString &step) {
        return storeError(WriteError, QStringLiteral("%1: cannot save the document (%2: %3); the previous version "
                                                     "is unchanged")
                                          .arg(path, step, QString::fromLocal8Bit(std::strerror(errno))));
    };
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0)
        return failure(QStringLiteral("creating a temporary file"));
    struct stat existing
    {};
    if (::stat(QFile::encodeName(path).constData(), &existing) == 0)
        ::fchmod(fd, existing.st_mode & 07777);
    else
        ::fchmod(fd, 0644);
    int writeError = 0;
    produce([&](QByteArrayView bytes) {
        qsizetype done = 0;
        while (writeError == 0 && done < bytes.size()) {
            const ssize_t count = ::write(fd, bytes.data() + done, size_t(bytes.size() - done));
            if (count < 0 && errno != EINTR)
                writeError = errno;
            else if (count > 0)
                done += count;
        }
    });
    if (writeError != 0) {
        errno = writeError;
        const HXError error = failure(QStringLiteral("writing"));
        ::close(fd);
        ::unlink(temporary.constData());
        return error;
    }
    if (::fsync(fd) != 0) {
        const HXError error = failure(QStringLiteral("syncing"));
        ::close(fd);
        ::unlink(temporary.constData());
        return error;
    }
    ::close(fd);
    if (::rename(temporary.constData(), QFile::encodeName(path).constData()) != 0) {
        const HXError error = failure(QStringLiteral("replacing the file"));
        ::unlink(temporary.constData());
        return error;
    }
    // Make the rename itself durable.
    const int directory = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY);
    if (directory >= 0) {
        ::fsync(directory);
        ::close(directory);
    }
    return {};
}

HXResult<std::unique_ptr<HXManagedObjectContext>> HXXMLStore::load(const QString &path,
                                                                   const HXManagedObjectModel &model)
{
    auto data = readWholeFile(path);
    if (!data)
        return data.error();
    return loadData(*data, path, model);
}

HXResult<std::unique_ptr<HXManagedObjectContext>> HXXMLStore::loadData(const QByteArray &data, const QString &name,
                                                                       const HXManagedObjectModel &model)
{
    bool checked = false;
    if (auto integrity = checkIntegrity(data, name, &checked); !integrity)
        return integrity.error();
    auto context = std::make_unique<HXManagedObjectContext>(&model);
    Reader reader(data, name, &model);
    reader.integrityChecked = checked;
    if (auto result = reader.read(context.get()); !result)
        return result.error();
    context->setStoreUUID(reader.metadata.storeUUID);
    context->markSaved();
    return context;
}

HXResult<HXStoreMetadata> HXXMLStore::readMetadata(const QString &path)
{
    auto data = readWholeFile(path);
    if (!data)
        return data.error();
    Reader reader(*data, path, nullptr);
    if (auto result = reader.read(nullptr); !result)
        return result.error();
    return reader.metadata;
}
