#pragma once

#include "HXStringEncoding.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>
#include <utility>

class HXRequest;

// OAuth 1.0 signing of a request, shared by the OAuth header and signature
// values. The pure operations work on plain values (URL, method, header
// dictionary, body bytes); the request operations evaluate an HXRequest in
// the current evaluation context first.
//
// Parameters are collected as "name=value" texts exactly as they appear in
// the Authorization header, the form body and the query (never decoded or
// re-encoded) and sorted as whole texts. For parameters whose names and
// values need no escaping this is the order and text RFC 5849 asks for; it
// differs where a name is a prefix of another ("a2=1" sorts before "a=1"),
// where a parameter has no "=", or where the request itself is escaped
// differently ("+" for a blank, lower-case escapes).
class HXOAuth1Signing
{
public:
    // The signature methods offered. RSA-SHA1 is accepted as a name but
    // yields no signature (Kea holds no private keys).
    static QString HMACSHA1() { return QStringLiteral("HMAC-SHA1"); }
    static QString RSASHA1() { return QStringLiteral("RSA-SHA1"); }
    static QString plainText() { return QStringLiteral("PLAINTEXT"); }
    static QStringList algorithms() { return {HMACSHA1(), RSASHA1(), plainText()}; }

    // "OAuth " and, for each parameter in the given order, name="value" with
    // the value percent-encoded (UTF-8, blanks as "%20"), separated by ", ".
    static QString OAuthAuthorizationHeaderWithParameters(const QList<std::pair<QString, QString>> &parameters);

    // The name="value" pairs of an Authorization header as "name=value"
    // texts: names of lower-case letters and underscores, the value between
    // the double quotes as written; "realm" and "oauth_signature" skipped.
    static QStringList OAuthParametersInOAuthAuthorizationHeader(const QString &authorization);
    // The pieces of a form body ("&"-separated, decoded in `bodyEncoding`)
    // when the Content-Type header's main value is
    // "application/x-www-form-urlencoded" (without regard to case); none
    // otherwise, or when the body does not decode. Empty pieces are skipped.
    static QStringList OAuthParametersInPOSTRequestBodyHTTPHeaders(const QMap<QString, QString> &headers,
                                                                   const QByteArray &body,
                                                                   HXStringEncoding bodyEncoding);
    // The pieces of the URL's query as sent ("&"-separated, escapes kept).
    static QStringList OAuthParametersInGETParametersWithURL(const QUrl &url);
    // Scheme, "://", host, ":" and the port unless it is the scheme's default
    // (80 for http, 443 for https), then the path as sent ("/" when empty),
    // without query or fragment.
    static QString OAuthRequestURLStringWithURL(const QUrl &url);

    // The signature base string: the method upper-cased, the request URL and
    // the sorted parameters joined by "&", each percent-encoded, joined by
    // "&". The header parameters come from `authorization` when given, else
    // from the "Authorization" header; none when there is neither.
    static std::optional<QString> OAuthSignatureBaseStringWithURL(const QUrl &url, const QString &method,
                                                                  const QMap<QString, QString> &headers,
                                                                  const QByteArray &body, HXStringEncoding bodyEncoding,
                                                                  const std::optional<QString> &authorization);
    // The signing key: both secrets with the URL-legal escaping (see
    // stringByAddingLegalURLPercentEscapes), joined by "&".
    static QString OAuthSigningKeyWithConsumerSecret(const QString &consumerSecret, const QString &tokenSecret);
    // HMAC-SHA1 of the base string under the key, in Base64; for PLAINTEXT
    // the key itself; none for RSA-SHA1 and unknown names.
    static std::optional<QString> OAuthSignatureForSignatureBaseString(const QString &baseString,
                                                                       const QString &consumerSecret,
                                                                       const QString &tokenSecret,
                                                                       const QString &algorithm);

    // Escapes only what may not appear in a URL at all: every byte of the
    // UTF-8 text except letters, digits and "-._~:/?#[]@!$&'()*+,;=" is
    // written as "%XX" (so "%" itself, blanks, quotes and non-ASCII are).
    static QString stringByAddingLegalURLPercentEscapes(const QString &string);

    // ---- over a request (inside the current evaluation context) -----------

    // The base string of `request` evaluated in its document; see above.
    static std::optional<QString>
    OAuthSignatureBaseStringWithAuthorizationString(HXRequest *request, const std::optional<QString> &authorization);
    // The signature of `request` for the given Authorization text.
    static std::optional<QString> OAuthSignatureWithConsumerSecret(HXRequest *request, const QString &consumerSecret,
                                                                   const QString &tokenSecret, const QString &algorithm,
                                                                   const std::optional<QString> &authorization);
};
