#include "HXXMLStore.h"

#include "HXManagedObject.h"
#include "HXManagedObjectContext.h"
#include "HXManagedObjectModel.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QXmlStreamReader>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QByteArray kIntegrityMarker = QByteArrayLiteral("\n <integrity sha256=\"");
const QByteArray kDocumentEnd = QByteArrayLiteral("\"/>\n</kea-document>\n");
constexpr int kFormatVersion = 1;

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

struct ParsedRelationship
{
    int index = -1;
    QList<qint64> targets;
    qint64 line = 0;
};

struct ParsedObject
{
    const HXEntityDescription *entity = nullptr;
    qint64 number = 0;
    qint64 line = 0;
    std::vector<std::pair<int, QVariant>> attributes;
    std::vector<ParsedRelationship> relationships;
};

class Reader
{
public:
    Reader(const QByteArray &data, const QString &name, const HXManagedObjectModel *model)
        : m_xml(data), m_name(name), m_model(model)
    {}

    bool integrityChecked = false;
    HXStoreMetadata metadata;
    std::vector<ParsedObject> objects;

    // Reads everything, or stops at the first problem.
    HXResult<void> read(bool metadataOnly);

private:
    HXError fail(HXXMLStore::ErrorCode code, const QString &what, qint64 line = -1) const
    {
        return storeError(code,
                          QStringLiteral("%1:%2: %3").arg(m_name).arg(line >= 0 ? line : m_xml.lineNumber()).arg(what));
    }
    HXError malformed() const
    {
        return fail(HXXMLStore::MalformedError,
                    QStringLiteral("the file is not well-formed XML (%1); it may be truncated or damaged — "
                                   "restore it from a backup")
                        .arg(m_xml.errorString()));
    }
    // Next start element inside the current element; false at its end.
    bool nextChild(HXError *error);
    HXResult<void> readMetadata();
    HXResult<void> readObject();
    HXResult<QVariant> parseAttribute(const HXAttributeDescription &attribute, const QString &text,
                                      const QString &encoding) const;

    QXmlStreamReader m_xml;
    QString m_name;
    const HXManagedObjectModel *m_model;
};

bool Reader::nextChild(HXError *error)
{
    while (!m_xml.atEnd()) {
        const QXmlStreamReader::TokenType token = m_xml.readNext();
        switch (token) {
        case QXmlStreamReader::StartElement:
            return true;
        case QXmlStreamReader::EndElement:
            return false;
        case QXmlStreamReader::Characters:
            if (!m_xml.isWhitespace()) {
                *error = fail(HXXMLStore::InvalidContentError,
                              QStringLiteral("unexpected text \"%1\"").arg(m_xml.text().left(40).toString()));
                return false;
            }
            break;
        case QXmlStreamReader::Comment:
            break;
        case QXmlStreamReader::Invalid:
            *error = malformed();
            return false;
        default:
            *error = fail(HXXMLStore::InvalidContentError, QStringLiteral("unexpected XML content"));
            return false;
        }
    }
    *error = malformed();
    return false;
}

HXResult<void> Reader::read(bool metadataOnly)
{
    while (!m_xml.atEnd() && m_xml.readNext() != QXmlStreamReader::StartElement) {
        if (m_xml.tokenType() == QXmlStreamReader::Invalid)
            break;
    }
    if (m_xml.tokenType() != QXmlStreamReader::StartElement) {
        if (m_xml.hasError())
            return fail(HXXMLStore::ForeignFileError,
                        QStringLiteral("this is not a Kea document (%1)").arg(m_xml.errorString()));
        return fail(HXXMLStore::ForeignFileError, QStringLiteral("this is not a Kea document (it is empty)"));
    }
    if (m_xml.name() != u"kea-document")
        return fail(HXXMLStore::ForeignFileError,
                    QStringLiteral("this is not a Kea document (its root element is <%1>)").arg(m_xml.name()));
    if (m_xml.attributes().value(QLatin1String("format")) != QString::number(kFormatVersion))
        return fail(HXXMLStore::ModelMismatchError,
                    QStringLiteral("the document format \"%1\" is not one this version of Kea reads")
                        .arg(m_xml.attributes().value(QLatin1String("format"))));

    HXError error;
    if (!nextChild(&error) || m_xml.name() != u"metadata")
        return error.isNull()
                   ? fail(HXXMLStore::InvalidContentError, QStringLiteral("the <metadata> element is missing"))
                   : error;
    if (auto result = readMetadata(); !result)
        return result;
    if (metadataOnly)
        return {};

    bool sawIntegrity = false;
    while (nextChild(&error)) {
        if (sawIntegrity)
            return fail(HXXMLStore::InvalidContentError, QStringLiteral("content after the <integrity> line"));
        if (m_xml.name() == u"object") {
            if (auto result = readObject(); !result)
                return result;
        } else if (m_xml.name() == u"integrity") {
            if (!integrityChecked)
                return fail(HXXMLStore::IntegrityError,
                            QStringLiteral("the <integrity> line is damaged; restore the file from a backup"));
            sawIntegrity = true;
            m_xml.skipCurrentElement();
        } else {
            return fail(HXXMLStore::InvalidContentError, QStringLiteral("unknown element <%1>").arg(m_xml.name()));
        }
    }
    if (!error.isNull())
        return error;
    // After the root element only white space and comments may follow.
    while (!m_xml.atEnd()) {
        m_xml.readNext();
        if (m_xml.hasError())
            return malformed();
    }
    return {};
}

