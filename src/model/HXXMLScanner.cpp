#include "HXXMLScanner.h"

#include "HXXMLStore.h"

#include <QStringDecoder>

#include <algorithm>
#include <cstring>

QByteArrayView HXXMLScanner::Tag::attribute(QByteArrayView key) const
{
    for (const auto &[attributeName, value] : attributes) {
        if (attributeName == key)
            return value;
    }
    return {};
}

bool HXXMLScanner::Tag::hasAttribute(QByteArrayView key) const
{
    for (const auto &attribute : attributes) {
        if (attribute.first == key)
            return true;
    }
    return false;
}

namespace {

bool isControlCharacter(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

} // namespace

const char *HXXMLScanner::firstControlCharacter(const char *begin, const char *end)
{
    // Blocks are tested without a branch per byte, which the compiler turns
    // into vector code; only a block with such a byte is searched.
    constexpr std::ptrdiff_t blockSize = 256;
    const char *at = begin;
    for (; end - at >= blockSize; at += blockSize) {
        unsigned char found = 0;
        for (std::ptrdiff_t i = 0; i < blockSize; ++i)
            found |= static_cast<unsigned char>(isControlCharacter(at[i]));
        if (found != 0)
            break;
    }
    return std::find_if(at, end, isControlCharacter);
}

qint64 HXXMLScanner::lineAt(const char *position) const
{
    return 1 + std::count(m_begin, position, '\n');
}

HXError HXXMLScanner::fail(int code, const QString &what, const char *position) const
{
    return HXXMLStore::error(HXXMLStore::ErrorCode(code),
                             QStringLiteral("%1:%2: %3").arg(m_name).arg(lineAt(position ? position : m_at)).arg(what));
}

HXError HXXMLScanner::malformed(const QString &what, const char *position) const
{
    return fail(HXXMLStore::MalformedError,
                QStringLiteral("the file is not well-formed XML (%1); it may be truncated or damaged — restore "
                               "it from a backup")
                    .arg(what),
                position);
}

HXResult<void> HXXMLScanner::skipMisc()
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

HXResult<HXXMLScanner::Tag> HXXMLScanner::readTag()
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

HXResult<QByteArray> HXXMLScanner::decode(QByteArrayView raw, const char *position) const
{
    // Nothing to decode: the bytes are used where they are.
    if (!raw.contains('&'))
        return QByteArray::fromRawData(raw.data(), raw.size());
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

HXResult<QString> HXXMLScanner::decodeString(QByteArrayView raw, const char *position) const
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

HXResult<QByteArray> HXXMLScanner::readText()
{
    const char *start = m_at;
    const char *lt = static_cast<const char *>(std::memchr(m_at, '<', size_t(m_end - m_at)));
    m_at = lt != nullptr ? lt : m_end;
    return decode(QByteArrayView(start, m_at - start), start);
}

HXResult<HXXMLScanner::Tag> HXXMLScanner::nextTag()
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

HXResult<QByteArray> HXXMLScanner::elementText(const Tag &tag)
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
