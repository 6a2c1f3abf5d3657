#pragma once

#include "HXResult.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QVarLengthArray>

#include <utility>

// A strict scanner over the UTF-8 bytes of the XML that the document writer
// produces: elements, attributes in double or single quotes, character and
// entity references, comments and white space between elements. Anything
// else is an error naming the file and the line.
class HXXMLScanner
{
public:
    HXXMLScanner(const QByteArray &data, const QString &name)
        : m_begin(data.constData()), m_at(data.constData()), m_end(data.constData() + data.size()), m_name(name)
    {}

    struct Tag
    {
        QByteArrayView name;
        bool closing = false;
        bool selfClosing = false;
        const char *position = nullptr;
        QVarLengthArray<std::pair<QByteArrayView, QByteArrayView>, 4> attributes;

        QByteArrayView attribute(QByteArrayView key) const;
        bool hasAttribute(QByteArrayView key) const;
    };

protected:
    qint64 lineAt(const char *position) const;
    // An error of the document store's domain naming the file and the line
    // of `position` (the current one when null).
    HXError fail(int code, const QString &what, const char *position = nullptr) const;
    HXError malformed(const QString &what, const char *position = nullptr) const;

    static bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
    static bool isNameChar(char c)
    {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
               c == ':' || c == '.';
    }

    // The first byte below 0x20 other than tab, line feed and carriage
    // return (none of which XML allows), or `end`.
    static const char *firstControlCharacter(const char *begin, const char *end);

    // Skips white space and comments; stops at the next '<' of an element or
    // at text. Fails on an unterminated comment.
    HXResult<void> skipMisc();
    HXResult<Tag> readTag();
    // The decoded text up to the next '<'.
    // Text without references is not copied: the array then points into the
    // scanned bytes and is only good while they are.
    HXResult<QByteArray> readText();
    HXResult<QByteArray> decode(QByteArrayView raw, const char *position) const;
    HXResult<QString> decodeString(QByteArrayView raw, const char *position) const;
    // Reads the next tag after white space; text there is an error.
    HXResult<Tag> nextTag();
    // Text content of an element whose start tag was just read.
    HXResult<QByteArray> elementText(const Tag &tag);

    const char *m_begin;
    const char *m_at;
    const char *m_end;
    QString m_name;
};
