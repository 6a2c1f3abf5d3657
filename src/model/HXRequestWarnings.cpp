// The warnings a request carries, with the buttons that repair it.

#include "HXRequestWarnings.h"

#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXDynamicValueEngine.h"
#include "HXEvaluationDocument.h"
#include "HXFileContentDynamicValue.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXNonceDynamicValue.h"
#include "HXRequest.h"
#include "HXRequestAssemblyState.h"
#include "HXRequestEvaluationContext.h"
#include "HXThreading.h"
#include "HXTimestampDynamicValue.h"
#include "HXUndoManager.h"
#include "HXUserDefaults.h"

#include <QCoreApplication>
#include <QPointer>
#include <QRegularExpression>
#include <QUrlQuery>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("HXRequest", text);
}

// One enabled, non-blank header row of the request itself, evaluated.
struct HeaderItem
{
    HXKeyValue *row = nullptr;
    QString evaluatedName;
    QString evaluatedValue;
};

std::optional<QString> valueForNameIgnoringCase(const QMap<QString, QString> &map, const QString &name)
{
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (it.key().compare(name, Qt::CaseInsensitive) == 0)
            return it.value();
    }
    return std::nullopt;
}

// An action that applies `change` as one undoable step named `name`, then
// processes the store's pending changes. It does nothing once the store is
// gone or the request was deleted.
HXWarning::Action undoableAction(HXRequest *request, const QString &name, std::function<void()> change)
{
    QPointer<HXManagedObjectContext> context = request->managedObjectContext();
    return [context, request, name, change = std::move(change)] {
        if (context.isNull() || !request->isLive())
            return;
        HXUndoManager *undo = context->undoManager();
        if (undo != nullptr)
            undo->beginUndoGrouping();
        change();
        context->processPendingChanges();
        if (undo != nullptr) {
            undo->setActionName(name);
            undo->endUndoGrouping();
        }
    };
}

bool containsKind(const QString &archived, const QString &className)
{
    return HXDynamicValueEngine::unarchiveAttributedString(archived).containsDynamicValue(
        [&](const HXDynamicValuePtr &value) { return value != nullptr && value->isKindOfClass(className); });
}

// True when the Accept-Encoding value names a coding Kea cannot decode.
bool hasUnsupportedCoding(const QString &value)
{
    QString compact = value;
    compact.removeIf([](QChar c) { return c.isSpace(); });
    for (const QString &part : compact.split(u',')) {
        const QString coding = part.section(u';', 0, 0);
        if (!coding.isEmpty() && coding != u"gzip" && coding != u"identity")
            return true;
    }
    return false;
}

const QString amazonS3HeaderKind = QStringLiteral("HXAmazonS3HeaderDynamicValue");
const QString amazonS3SignatureParameterKind = QStringLiteral("HXAmazonS3SignatureParameterDynamicValue");

} // namespace

