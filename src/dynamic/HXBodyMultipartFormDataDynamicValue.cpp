#include "HXBodyMultipartFormDataDynamicValue.h"

#include "HXDynamicString.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueContext.h"
#include "HXDynamicValueEngine.h"
#include "HXFileContentDynamicValue.h"
#include "HXKeyValue.h"
#include "HXRequest.h"
#include "HXRequestEvaluationContext.h"
#include "HXStringAdditions.h"

#include <QFileInfo>
#include <QMimeDatabase>

namespace {

HXBodyMultipartFormDataDynamicValue::RequestHeadersEvaluator &requestHeadersEvaluator()
{
    static HXBodyMultipartFormDataDynamicValue::RequestHeadersEvaluator evaluator;
    return evaluator;
}

} // namespace

void HXBodyMultipartFormDataDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXBodyMultipartFormDataDynamicValue>();
}

const QList<HXDynamicProperty> &HXBodyMultipartFormDataDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("keyValues"), HXDynamicPropertyType::KeyValueRows},
    };
    return keys;
}

QByteArray HXBodyMultipartFormDataDynamicValue::multipartBody(const QList<Part> &parts, const QString &boundary,
                                                              HXStringEncoding encoding)
{
    const QByteArray boundaryBytes = HXStringEncodings::encodeLossy(boundary, HXStringEncoding::ASCII);
    QByteArray body;
    for (const Part &part : parts) {
        body.append("--").append(boundaryBytes).append("\r\n");
        QString disposition = QLatin1String("Content-Disposition: form-data; name=\"") +
                              HXStringAdditions::stringByAddingDoubleQuoteEscape(part.name) + u'"';
        if (!part.fileName.isEmpty())
            disposition += QLatin1String("; filename=\"") +
                           HXStringAdditions::stringByAddingDoubleQuoteEscape(part.fileName) + u'"';
        body.append(HXStringEncodings::encodeLossy(disposition, encoding)).append("\r\n");
        if (!part.contentType.isEmpty()) {
            body.append(HXStringEncodings::encodeLossy(
                QLatin1String("Content-Type: ") + part.contentType + QLatin1String("\r\n"), encoding));
        }
        body.append("\r\n").append(part.value).append("\r\n");
    }
    body.append("--").append(boundaryBytes).append("--\r\n");
    return body;
}

std::optional<QString> HXBodyMultipartFormDataDynamicValue::boundaryFromContentType(const QString &contentType)
{
    const QStringList pieces = contentType.split(u';');
    for (const QString &piece : pieces) {
        const QStringList pair = piece.split(u'=');
        if (pair.size() == 2 && pair.at(0).trimmed() == QLatin1String("boundary"))
            return pair.at(1).trimmed();
    }
    return std::nullopt;
}

QString HXBodyMultipartFormDataDynamicValue::boundaryFromHeaders(const QList<std::pair<QString, QString>> &headers)
{
    for (const auto &[name, value] : headers) {
        if (name.compare(QLatin1String("Content-Type"), Qt::CaseInsensitive) == 0)
            return boundaryFromContentType(value).value_or(defaultBoundary());
    }
    return defaultBoundary();
}

QString HXBodyMultipartFormDataDynamicValue::MIMETypeForFile(const QString &path)
{
    static const QMimeDatabase database;
    const QMimeType type = database.mimeTypeForFile(path, QMimeDatabase::MatchExtension);
    if (!type.isValid() || type.isDefault())
        return QStringLiteral("application/octet-stream");
    return type.name();
}

void HXBodyMultipartFormDataDynamicValue::setRequestHeadersEvaluator(RequestHeadersEvaluator evaluator)
{
    requestHeadersEvaluator() = std::move(evaluator);
}

QString HXBodyMultipartFormDataDynamicValue::currentBoundary()
{
    const HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
    if (!context || !context->request())
        return defaultBoundary();
    if (requestHeadersEvaluator())
        return boundaryFromHeaders(requestHeadersEvaluator()(context->request()));
    return boundaryFromHeaders(evaluatedOwnHeaders(context->request()));
}

QList<std::pair<QString, QString>> HXBodyMultipartFormDataDynamicValue::evaluatedOwnHeaders(HXRequest *request)
{
    QList<std::pair<QString, QString>> headers;
    if (!request)
        return headers;
    QList<HXKeyValue *> rows = request->headers();
    std::stable_sort(rows.begin(), rows.end(),
                     [](const HXKeyValue *a, const HXKeyValue *b) { return a->order() < b->order(); });
    HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
    HXKeyValue *previousHeader = context ? context->header() : nullptr;
    for (HXKeyValue *row : std::as_const(rows)) {
        if (!row->enabled())
            continue;
        const QString name = HXDynamicValueEngine::evaluateStringAsString(row->name(), HXStringEncoding::ASCII);
        // Values that depend on the header they stand in see this one.
        if (context)
            context->setHeader(row);
        const QString value = HXDynamicValueEngine::evaluateStringAsString(row->value(), HXStringEncoding::ASCII);
        if (context)
            context->setHeader(previousHeader);
        headers.append({name, value});
    }
    return headers;
}

QByteArray HXBodyMultipartFormDataDynamicValue::evaluatedBodyWithBoundary(const QString &boundary)
{
    const HXStringEncoding encoding = HXDynamicValueContext::currentContextStringEncoding();
    QList<Part> parts;
    const HXDynamicKeyValueRows rows = keyValues();
    for (const HXDynamicKeyValueRow &row : rows) {
        if (!row.enabled)
            continue;
        Part part;
        part.name = HXDynamicValueEngine::evaluateStringAsString(row.name, encoding);
        part.value = HXDynamicValueEngine::evaluateStringAsData(row.value, encoding);
        if (part.name.isEmpty() && part.value.isEmpty())
            continue;
        // A value that is one file token (and nothing else) is sent as a file.
        const HXDynamicValuePtr only = HXDynamicValueEngine::unarchiveAttributedString(row.value).onlyDynamicValue();
        if (const auto file = std::dynamic_pointer_cast<HXFileContentDynamicValue>(only)) {
            if (const std::optional<QString> path =
                    file->resolvedFilePath(HXFileContentDynamicValue::currentDocumentFolder(), false)) {
                part.fileName = QFileInfo(*path).fileName();
                part.contentType = MIMETypeForFile(*path);
            }
        }
        parts.append(part);
    }
    return multipartBody(parts, boundary, encoding);
}

HXDynamicResult HXBodyMultipartFormDataDynamicValue::evaluate()
{
    return evaluatedBodyWithBoundary(currentBoundary());
}

QString HXBodyMultipartFormDataDynamicValue::displayString() const
{
    return localizedName();
}

bool HXBodyMultipartFormDataDynamicValue::isEmpty() const
{
    const HXDynamicKeyValueRows rows = keyValues();
    return std::all_of(rows.cbegin(), rows.cend(),
                       [](const HXDynamicKeyValueRow &row) { return row.name.isEmpty() && row.value.isEmpty(); });
}

bool HXBodyMultipartFormDataDynamicValue::hasAnyNotEmptyDisabledKeyValue() const
{
    const HXDynamicKeyValueRows rows = keyValues();
    return std::any_of(rows.cbegin(), rows.cend(), [](const HXDynamicKeyValueRow &row) {
        return !row.enabled && (!row.name.isEmpty() || !row.value.isEmpty());
    });
}
