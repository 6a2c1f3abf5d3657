#include "HXHTTPResponseHead.h"

#include <QStringDecoder>

#include <cstring>

namespace {

bool isTokenCharacter(char c)
{
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    return std::strchr("!#$%&'*+-.^_`|~", c) != nullptr && c != '\0';
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

// Header text is usually ASCII; UTF-8 is taken when valid, else Latin-1.
QString decodeText(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return QString::fromLatin1(bytes);
    return text;
}

QByteArrayView trimmed(QByteArrayView bytes)
{
    qsizetype begin = 0;
    qsizetype end = bytes.size();
    while (begin < end && isBlank(bytes[begin]))
        ++begin;
    while (end > begin && isBlank(bytes[end - 1]))
        --end;
    return bytes.sliced(begin, end - begin);
}

bool parseStatusLine(QByteArrayView line, HXHTTPResponseHead &head)
{
    // HTTP/<d>.<d> SP <3 digits> [SP reason]
    if (line.size() < 12 || !line.startsWith("HTTP/"))
        return false;
    const char major = line[5];
    const char minor = line[7];
    if (major < '0' || major > '9' || line[6] != '.' || minor < '0' || minor > '9' || line[8] != ' ')
        return false;
    qint64 code = 0;
    for (qsizetype i = 9; i < 12; ++i) {
        if (line[i] < '0' || line[i] > '9')
            return false;
        code = code * 10 + (line[i] - '0');
    }
    if (line.size() > 12 && line[12] != ' ')
        return false;
    head.majorVersion = major - '0';
    head.minorVersion = minor - '0';
    head.statusCode = code;
    head.statusLine = decodeText(line);
    head.reasonPhrase = line.size() > 13 ? decodeText(line.sliced(13)) : QString();
    return true;
}

} // namespace

qsizetype HXHTTPResponseHead::findHeadEnd(QByteArrayView bytes, qsizetype from)
{
    // The head ends at a line feed followed by an empty line ("\n\n" or
    // "\n\r\n"). A resume point must back up so that an end straddling the
    // previous search's edge is still found.
    qsizetype index = qMax<qsizetype>(0, from - 2);
    const qsizetype size = bytes.size();
    const char *data = bytes.data();
    while (index < size) {
        const void *found = std::memchr(data + index, '\n', size_t(size - index));
        if (found == nullptr)
            return -1;
        const qsizetype lf = static_cast<const char *>(found) - data;
        if (lf + 1 < size && data[lf + 1] == '\n')
            return lf + 2;
        if (lf + 2 < size && data[lf + 1] == '\r' && data[lf + 2] == '\n')
            return lf + 3;
        index = lf + 1;
    }
    return -1;
}

HXHTTPResponseHead HXHTTPResponseHead::parse(QByteArrayView bytes)
{
    HXHTTPResponseHead head;
    const qsizetype end = findHeadEnd(bytes.first(qMin(bytes.size(), maximumLength + 3)));
    if (end < 0) {
        head.status = bytes.size() > maximumLength ? Status::Invalid : Status::Incomplete;
        return head;
    }
    if (end > maximumLength) {
        head.status = Status::Invalid;
        return head;
    }
    head.length = end;
    head.status = Status::Invalid;

    qsizetype position = 0;
    bool first = true;
    QByteArray pendingName;
    QByteArray pendingValue;
    auto flush = [&] {
        if (!pendingName.isEmpty())
            head.headerFields.insert(QString::fromLatin1(pendingName), decodeText(trimmed(pendingValue)));
        pendingName.clear();
        pendingValue.clear();
    };
    while (position < end) {
        qsizetype lf = bytes.indexOf('\n', position);
        QByteArrayView line = bytes.sliced(position, lf - position);
        position = lf + 1;
        if (line.endsWith('\r'))
            line.chop(1);
        if (first) {
            if (!parseStatusLine(line, head))
                return head;
            first = false;
            continue;
        }
        if (line.isEmpty())
            break;
        if (isBlank(line[0])) {
            // A folded continuation of the previous field's value.
            if (pendingName.isEmpty())
                return head;
            pendingValue += ' ';
            pendingValue += trimmed(line).toByteArray();
            continue;
        }
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            return head;
        const QByteArrayView name = line.first(colon);
        for (char c : name) {
            if (!isTokenCharacter(c))
                return head;
        }
        flush();
        pendingName = name.toByteArray();
        pendingValue = line.sliced(colon + 1).toByteArray();
    }
    flush();
    head.status = Status::Complete;
    return head;
}