QList<HXWarning> HXRequestWarnings::warningsForRequest(HXRequest *request, HXEvaluationDocument *document)
{
    HX_ASSERT_MAIN_THREAD();
    // One evaluation pass: the request's own headers (as ASCII), then the URL
    // and the body in the encoding their Content-Type names.
    QList<HeaderItem> items;
    QMap<QString, QString> headerMap;
    std::optional<QUrl> evaluatedURL;
    QByteArray bodyData;
    HXRequestAssemblyState::runInRequestContext(request, document, [&] {
        HXRequestAssemblyState state;
        state.setEncoding(HXStringEncoding::ASCII);
        HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
        HXStringEncoding encoding = HXStringEncoding::UTF8;
        for (HXKeyValue *row : HXKeyValue::keyValuesForRelationship(QStringLiteral("request"), request)) {
            if (!row->enabled() || row->isBlank())
                continue;
            if (context != nullptr)
                context->setHeader(row);
            HeaderItem item{row, HXDynamicValueEngine::evaluateStringAsString(row->name(), HXStringEncoding::ASCII),
                            HXDynamicValueEngine::evaluateStringAsString(row->value(), HXStringEncoding::ASCII)};
            if (context != nullptr)
                context->setHeader(state.header());
            headerMap.insert(item.evaluatedName, item.evaluatedValue);
            if (item.evaluatedName.compare(u"Content-Type", Qt::CaseInsensitive) == 0) {
                if (const auto charset =
                        HXRequestHeaderList::HTTPHeaderParameter(item.evaluatedValue, QStringLiteral("charset")))
                    encoding = HXStringEncodings::encodingForIANAName(*charset).value_or(HXStringEncoding::UTF8);
            }
            items.append(item);
        }
        state.setEncoding(encoding);
        evaluatedURL = request->evaluatedURLUsingEncoding(encoding);
        bodyData = request->evaluatedBodyDataUsingEncoding(encoding, HXRequestHeaderList());
    });

    QList<HXWarning> warnings;
    const QString method = request->method();
    const bool autoContentType =
        HXUserDefaults::standardUserDefaults().boolForKey(QStringLiteral("HXUserDefaultAutoContentType"));

    // 1. A body on a method that does not carry one.
    if (!bodyData.isEmpty() && !HXRequest::HTTPMethodsWithBody().contains(method)) {
        warnings.append(HXWarning(tr("%1 requests shouldn't have a body").arg(method),
                                  {{tr("Remove Body"), undoableAction(request, tr("Remove Body"),
                                                                      [request] { request->setBody(QString()); })},
                                   {tr("Change to POST"), undoableAction(request, tr("Change to POST"), [request] {
                                        request->setMethod(QStringLiteral("POST"));
                                    })}}));
    }

    // 2, 3. The URL.
    if (evaluatedURL) {
        const QString scheme = evaluatedURL->scheme().toLower();
        if (scheme != u"http" && scheme != u"https") {
            warnings.append(HXWarning(
                tr("Invalid URL protocol"),
                {{tr("Use http"), undoableAction(request, tr("Use http"), [request] {
                      static const QRegularExpression leadingScheme(QStringLiteral("^[a-zA-Z0-9]+\\:\\/\\/"));
                      const HXDynamicString stored = HXDynamicValueEngine::unarchiveAttributedString(request->url());
                      const QRegularExpressionMatch match = leadingScheme.match(stored.string());
                      HXDynamicString fixed(QStringLiteral("http://"));
                      fixed.append(stored.mid(match.hasMatch() ? match.capturedEnd() : 0));
                      request->setUrl(HXDynamicValueEngine::archiveAttributedString(fixed));
                  })}}));
        }
    } else {
        warnings.append(HXWarning(tr("Invalid URL"), {{tr("Reset the default URL"),
                                                       undoableAction(request, tr("Reset the default URL"),
                                                                      [request] { request->setUrl(QString()); })}}));
    }

    // 4 to 9. Each header row of the request, in order.
    auto disableAction = [request](HXKeyValue *row) {
        return undoableAction(request, tr("Disable header"), [row] {
            if (row->isLive())
                row->setEnabled(false);
        });
    };
    auto deleteAction = [request](HXKeyValue *row, const QString &name) {
        return undoableAction(request, name, [row] {
            if (row->isLive() && row->managedObjectContext() != nullptr)
                row->managedObjectContext()->deleteObject(row);
        });
    };
    QSet<QString> seenNames;
    QSet<QString> reportedNames;
    for (const HeaderItem &item : std::as_const(items)) {
        HXKeyValue *row = item.row;
        if (row->name().isEmpty()) {
            warnings.append(HXWarning(tr("Header %1 won't be sent because its name is empty").arg(item.evaluatedValue),
                                      {{tr("Disable header"), disableAction(row)}}));
        } else if (row->value().isEmpty()) {
            HXWarning warning(tr("Header %1 won't be sent because its value is empty").arg(item.evaluatedName),
                              {{tr("Disable header"), disableAction(row)}});
            if (const std::optional<QString> defaultValue = HXRequest::defaultValueForHeader(item.evaluatedName)) {
                warning.addButton(tr("Set default value"),
                                  undoableAction(request, tr("Set default value"), [row, value = *defaultValue] {
                                      if (row->isLive())
                                          row->setValue(value);
                                  }));
            }
            warnings.append(warning);
        }

        if (!item.evaluatedValue.isEmpty()) {
            const QString deleteName = tr("Delete %1 header").arg(item.evaluatedName);
            if (item.evaluatedName.compare(u"Connection", Qt::CaseInsensitive) == 0)
                warnings.append(HXWarning(tr("Connection type shouldn't be changed"),
                                          {{deleteName, deleteAction(row, deleteName)}}));
            else if (item.evaluatedName.compare(u"Content-Length", Qt::CaseInsensitive) == 0)
                warnings.append(HXWarning(tr("Setting manually the Content-Length can create a malformed request"),
                                          {{deleteName, deleteAction(row, deleteName)}}));
        }

        if (item.evaluatedName.compare(u"Accept-Encoding", Qt::CaseInsensitive) == 0 &&
            hasUnsupportedCoding(item.evaluatedValue)) {
            const QString defaultEncoding = HXRequest::defaultValueForHeader(QStringLiteral("Accept-Encoding"))
                                                .value_or(QStringLiteral("gzip, identity"));
            warnings.append(HXWarning(
                tr("Kea supports only gzip and identity encodings"),
                {{tr("Set default encoding"), undoableAction(request, tr("Set default encoding"),
                                                             [row, defaultEncoding] {
                                                                 if (row->isLive())
                                                                     row->setValue(defaultEncoding);
                                                             })},
                 {tr("Delete Accept-Encoding header"), deleteAction(row, tr("Delete Accept-Encoding header"))}}));
        }

        if (seenNames.contains(item.evaluatedName) && !reportedNames.contains(item.evaluatedName)) {
            reportedNames.insert(item.evaluatedName);
            QList<HXKeyValue *> later;
            bool first = true;
            for (const HeaderItem &other : std::as_const(items)) {
                if (other.evaluatedName != item.evaluatedName)
                    continue;
                if (!first)
                    later.append(other.row);
                first = false;
            }
            warnings.append(HXWarning(
                tr("Multiple occurrences of header %1").arg(item.evaluatedName),
                {{tr("Disable last occurrences"), undoableAction(request, tr("Disable last occurrences"), [later] {
                      for (HXKeyValue *laterRow : later) {
                          if (laterRow->isLive())
                              laterRow->setEnabled(false);
                      }
                  })}}));
        }
        seenNames.insert(item.evaluatedName);
    }

    // 10 to 12. The Content-Type of a form, file or multipart body.
    const HXDynamicValuePtr onlyBodyValue =
        HXDynamicValueEngine::unarchiveAttributedString(request->body()).onlyDynamicValue();
    const std::optional<QString> contentType = valueForNameIgnoringCase(headerMap, QStringLiteral("Content-Type"));
    const bool automatic = !contentType && autoContentType;
    auto setContentTypeAction = [request](const QString &buttonName, const QString &value) {
        return undoableAction(request, buttonName,
                              [request, value] { request->setHeaderName(QStringLiteral("Content-Type"), value); });
    };
    if (onlyBodyValue != nullptr && onlyBodyValue->isKindOfClass(QStringLiteral("HXBodyFormKeyValueDynamicValue"))) {
        if (!contentType.value_or(QString()).startsWith(u"application/x-www-form-urlencoded") && !automatic)
            warnings.append(HXWarning(tr("Set Content-Type header to 'application/x-www-form-urlencoded'"),
                                      {{tr("Set Content-Type header"),
                                        setContentTypeAction(tr("Set Content-Type header"),
                                                             QStringLiteral("application/x-www-form-urlencoded"))}}));
    } else if (onlyBodyValue != nullptr && onlyBodyValue->isKindOfClass(HXFileContentDynamicValue::staticClassName())) {
        if (!contentType && !autoContentType) {
            std::optional<QString> path;
            HXRequestAssemblyState::runInRequestContext(request, document, [&] {
                path = static_cast<HXFileContentDynamicValue *>(onlyBodyValue.get())
                           ->resolvedFilePath(HXFileContentDynamicValue::currentDocumentFolder(), false);
            });
            const QString type = path ? HXBodyMultipartFormDataDynamicValue::MIMETypeForFile(*path)
                                      : QStringLiteral("application/octet-stream");
            warnings.append(HXWarning(tr("Sending a file without setting a Content-Type header"),
                                      {{tr("Set %1").arg(type), setContentTypeAction(tr("Set %1").arg(type), type)}}));
        }
    } else if (onlyBodyValue != nullptr &&
               onlyBodyValue->isKindOfClass(QStringLiteral("HXBodyMultipartFormDataDynamicValue"))) {
        const QString value = contentType.value_or(QString());
        const bool valid = value.startsWith(u"multipart/form-data") &&
                           HXRequestHeaderList::HTTPHeaderParameter(value, QStringLiteral("boundary")).has_value();
        if (!valid && !automatic) {
            warnings.append(HXWarning(
                tr("Set Content-Type to 'multipart/form-data' and include a boundary"),
                {{tr("Set Content-Type header"), undoableAction(request, tr("Set Content-Type header"), [request] {
                      HXDynamicString header(QStringLiteral("multipart/form-data; boundary="));
                      header.appendDynamicValue(HXDynamicValue::make<HXNonceDynamicValue>());
                      request->setHeaderName(QStringLiteral("Content-Type"),
                                             HXDynamicValueEngine::archiveAttributedString(header));
                  })}}));
        }
    }

    // 13. An Amazon S3 Authorization header needs a date.
    if (!valueForNameIgnoringCase(headerMap, QStringLiteral("Date")) &&
        !valueForNameIgnoringCase(headerMap, QStringLiteral("x-amz-date"))) {
        for (const HeaderItem &item : std::as_const(items)) {
            if (item.evaluatedName.compare(u"Authorization", Qt::CaseInsensitive) != 0)
                continue;
            if (containsKind(item.row->value(), amazonS3HeaderKind)) {
                warnings.append(
                    HXWarning(tr("Amazon S3 requires a Date header"),
                              {{tr("Add Date header"), undoableAction(request, tr("Add Date header"), [request] {
                                    auto date = HXDynamicValue::make<HXTimestampDynamicValue>();
                                    date->setFormat(2);
                                    HXKeyValue::addKeyValueName(QStringLiteral("Date"), date->archivedString(),
                                                                QStringLiteral("request"), request);
                                })}}));
            }
            break;
        }
    }

    // 14, 15. An Amazon S3 signature in the URL needs its query parameters.
    const HXDynamicString storedURL = HXDynamicValueEngine::unarchiveAttributedString(request->url());
    const HXDynamicValuePtr signature = storedURL.firstDynamicValueMatching(
        [](const HXDynamicValuePtr &value) { return value->isKindOfClass(amazonS3SignatureParameterKind); });
    if (signature != nullptr) {
        const QUrlQuery query(evaluatedURL.value_or(QUrl()));
        auto addParameterAction = [request](const QString &buttonName, const QString &name,
                                            std::function<HXDynamicString()> makeValue) {
            return undoableAction(request, buttonName, [request, name, makeValue] {
                const HXDynamicString stored = HXDynamicValueEngine::unarchiveAttributedString(request->url());
                request->setUrl(HXDynamicValueEngine::archiveAttributedString(
                    stored.attributedStringByAddingQueryParameter(name, makeValue())));
            });
        };
        if (!query.hasQueryItem(QStringLiteral("Expires"))) {
            warnings.append(HXWarning(tr("Amazon S3 Signature requires an Expires parameter"),
                                      {{tr("Add Expires parameter"),
                                        addParameterAction(tr("Add Expires parameter"), QStringLiteral("Expires"), [] {
                                            auto expires = HXDynamicValue::make<HXTimestampDynamicValue>();
                                            expires->setFormat(1);
                                            expires->setDelta(60);
                                            return HXDynamicString::withDynamicValue(expires);
                                        })}}));
        }
        if (!query.hasQueryItem(QStringLiteral("AWSAccessKeyId"))) {
            const QString accessKeyId = signature->valueForKey(QStringLiteral("accessKeyId")).toString();
            warnings.append(
                HXWarning(tr("Amazon S3 Signature requires an AWSAccessKeyId parameter"),
                          {{tr("Add AWSAccessKeyId parameter"),
                            addParameterAction(tr("Add AWSAccessKeyId parameter"), QStringLiteral("AWSAccessKeyId"),
                                               [accessKeyId] { return HXDynamicString(accessKeyId); })}}));
        }
    }
    return warnings;
}
