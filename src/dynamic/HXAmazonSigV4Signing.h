#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>
#include <utility>

class HXRequest;

// AWS Signature Version 4 in its header form ("AWS4-HMAC-SHA256
// Credential=..., SignedHeaders=..., Signature=...").
//
// Every header handed in is signed, plus "host" (from the URL) when absent
// and "x-amz-security-token" when a session token is given and the header is
// absent. The request time is the X-Amz-Date header as it stands, else the
// Date header, else now; the request must carry one of the two for the
// service to accept the signature. The payload hash is the
// X-Amz-Content-Sha256 header when present (so "UNSIGNED-PAYLOAD" works),
// else the SHA-256 of the body.
//
// Paths are decoded segment by segment and encoded once; for every service
// but "s3" they are normalized first (empty and "." segments dropped, ".."
// removed with its parent).
class HXAmazonSigV4Signing
{
public:
    using HeaderRows = QList<std::pair<QString, QString>>;

    struct Credentials
    {
        QString accessKeyId;
        QString secretAccessKey;
        QString region;
        QString service;
        QString sessionToken; // empty: none
    };

    // Each byte outside A-Z a-z 0-9 - _ . ~ as %XX (upper-case), '/' kept
    // when `keepSlash`.
    static QString uriEncode(const QByteArray &bytes, bool keepSlash);
    static QString canonicalURI(const QUrl &url, bool normalizePath);
    // Names and values decoded and encoded again, sorted by name, then value.
    static QString canonicalQueryString(const QUrl &url);
    // The canonical request; `signedHeaders` receives the signed names.
    static QString canonicalRequest(const QString &method, const QUrl &url, const HeaderRows &headers,
                                    const QString &payloadHash, bool normalizePath, QString *signedHeaders);
    static QByteArray signingKey(const QString &secretAccessKey, const QString &date, const QString &region,
                                 const QString &service);
    // "yyyyMMddTHHmmssZ" of the request time (see above).
    static QString requestTime(const HeaderRows &headers, const QDateTime &now);

    // The Authorization header value; none when the URL has no host or a
    // credential is empty.
    static std::optional<QString> authorizationHeader(const Credentials &credentials, const QString &method,
                                                      const QUrl &url, const HeaderRows &headers,
                                                      const QByteArray &body, const QDateTime &now);

    // The value for `request` as it will be sent, inside the current
    // evaluation context. Authorization headers are not signed.
    static std::optional<QString> authorizationHeader(HXRequest *request, const Credentials &credentials);
};
