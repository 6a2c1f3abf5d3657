#pragma once

#include "HXError.h"
#include "HXHTTPHeaderField.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

// The bytes of one HTTP/1.1 request, built from plain values. Only Host,
// Connection, User-Agent, Content-Length (and Proxy-Connection in a tunnel)
// are added when missing, after the caller's headers; nothing else is
// changed, so what the user wrote is what goes on the wire.
class HXHTTPRequestMessage
{
public:
    // The request line, the header list with the missing defaults appended
    // to `headers` (in place), the empty line, the body. The body of a GET,
    // HEAD, DELETE or OPTIONS is left out unless `alwaysSendBody`. Request
    // line and headers are ASCII (other characters become "?"). `proxyMode`
    // is an HXHTTPProxyDecision::ProxyMode.
    static QByteArray build(const QUrl &url, const QString &method, HXHTTPHeaderList &headers, const QByteArray &body,
                            int proxyMode, bool alwaysSendBody, const QString &urlText = QString());
    // The request target of the request line for a proxy mode: origin form
    // directly and in a tunnel, absolute form to an HTTP proxy, authority
    // form for CONNECT. With `urlText`, the text `url` was read from, the
    // path and query go out as written there (Qt's parsing would rewrite
    // "%7e" to "~" and "%c3" to "%C3"); only characters that cannot stand in
    // a request line are percent-encoded.
    static QByteArray requestTarget(const QUrl &url, int proxyMode, const QString &urlText = QString());

    // Whether `text` holds a character that would end a request line or a
    // header field early on the wire: CR, LF or NUL.
    static bool containsLineBreak(QStringView text);
    // Null when method, request target and headers can go on the wire as
    // they are; otherwise an HXHTTPRequestErrorCode::UnsafeRequest error
    // that names the first part that cannot (a header by its name).
    static HXError unsafeRequestError(const QString &method, QByteArrayView target, const HXHTTPHeaderList &headers);
};
