#include "HXHTTPRequestMessage.h"

#include "HXHTTPProxyConfiguration.h"
#include "HXHTTPRequest.h"

#include <QCoreApplication>

namespace {

// "host", or "[v6]" for an IPv6 literal, as it appears in a Host header.
QString hostForHeader(const QUrl &url)
{
    const QString host = url.host(QUrl::FullyEncoded);
    return host.contains(u':') ? u'[' + host + u']' : host;
}

QByteArray lossyASCII(const QString &text)
{
    QByteArray bytes(text.size(), Qt::Uninitialized);
    char *out = bytes.data();
    for (QChar c : text)
        *out++ = c.unicode() < 0x80 ? char(c.unicode()) : '?';
    return bytes;
}

// Where the path (or query, or fragment) of an absolute URL's text starts:
// after "scheme://authority". The end when there is none; -1 for a text that
// is not absolute.
qsizetype pathStart(const QByteArray &text)
{
    const qsizetype schemeEnd = text.indexOf("://");
    if (schemeEnd < 0)
        return -1;
    qsizetype start = text.size();
    for (const char c : {'/', '?', '#'}) {
        const qsizetype index = text.indexOf(c, schemeEnd + 3);
        if (index >= 0)
            start = qMin(start, index);
    }
    return start;
}

// A URL's text with what cannot stand in a request line (controls, spaces,
// anything beyond ASCII) percent-encoded as UTF-8; everything else, escapes
// included, kept exactly as written.
QByteArray escapedForRequestLine(const QString &text)
{
    static const char hex[] = "0123456789ABCDEF";
    QByteArray escaped;
    for (const char c : text.toUtf8()) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 0x20 && byte < 0x7f) {
            escaped += c;
        } else {
            escaped += '%';
            escaped += hex[byte >> 4];
            escaped += hex[byte & 0xf];
        }
    }
    return escaped;
}

// A text with its line breaks shown as escapes, for an error message.
QString visible(QString text)
{
    return text.replace(u'\r', QStringLiteral("\\r"))
        .replace(u'\n', QStringLiteral("\\n"))
        .replace(QChar(0), QStringLiteral("\\0"));
}

HXError unsafe(const QString &part)
{
    return HXHTTPRequestError(
        HXHTTPRequestErrorCode::UnsafeRequest,
        QCoreApplication::translate("HXHTTPRequest",
                                    "%1 contains a line break (CR or LF) or a NUL character, which would change the "
                                    "request on the wire. Remove it and send again.")
            .arg(part));
}

} // namespace

bool HXHTTPRequestMessage::containsLineBreak(QStringView text)
{
    for (const QChar c : text) {
        if (c == u'\r' || c == u'\n' || c == QChar(0))
            return true;
    }
    return false;
}

HXError HXHTTPRequestMessage::unsafeRequestError(const QString &method, QByteArrayView target,
                                                 const HXHTTPHeaderList &headers)
{
    if (containsLineBreak(method))
        return unsafe(QCoreApplication::translate("HXHTTPRequest", "The method \"%1\"").arg(visible(method)));
    if (target.contains('\r') || target.contains('\n') || target.contains('\0'))
        return unsafe(QCoreApplication::translate("HXHTTPRequest", "The request target"));
    for (const HXHTTPHeaderField &field : headers) {
        if (containsLineBreak(field.name) || containsLineBreak(field.value))
            return unsafe(QCoreApplication::translate("HXHTTPRequest", "The header \"%1\"").arg(visible(field.name)));
    }
    return HXError();
}

QByteArray HXHTTPRequestMessage::requestTarget(const QUrl &url, int proxyMode, const QString &urlText)
{
    if (proxyMode == HXHTTPProxyDecision::ProxyModeHTTPS) {
        const int defaultPort = 443;
        return hostForHeader(url).toLatin1() + ':' + QByteArray::number(url.port(defaultPort));
    }
    const QByteArray encoded = url.toEncoded();
    const qsizetype encodedPathStart = pathStart(encoded);
    // Everything after scheme and authority, query and fragment included:
    // from the text as written when there is one for this URL.
    QByteArray target;
    const QUrl written(urlText);
    if (!urlText.isEmpty() && written.scheme() == url.scheme() && written.host() == url.host() &&
        written.port() == url.port()) {
        const QByteArray text = escapedForRequestLine(urlText);
        target = text.mid(pathStart(text));
    } else if (encodedPathStart >= 0) {
        target = encoded.mid(encodedPathStart);
    } else {
        target = url.path(QUrl::FullyEncoded).toLatin1();
    }
    if (proxyMode == HXHTTPProxyDecision::ProxyModeHTTP)
        return encodedPathStart >= 0 ? encoded.left(encodedPathStart) + target : encoded;
    if (!target.startsWith('/'))
        target.prepend('/');
    return target;
}

QByteArray HXHTTPRequestMessage::build(const QUrl &url, const QString &method, HXHTTPHeaderList &headers,
                                       const QByteArray &body, int proxyMode, bool alwaysSendBody,
                                       const QString &urlText)
{
    static const QStringList bodylessMethods = {QStringLiteral("GET"), QStringLiteral("HEAD"), QStringLiteral("DELETE"),
                                                QStringLiteral("OPTIONS")};
    const QByteArray keptBody = alwaysSendBody || !bodylessMethods.contains(method) ? body : QByteArray();

    auto addDefault = [&headers](const QString &name, const QString &value) {
        for (const HXHTTPHeaderField &field : std::as_const(headers)) {
            if (field.name.compare(name, Qt::CaseInsensitive) == 0)
                return;
        }
        headers.append({name, value});
    };
    const QString scheme = url.scheme().toLower();
    QString host = hostForHeader(url);
    const int port = url.port();
    if (port >= 0 && !(port == 80 && scheme == u"http") && !(port == 443 && scheme == u"https"))
        host += u':' + QString::number(port);
    addDefault(QStringLiteral("Host"), host);
    addDefault(QStringLiteral("Connection"), proxyMode == HXHTTPProxyDecision::ProxyModeHTTPS
                                                 ? QStringLiteral("keep-alive")
                                                 : QStringLiteral("close"));
    addDefault(QStringLiteral("User-Agent"), HXHTTPRequest::defaultUserAgent());
    if (!keptBody.isEmpty() || method == u"POST" || method == u"PUT" || method == u"PATCH")
        addDefault(QStringLiteral("Content-Length"), QString::number(keptBody.size()));
    if (proxyMode == HXHTTPProxyDecision::ProxyModeHTTPS)
        addDefault(QStringLiteral("Proxy-Connection"), QStringLiteral("keep-alive"));

    QString head = method + u' ' + QString::fromLatin1(requestTarget(url, proxyMode, urlText)) + u" HTTP/1.1\r\n";
    for (const HXHTTPHeaderField &field : std::as_const(headers)) {
        if (field.name.isEmpty() || field.value.isEmpty())
            continue;
        head += field.name + u": " + field.value + u"\r\n";
    }
    QByteArray message = lossyASCII(head);
    message.reserve(message.size() + 2 + keptBody.size());
    message += "\r\n";
    message += keptBody;
    return message;
}