HXResult<void> Reader::readMetadata()
{
    HXError error;
    while (nextChild(&error)) {
        const QStringView element = m_xml.name();
        if (element == u"store-uuid") {
            metadata.storeUUID = m_xml.readElementText();
        } else if (element == u"model-version") {
            metadata.versionIdentifiers.append(m_xml.readElementText());
        } else if (element == u"entity") {
            const QString entity = m_xml.attributes().value(QLatin1String("name")).toString();
            const QByteArray hash = m_xml.attributes().value(QLatin1String("hash")).toLatin1();
            if (entity.isEmpty() || hash.isEmpty())
                return fail(HXXMLStore::InvalidContentError, QStringLiteral("an <entity> without name or hash"));
            metadata.entityVersionHashes.insert(entity, hash);
            m_xml.skipCurrentElement();
        } else {
            return fail(HXXMLStore::InvalidContentError, QStringLiteral("unknown metadata element <%1>").arg(element));
        }
        if (m_xml.hasError())
            return malformed();
    }
    if (!error.isNull())
        return error;
    if (metadata.storeUUID.isEmpty())
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("the store UUID is missing"));
    if (metadata.versionIdentifiers.isEmpty())
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("the model version is missing"));
    if (m_model == nullptr)
        return {};

    const QStringList expected = m_model->versionIdentifiers();
    bool known = false;
    for (const QString &identifier : std::as_const(metadata.versionIdentifiers))
        known = known || expected.contains(identifier);
    if (!known)
        return fail(HXXMLStore::ModelMismatchError,
                    QStringLiteral("the document was written with model version %1, which this version of Kea "
                                   "cannot open (it reads %2)")
                        .arg(metadata.versionIdentifiers.join(u", "), expected.join(u", ")));
    const QMap<QString, QByteArray> hashes = m_model->entityVersionHashes();
    if (hashes != metadata.entityVersionHashes) {
        for (auto it = hashes.cbegin(); it != hashes.cend(); ++it) {
            if (metadata.entityVersionHashes.value(it.key()) != it.value())
                return fail(HXXMLStore::ModelMismatchError,
                            QStringLiteral("the document's definition of entity %1 differs from this version of "
                                           "Kea's")
                                .arg(it.key()));
        }
        return fail(HXXMLStore::ModelMismatchError, QStringLiteral("the document names entities Kea does not know"));
    }
    return {};
}

