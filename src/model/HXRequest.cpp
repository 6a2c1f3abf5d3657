#include "HXRequest.h"

#include "HXKeyValue.h"

#include "HXBasicAuthDynamicValue.h"
#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXCompletionSink.h"
#include "HXCookieDynamicValue.h"
#include "HXDynamicValueEngine.h"
#include "HXEchoServiceAddress.h"
#include "HXFileContentDynamicValue.h"
#include "HXHTTPRequest.h"
#include "HXManagedObjectContext.h"
#include "HXRequestEvaluator.h"
#include "HXRequestWarnings.h"
#include "HXResponseProvider.h"
#include "HXTimestampDynamicValue.h"
#include "HXURLEncodedStringParser.h"
#include "HXUserDefaults.h"

#include <QCoreApplication>
#include <QLocale>
#include <QUuid>

QString HXRequest::url() const
{
    return stringForKey(QStringLiteral("url"));
}

void HXRequest::setUrl(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("url"));
}

QString HXRequest::storedMethod() const
{
    return stringForKey(QStringLiteral("method"));
}

void HXRequest::setMethod(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("method"));
}

QString HXRequest::body() const
{
    return stringForKey(QStringLiteral("body"));
}

void HXRequest::setBody(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("body"));
}

QList<HXKeyValue *> HXRequest::headers() const
{
    return objectsForKeyAs<HXKeyValue>(QStringLiteral("headers"));
}

bool HXRequest::followRedirects() const
{
    return valueForKey(QStringLiteral("followRedirects")).toBool();
}

void HXRequest::setFollowRedirects(bool value)
{
    setValueForKey(QVariant(value), QStringLiteral("followRedirects"));
}

bool HXRequest::redirectAuthorization() const
{
    return valueForKey(QStringLiteral("redirectAuthorization")).toBool();
}

void HXRequest::setRedirectAuthorization(bool value)
{
    setValueForKey(QVariant(value), QStringLiteral("redirectAuthorization"));
}

bool HXRequest::redirectMethod() const
{
    return valueForKey(QStringLiteral("redirectMethod")).toBool();
}

void HXRequest::setRedirectMethod(bool value)
{
    setValueForKey(QVariant(value), QStringLiteral("redirectMethod"));
}

double HXRequest::timeoutInterval() const
{
    return valueForKey(QStringLiteral("timeoutInterval")).toDouble();
}

void HXRequest::setTimeoutInterval(double value)
{
    setValueForKey(QVariant(value), QStringLiteral("timeoutInterval"));
}

QString HXRequest::uuid() const
{
    return stringForKey(QStringLiteral("uuid"));
}

void HXRequest::setUuid(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("uuid"));
}

QString HXRequest::method() const
{
    return storedMethod().toUpper();
}

QString HXRequest::generateUUID()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

void HXRequest::awakeFromInsert()
{
    HXRequestTreeItem::awakeFromInsert();
    setUuid(generateUUID());
}

HXRequest *HXRequest::requestWithUUID(const QString &uuid, HXManagedObjectContext *context)
{
    if (context == nullptr)
        return nullptr;
    HXFetchRequest fetch(QStringLiteral("HXRequest"));
    fetch.where(QStringLiteral("uuid"), HXFetchRequest::Equal, uuid).sortBy(QStringLiteral("uuid"));
    fetch.setFetchLimit(1);
    const auto found = context->executeFetchRequest(fetch);
    if (!found.ok() || found->isEmpty())
        return nullptr;
    return static_cast<HXRequest *>(found->last());
}

void HXRequest::setHeaderName(const QString &name, const QString &value)
{
    for (HXKeyValue *row : HXKeyValue::keyValuesForRelationship(QStringLiteral("request"), this)) {
        if (HXDynamicValueEngine::evaluateStringAsString(row->name(), HXStringEncoding::ASCII) == name) {
            row->setValue(value);
            row->setEnabled(true);
            return;
        }
    }
    HXKeyValue::addKeyValueName(name, value, QStringLiteral("request"), this);
}

std::shared_ptr<HXResponse> HXRequest::lastResponse() const
{
    HXResponseProvider *provider = HXResponseProvider::sharedProvider();
    return provider != nullptr ? provider->lastResponseForRequest(this) : nullptr;
}

QString HXRequest::description() const
{
    return QStringLiteral("%1 (%2 %3)").arg(name(), method(), HXDynamicValueEngine::displayStringFromString(url()));
}

