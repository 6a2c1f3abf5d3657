#pragma once

#include "HXDynamicValue.h"

#include <functional>
#include <utility>

class HXRequest;

// A multipart/form-data body built from a table of rows. The boundary comes
// from the "boundary" parameter of the request's Content-Type header, else
// "__X_KEA_BOUNDARY__". A row whose value is exactly one file-content token
// becomes a file part, with the file's name and MIME type.
class HXBodyMultipartFormDataDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXBodyMultipartFormDataDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    // Rows of archived dynamic strings (name, value) and an enabled flag.
    HXDynamicKeyValueRows keyValues() const { return keyValueRowsValue(QStringLiteral("keyValues")); }
    void setKeyValues(const HXDynamicKeyValueRows &rows)
    {
        setValue(QStringLiteral("keyValues"), QVariant::fromValue(rows));
    }

    // The body bytes, with the boundary of the request being evaluated.
    HXDynamicResult evaluate() override;
    QString displayString() const override;

    // True when no row (enabled or not) has a name or a value.
    bool isEmpty() const;
    // True when some disabled row has a name or a value.
    bool hasAnyNotEmptyDisabledKeyValue() const;

    // The body with an explicit boundary (evaluate() finds it in the
    // request's headers; see currentBoundary()).
    QByteArray evaluatedBodyWithBoundary(const QString &boundary);

    static QString defaultBoundary() { return QStringLiteral("__X_KEA_BOUNDARY__"); }

    // One part of the body, already evaluated.
    struct Part
    {
        QString name;
        QByteArray value;
        QString fileName;    // empty: no filename parameter
        QString contentType; // empty: no Content-Type line
    };
    // The bytes of a body made of `parts`: for each, the "--boundary" line,
    // the Content-Disposition line with the escaped name (and file name), an
    // optional Content-Type line, a blank line, the value and CR LF; then
    // the closing "--boundary--" line. Header text in `encoding`, the
    // boundary in ASCII.
    static QByteArray multipartBody(const QList<Part> &parts, const QString &boundary, HXStringEncoding encoding);

    // The "boundary" parameter of a Content-Type value (split at ";", each
    // piece at "="; a piece of exactly two parts whose trimmed name is
    // "boundary" gives its trimmed value, quotes kept), or nothing.
    static std::optional<QString> boundaryFromContentType(const QString &contentType);
    // The boundary from the "Content-Type" header (name compared without
    // regard to case) of an evaluated header list, else the default.
    static QString boundaryFromHeaders(const QList<std::pair<QString, QString>> &headers);

    // The MIME type of a file from its extension, "application/octet-stream"
    // when unknown.
    static QString MIMETypeForFile(const QString &path);

    // How the headers of the request being evaluated are obtained. Request
    // assembly may install an evaluator giving the request's full evaluated
    // header list (inherited folder headers included) as name/value pairs.
    // Without one, the request's own enabled header rows are evaluated here,
    // as ASCII, within the current context. Outside a request the default
    // boundary is used.
    using RequestHeadersEvaluator = std::function<QList<std::pair<QString, QString>>(HXRequest *request)>;
    static void setRequestHeadersEvaluator(RequestHeadersEvaluator evaluator);
    // The boundary for the request of the current evaluation context.
    static QString currentBoundary();
    // The request's own enabled header rows in order, evaluated as ASCII.
    static QList<std::pair<QString, QString>> evaluatedOwnHeaders(HXRequest *request);
};
