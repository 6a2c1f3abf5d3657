#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

class HXRequest;

// Amazon S3 request signing (signature version 2), shared by the S3 header
// and signature parameter values. Headers are the name-to-value dictionary
// of an assembled request; header names are compared without regard to case.
//
// Differences from the service's own canonicalization, kept on purpose:
// x-amz- header values are not trimmed and names differing only in case are
// not merged; an x-amz-date header empties the date line (its value is
// signed as an x-amz- header instead); sub-resources are signed by name
// only, never with their values.
class HXAmazonS3Signing
{
public:
    // The service's public endpoint host: "<bucket>.s3.amazonaws.com" is a
    // virtual-hosted bucket, the endpoint itself is path-style, any other
    // host is taken as a bucket name (CNAME).
    static QString endpointHost() { return QStringLiteral("s3.amazonaws.com"); }

    // The query parameter names that name a sub-resource and are signed.
    static const QStringList &subResourceNames();

    // The header rows to sign, in order; a name may occur more than once.
    using HeaderRows = QList<std::pair<QString, QString>>;

    // For each header row whose name begins with "x-amz-" (any case), sorted
    // by name without regard to case (rows of one name keep their order), the
    // line "name:value\n" with the name lower-cased and the value as it
    // stands. Rows of one name are neither merged nor replaced.
    static QString amazonS3CanonicalizedAmzHeaders(const HeaderRows &headers);
    // "/bucket" (lower-cased) for a virtual-hosted bucket or a CNAME host,
    // nothing for the endpoint; then the path as sent ("/" when empty): as
    // written in `urlText`, the text `url` was read from, when given; then
    // "?" and the sub-resource names present in the query, sorted and joined
    // by "&".
    static QString amazonS3CanonicalizedResource(const QUrl &url, const QString &urlText = QString());
    // Method, Content-MD5, Content-Type and date lines, the amz headers and
    // the resource. The date is the "Expires" query parameter with
    // `useExpires`; otherwise empty when an x-amz-date header is present,
    // else the Date header.
    static QString amazonS3StringToSignWithURL(const QUrl &url, const QString &method, const HeaderRows &headers,
                                               bool useExpires, const QString &urlText = QString());
    // HMAC-SHA1 of the string to sign under the secret, in Base64; none when
    // either is not ASCII.
    static std::optional<QString> amazonS3SignatureWithURL(const QUrl &url, const QString &method,
                                                           const HeaderRows &headers, const QString &secretAccessKeyId,
                                                           bool useExpires, const QString &urlText = QString());
    // "AWS <access key id>:<signature>".
    static std::optional<QString> amazonS3AuthorizationHeaderWithAccessKeyId(const QString &accessKeyId,
                                                                             const QString &secretAccessKeyId,
                                                                             const QUrl &url, const QString &method,
                                                                             const HeaderRows &headers,
                                                                             const QString &urlText = QString());

    // ---- over a request (inside the current evaluation context) -----------

    // The Authorization header value for `request` evaluated in its document.
    static std::optional<QString> amazonS3AuthorizationHeaderWithAccessKeyId(HXRequest *request,
                                                                             const QString &accessKeyId,
                                                                             const QString &secretAccessKeyId);
    // The signature of a query-string-authenticated `request` (signed with
    // its Expires parameter), in Base64 as it is (not URL-encoded).
    static std::optional<QString> amazonS3SignatureParameterWithAccessKeyId(HXRequest *request,
                                                                            const QString &accessKeyId,
                                                                            const QString &secretAccessKeyId);
};