HXResult<QVariant> Reader::parseAttribute(const HXAttributeDescription &attribute, const QString &text,
                                          const QString &encoding) const
{
    bool ok = true;
    QVariant value;
    if (!encoding.isEmpty() && (attribute.type != HXAttributeType::String || encoding != u"utf16le-base64"))
        ok = false;
    switch (attribute.type) {
    case HXAttributeType::String:
        if (encoding.isEmpty()) {
            value = text;
        } else {
            auto decoded = QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
            ok = ok && decoded && decoded.decoded.size() % 2 == 0;
            if (ok) {
                QString string(decoded.decoded.size() / 2, Qt::Uninitialized);
                const auto *bytes = reinterpret_cast<const uchar *>(decoded.decoded.constData());
                for (qsizetype i = 0; i < string.size(); ++i)
                    string[i] = QChar(char16_t(bytes[2 * i] | (bytes[2 * i + 1] << 8)));
                value = string;
            }
        }
        break;
    case HXAttributeType::Integer64:
        value = text.toLongLong(&ok);
        break;
    case HXAttributeType::UnsignedInteger64:
        value = text.toULongLong(&ok);
        break;
    case HXAttributeType::Double:
        if (text == u"nan")
            value = std::nan("");
        else if (text == u"inf" || text == u"-inf")
            value = text.startsWith(u'-') ? -HUGE_VAL : HUGE_VAL;
        else
            value = text.toDouble(&ok);
        break;
    case HXAttributeType::Boolean:
        ok = text == u"true" || text == u"false";
        value = text == u"true";
        break;
    case HXAttributeType::Date: {
        const QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
        ok = date.isValid() && text.endsWith(u'Z');
        value = date.toUTC();
        break;
    }
    case HXAttributeType::Binary: {
        auto decoded = QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        ok = bool(decoded);
        value = decoded.decoded;
        break;
    }
    }
    if (!ok)
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("attribute \"%1\" has a value that is not a %2")
                                                         .arg(attribute.name, HXAttributeTypeName(attribute.type)));
    return value;
}

HXResult<void> Reader::readObject()
{
    ParsedObject object;
    object.line = m_xml.lineNumber();
    const QXmlStreamAttributes attributes = m_xml.attributes();
    const QString entityName = attributes.value(QLatin1String("entity")).toString();
    object.entity = m_model->entity(entityName);
    if (object.entity == nullptr || object.entity->isAbstract())
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("unknown entity \"%1\"").arg(entityName));
    const QStringView id = attributes.value(QLatin1String("id"));
    bool ok = id.startsWith(u'p');
    object.number = ok ? id.mid(1).toLongLong(&ok) : 0;
    if (!ok || object.number <= 0)
        return fail(HXXMLStore::InvalidContentError, QStringLiteral("invalid object id \"%1\"").arg(id));

    QList<bool> seenAttributes(object.entity->attributes().size(), false);
    QList<bool> seenRelationships(object.entity->relationships().size(), false);
    HXError error;
    while (nextChild(&error)) {
        const QXmlStreamAttributes properties = m_xml.attributes();
        const QString name = properties.value(QLatin1String("name")).toString();
        if (m_xml.name() == u"attribute") {
            const int index = object.entity->attributeIndex(name);
            if (index < 0)
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("entity %1 has no attribute \"%2\"").arg(entityName, name));
            if (seenAttributes[index])
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("attribute \"%1\" appears twice").arg(name));
            seenAttributes[index] = true;
            const HXAttributeDescription &description = object.entity->attributes().at(index);
            if (properties.value(QLatin1String("type")) != HXAttributeTypeName(description.type))
                return fail(HXXMLStore::InvalidContentError, QStringLiteral("attribute \"%1\" should have type %2")
                                                                 .arg(name, HXAttributeTypeName(description.type)));
            const QString encoding = properties.value(QLatin1String("encoding")).toString();
            const QString text = m_xml.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
            if (m_xml.hasError())
                return malformed();
            auto value = parseAttribute(description, text, encoding);
            if (!value)
                return value.error();
            object.attributes.emplace_back(index, std::move(value).value());
        } else if (m_xml.name() == u"relationship") {
            const int index = object.entity->relationshipIndex(name);
            if (index < 0 || !writesRelationship(object.entity, index))
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("entity %1 stores no relationship \"%2\"").arg(entityName, name));
            if (seenRelationships[index])
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("relationship \"%1\" appears twice").arg(name));
            seenRelationships[index] = true;
            ParsedRelationship relationship;
            relationship.index = index;
            relationship.line = m_xml.lineNumber();
            const QStringView targets = properties.value(QLatin1String("to"));
            for (const QStringView target : targets.split(u' ', Qt::SkipEmptyParts)) {
                bool valid = target.startsWith(u'p');
                const qint64 number = valid ? target.mid(1).toLongLong(&valid) : 0;
                if (!valid || number <= 0)
                    return fail(HXXMLStore::InvalidContentError,
                                QStringLiteral("invalid object reference \"%1\"").arg(target));
                relationship.targets.append(number);
            }
            if (!object.entity->relationships().at(index).toMany && relationship.targets.size() != 1)
                return fail(HXXMLStore::InvalidContentError,
                            QStringLiteral("to-one relationship \"%1\" must name exactly one object").arg(name));
            object.relationships.push_back(std::move(relationship));
            m_xml.skipCurrentElement();
        } else {
            return fail(HXXMLStore::InvalidContentError,
                        QStringLiteral("unknown element <%1> in an object").arg(m_xml.name()));
        }
        if (m_xml.hasError())
            return malformed();
    }
    if (!error.isNull())
        return error;
    objects.push_back(std::move(object));
    return {};
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
    const QByteArray actual =
        QCryptographicHash::hash(QByteArrayView(data.constData(), marker + 1), QCryptographicHash::Sha256).toHex();
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