void HXRequest::saveCompletions() const
{
    HXCompletionSink *sink = HXCompletionSink::sharedSink();
    if (sink == nullptr)
        return;
    auto display = [](const QString &archived) { return HXDynamicValueEngine::displayStringFromString(archived); };
    QStringList headerNames, headerValues;
    for (HXKeyValue *row :
         HXKeyValue::keyValuesForRelationship(QStringLiteral("request"), const_cast<HXRequest *>(this))) {
        if (row->isBlank())
            continue;
        headerNames.append(display(row->name()));
        headerValues.append(display(row->value()));
    }
    QStringList parameterNames, parameterValues;
    HXURLEncodedStringParser::Options options;
    options.withPath = true;
    for (const HXURLEncodedRow &row :
         HXURLEncodedStringParser::rowsForString(HXDynamicValueEngine::unarchiveAttributedString(url()), options)) {
        parameterNames.append(HXDynamicValueEngine::displayStringFromAttributedString(row.name));
        parameterValues.append(HXDynamicValueEngine::displayStringFromAttributedString(row.value));
    }
    QStringList fieldNames, fieldValues;
    const HXDynamicValuePtr only = HXDynamicValueEngine::unarchiveAttributedString(body()).onlyDynamicValue();
    HXDynamicKeyValueRows fields;
    if (auto *form = dynamic_cast<HXBodyFormKeyValueDynamicValue *>(only.get()))
        fields = form->keyValues();
    else if (auto *multipart = dynamic_cast<HXBodyMultipartFormDataDynamicValue *>(only.get()))
        fields = multipart->keyValues();
    for (const HXDynamicKeyValueRow &field : std::as_const(fields)) {
        fieldNames.append(display(field.name));
        fieldValues.append(display(field.value));
    }
    sink->addCompletions(QStringLiteral("HXCompletionCategoryHTTPRequestHeaders"), headerNames);
    sink->addCompletions(QStringLiteral("HXCompletionCategoryHTTPRequestHeadersValue"), headerValues);
    sink->addCompletions(QStringLiteral("HXCompletionCategoryHTTPRequestParameters"), parameterNames);
    sink->addCompletions(QStringLiteral("HXCompletionCategoryHTTPRequestParametersValue"), parameterValues);
    sink->addCompletions(QStringLiteral("HXCompletionCategoryHTTPRequestBody"), fieldNames);
    sink->addCompletions(QStringLiteral("HXCompletionCategoryHTTPRequestBodyValue"), fieldValues);
    HXUserDefaults::standardUserDefaults().setBool(true, QStringLiteral("_HXUserDefaultHasNewCompletions"));
}

std::optional<QString> HXRequest::defaultValueForHeader(const QString &name)
{
    const QString key = name.toLower();
    if (key == u"date")
        return HXTimestampDynamicValue::archivedDefaultDateHeaderValue();
    if (key == u"accept-charset")
        return QStringLiteral("utf-8");
    if (key == u"user-agent")
        return HXHTTPRequest::defaultUserAgent();
    if (key == u"authorization")
        return HXBasicAuthDynamicValue::archivedDefaultAuthorizationHeaderValue();
    if (key == u"cache-control")
        return QStringLiteral("no-cache");
    if (key == u"accept-language")
        return QLocale::system().name().replace(u'_', u'-');
    if (key == u"accept-encoding")
        return QStringLiteral("gzip, identity");
    if (key == u"cookie")
        return HXCookieDynamicValue::archivedDefaultCookieHeaderValue();
    return std::nullopt;
}

HXRequest::BodyType HXRequest::bodyType() const
{
    const HXDynamicValuePtr only = HXDynamicValueEngine::unarchiveAttributedString(body()).onlyDynamicValue();
    if (only == nullptr)
        return BodyTypeText;
    const QString kind = only->className();
    if (kind == HXBodyFormKeyValueDynamicValue::staticClassName())
        return BodyTypeForm;
    if (kind == HXBodyMultipartFormDataDynamicValue::staticClassName())
        return BodyTypeMultipart;
    if (kind == HXFileContentDynamicValue::staticClassName())
        return BodyTypeFile;
    return BodyTypeText;
}

QList<int> HXRequest::bodyTypes()
{
    return {BodyTypeText, BodyTypeForm, BodyTypeMultipart, BodyTypeFile};
}

QString HXRequest::localizedNameForBodyType(int bodyType)
{
    switch (bodyType) {
    case BodyTypeText:
        return QCoreApplication::translate("HXRequest", "Text");
    case BodyTypeForm:
        return QCoreApplication::translate("HXRequest", "Form URL-Encoded");
    case BodyTypeMultipart:
        return QCoreApplication::translate("HXRequest", "Multipart");
    case BodyTypeFile:
        return QCoreApplication::translate("HXRequest", "File");
    default:
        return QString();
    }
}

QStringList HXRequest::bodyTypesLocalizedNames()
{
    QStringList names;
    for (const int type : bodyTypes())
        names.append(localizedNameForBodyType(type));
    return names;
}

QStringList HXRequest::HTTPMethods()
{
    return {QStringLiteral("GET"),    QStringLiteral("HEAD"),    QStringLiteral("POST"),  QStringLiteral("PUT"),
            QStringLiteral("DELETE"), QStringLiteral("OPTIONS"), QStringLiteral("PATCH"), QStringLiteral("CONNECT")};
}

QStringList HXRequest::HTTPMethodsWithBody()
{
    // DELETE deliberately has no body here.
    return {QStringLiteral("POST"), QStringLiteral("PUT"), QStringLiteral("OPTIONS"), QStringLiteral("PATCH")};
}

QStringList HXRequest::HTTPMIMETypesForXML()
{
    return {QStringLiteral("application/xml"), QStringLiteral("text/xml"), QStringLiteral("image/svg+xml")};
}

QStringList HXRequest::HTTPMIMETypesForJSON()
{
    return {QStringLiteral("application/json"), QStringLiteral("text/javascript")};
}

QStringList HXRequest::HTTPMIMETypesForImages()
{
    return {QStringLiteral("image/png"), QStringLiteral("image/jpeg"), QStringLiteral("image/gif"),
            QStringLiteral("image/svg+xml")};
}

// ---- evaluation (HXRequestEvaluator) and warnings (HXRequestWarnings) --------

HXRequestAssembly HXRequest::evaluateWithDocument(HXEvaluationDocument *document,
                                                  const EvaluationCompletionBlock &completionBlock)
{
    const HXRequestAssembly assembly = HXRequestEvaluator(this).evaluateWithDocument(document);
    if (completionBlock)
        completionBlock(assembly);
    return assembly;
}

HXRequestAssembly HXRequest::assemblyAsSent(HXEvaluationDocument *document)
{
    HXRequestAssembly assembly = evaluateWithDocument(document);
    performAutomaticRequestModificationsWithURL(assembly);
    return assembly;
}

QString HXRequest::defaultURL()
{
    return HXEchoServiceAddress::defaultURL();
}

QString HXRequest::evaluatedURLStringUsingEncoding(HXStringEncoding encoding)
{
    return HXRequestEvaluator(this).evaluatedURLStringUsingEncoding(encoding);
}

std::optional<QUrl> HXRequest::evaluatedURLUsingEncoding(HXStringEncoding encoding)
{
    return HXRequestEvaluator(this).evaluatedURLUsingEncoding(encoding);
}

QString HXRequest::stringByConvertingInternationalDomainNames(const QString &string,
                                                              bool convertInternationalDomainNames, bool encodePercent,
                                                              HXStringEncoding encoding)
{
    return HXRequestEvaluator::stringByConvertingInternationalDomainNames(string, convertInternationalDomainNames,
                                                                          encodePercent, encoding);
}

HXRequestHeaderList HXRequest::evaluatedHeadersArrayRevealedEncoding(HXStringEncoding *encoding)
{
    return HXRequestEvaluator(this).evaluatedHeadersArrayRevealedEncoding(encoding);
}

QMap<QString, QString> HXRequest::evaluatedHeadersDictionaryRevealedEncoding(HXStringEncoding *encoding)
{
    return evaluatedHeadersArrayRevealedEncoding(encoding).headersDictionaryFromArray();
}

QByteArray HXRequest::evaluatedBodyDataUsingEncoding(HXStringEncoding encoding, const HXRequestHeaderList &headers)
{
    return HXRequestEvaluator(this).evaluatedBodyDataUsingEncoding(encoding, headers);
}

void HXRequest::performAutomaticRequestModificationsWithURL(std::optional<QUrl> &URL, HXRequestHeaderList &headers,
                                                            QByteArray &bodyData, HXStringEncoding &bodyEncoding)
{
    Q_UNUSED(URL);
    Q_UNUSED(bodyData);
    Q_UNUSED(bodyEncoding);
    HXRequestEvaluator(this).performAutomaticRequestModifications(headers);
}

QList<HXWarning> HXRequest::warningsWithDocument(HXEvaluationDocument *document)
{
    return HXRequestWarnings::warningsForRequest(this, document);
}