QByteArray HXXMLStore::serialize(const HXManagedObjectContext &context)
{
    const HXManagedObjectModel *model = context.managedObjectModel();
    const QList<HXManagedObject *> objects = context.registeredObjects();

    QByteArray out;
    out.reserve(256 + objects.size() * 320);
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
            const QVariant value = object->valueForKey(attribute.name);
            if (value.isValid())
                appendAttribute(out, attribute, value);
        }
        for (const int index : std::as_const(layout->relationships)) {
            const HXRelationshipDescription &relationship = entity->relationships().at(index);
            QList<qint64> numbers;
            if (relationship.toMany) {
                for (const HXManagedObject *target : object->objectsForKey(relationship.name))
                    numbers.append(target->objectNumber());
                std::sort(numbers.begin(), numbers.end());
            } else if (const HXManagedObject *target = object->objectForKey(relationship.name)) {
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
    }
    const QByteArray digest = QCryptographicHash::hash(out, QCryptographicHash::Sha256).toHex();
    out.chop(1);
    out += kIntegrityMarker + digest + kDocumentEnd;
    return out;
}

HXResult<void> HXXMLStore::save(HXManagedObjectContext *context, const QString &path)
{
    auto written = writeFileAtomically(path, serialize(*context));
    if (written)
        context->markSaved();
    return written;
}

HXResult<void> HXXMLStore::writeFileAtomically(const QString &path, const QByteArray &bytes)
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
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (count < 0) {
            if (errno == EINTR)
                continue;
            const HXError error = failure(QStringLiteral("writing"));
            ::close(fd);
            ::unlink(temporary.constData());
            return error;
        }
        done += count;
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
    Reader reader(data, name, &model);
    reader.integrityChecked = checked;
    if (auto result = reader.read(false); !result)
        return result.error();

    auto lineError = [&](qint64 line, const QString &what) {
        return storeError(InvalidContentError, QStringLiteral("%1:%2: %3").arg(name).arg(line).arg(what));
    };
    auto context = std::make_unique<HXManagedObjectContext>(&model);
    context->setStoreUUID(reader.metadata.storeUUID);
    for (const ParsedObject &parsed : reader.objects) {
        HXManagedObject *object = context->insertLoadedObject(parsed.entity, parsed.number);
        if (object == nullptr)
            return lineError(parsed.line, QStringLiteral("object id p%1 is used twice").arg(parsed.number));
        for (const auto &[index, value] : parsed.attributes)
            context->setLoadedAttribute(object, index, value);
    }
    for (const ParsedObject &parsed : reader.objects) {
        HXManagedObject *object = context->objectWithNumber(parsed.number);
        for (const ParsedRelationship &relationship : parsed.relationships) {
            const HXEntityDescription *destination = parsed.entity->destinationEntity(relationship.index);
            for (const qint64 number : relationship.targets) {
                HXManagedObject *target = context->objectWithNumber(number);
                if (target == nullptr)
                    return lineError(relationship.line,
                                     QStringLiteral("reference to a missing object p%1").arg(number));
                if (!target->entity()->isKindOfEntity(destination))
                    return lineError(relationship.line, QStringLiteral("object p%1 is a %2, not a %3")
                                                            .arg(number)
                                                            .arg(target->entityName(), destination->name()));
                context->linkLoadedObjects(object, relationship.index, target);
            }
        }
    }
    context->markSaved();
    return context;
}

HXResult<HXStoreMetadata> HXXMLStore::readMetadata(const QString &path)
{
    auto data = readWholeFile(path);
    if (!data)
        return data.error();
    Reader reader(*data, path, nullptr);
    if (auto result = reader.read(true); !result)
        return result.error();
    return reader.metadata;
}
