#pragma once

#include "HXRequestAssembly.h"
#include "HXRequestTreeItem.h"
#include "HXWarning.h"

#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class HXEvaluationDocument;
class HXKeyValue;
class HXManagedObjectContext;
class HXResponse;

// A request: method, URL, headers and body, all dynamic strings in their stored form, and how it is sent.
class HXRequest : public HXRequestTreeItem
{
public:
    static QString staticEntityName() { return QStringLiteral("HXRequest"); }

    QString url() const;
    void setUrl(const QString &value);
    // The method as stored (as typed); method() gives it upper-cased.
    QString storedMethod() const;
    QString method() const;
    void setMethod(const QString &value);
    QString body() const;
    void setBody(const QString &value);
    QList<HXKeyValue *> headers() const;
    bool followRedirects() const;
    void setFollowRedirects(bool value);
    bool redirectAuthorization() const;
    void setRedirectAuthorization(bool value);
    bool redirectMethod() const;
    void setRedirectMethod(bool value);
    double timeoutInterval() const;
    void setTimeoutInterval(double value);
    QString uuid() const;
    void setUuid(const QString &value);

    // A new random UUID in its canonical text form.
    static QString generateUUID();
    // The request with this uuid in the store, or null.
    static HXRequest *requestWithUUID(const QString &uuid, HXManagedObjectContext *context);

    // Sets the value of the first own header row whose name evaluates (as
    // ASCII) to exactly `name`, enabling it; adds a row when none does.
    void setHeaderName(const QString &name, const QString &value);
    // The newest response recorded for this request, or null.
    std::shared_ptr<HXResponse> lastResponse() const;
    // "name (METHOD url)" with the URL's display string.
    QString description() const override;
    // Hands header names and values, URL parameters and form fields to the
    // completion store.
    void saveCompletions() const;

    // The stored default (an archived dynamic string) of a well-known header,
    // matched without regard to case.
    static std::optional<QString> defaultValueForHeader(const QString &name);

    // Body kinds, decided by the body's content.
    enum BodyType { BodyTypeText = 0, BodyTypeForm = 1, BodyTypeMultipart = 2, BodyTypeFile = 3 };
    BodyType bodyType() const;
    static QList<int> bodyTypes();
    static QString localizedNameForBodyType(int bodyType);
    static QStringList bodyTypesLocalizedNames();

    static QStringList HTTPMethods();
    static QStringList HTTPMethodsWithBody();
    static QStringList HTTPMIMETypesForXML();
    static QStringList HTTPMIMETypesForJSON();
    static QStringList HTTPMIMETypesForImages();

    static constexpr const char *pasteboardTypeArchive = "kestrelworks.Kea.PasteboardTypeRequestArchive";
    static constexpr const char *pasteboardTypeURI = "kestrelworks.Kea.PasteboardTypeRequestURI";

    // ---- assembly: what will be sent (HXRequestEvaluation.cpp) -----------
    //
    // Every operation below evaluates inside the current evaluation context
    // when there is one (so a signature value computing over its request
    // shares the cache and recursion guard of the pass it is part of), else
    // inside a fresh HXRequestEvaluationContext for `document` with this
    // request set. The context's string encoding and current header are
    // restored when an operation returns. Nothing here saves or changes the
    // request. Main thread only.

    using EvaluationCompletionBlock = std::function<void(const HXRequestAssembly &assembly)>;
    // The whole request, in one evaluation context: headers first (as ASCII;
    // a Content-Type charset chooses the encoding), then the URL and the body
    // in that encoding. Calls `completionBlock` (when given) with the result
    // and returns it. Does not add the automatic Content-Type: see
    // performAutomaticRequestModificationsWithURL.
    HXRequestAssembly evaluateWithDocument(HXEvaluationDocument *document,
                                           const EvaluationCompletionBlock &completionBlock = {});
    // The request as it is sent (and signed): evaluateWithDocument followed
    // by performAutomaticRequestModificationsWithURL.
    HXRequestAssembly assemblyAsSent(HXEvaluationDocument *document);

    // The evaluated `url`, trimmed; the default URL (Kea's echo service) when
    // empty; international domain names and percent-encoding converted as
    // the settings "HXUserDefaultConvertInternationalizedDomainNames" and
    // "HXUserDefaultURLEncodingURLPaths" say, characters outside URLs
    // escaped in `encoding`. None when the text does not parse as a URL.
    std::optional<QUrl> evaluatedURLUsingEncoding(HXStringEncoding encoding);
    // The same before parsing: the URL text that would be sent.
    QString evaluatedURLStringUsingEncoding(HXStringEncoding encoding);

    // The header list: the request's own enabled rows with a name, then the
    // rows of each enclosing folder from the nearest outwards, each owner's
    // rows in their `order`. A folder row is dropped when the list already
    // has that name (like-match), so nearer definitions override farther
    // ones; the request's own rows are never dropped. Names and values are
    // evaluated as ASCII with the context's `header` set to the row. When
    // `encoding` is given, a Content-Type entry with a charset parameter
    // stores that charset's encoding there (UTF-8 for an unknown name; a
    // later Content-Type wins); otherwise it is left as it was.
    HXRequestHeaderList evaluatedHeadersArrayRevealedEncoding(HXStringEncoding *encoding = nullptr);
    // headersDictionaryFromArray() of the list above.
    QMap<QString, QString> evaluatedHeadersDictionaryRevealedEncoding(HXStringEncoding *encoding = nullptr);

    // The body bytes in `encoding`. A body that is one form or multipart
    // token, or an empty body whose Content-Type in `headers` is a form or
    // multipart type (or that has no Content-Type and a method that carries
    // a body), is built as a form with the enabled body parameters of the
    // enclosing folders appended. Any other body is evaluated as it stands.
    QByteArray evaluatedBodyDataUsingEncoding(HXStringEncoding encoding, const HXRequestHeaderList &headers);

    // The one change made before sending: when "HXUserDefaultAutoContentType"
    // is on and `headers` has no Content-Type, a body that is one form,
    // multipart or file token gets a matching Content-Type entry appended.
    // URL, body and encoding pass through unchanged.
    void performAutomaticRequestModificationsWithURL(std::optional<QUrl> &URL, HXRequestHeaderList &headers,
                                                     QByteArray &bodyData, HXStringEncoding &bodyEncoding);
    void performAutomaticRequestModificationsWithURL(HXRequestAssembly &assembly)
    {
        performAutomaticRequestModificationsWithURL(assembly.URL, assembly.headers, assembly.bodyData,
                                                    assembly.bodyEncoding);
    }

    // What is wrong with the request, in a fixed order, each with the
    // buttons that repair it (see HXRequestWarnings).
    QList<HXWarning> warningsWithDocument(HXEvaluationDocument *document);

    // The URL used when a request's URL is empty: Kea's echo service.
    static QString defaultURL();
    // Converts a URL text before it is parsed: with
    // `convertInternationalDomainNames` a host outside ASCII is written in
    // its ASCII-compatible (punycode) form; characters that may not appear
    // in a URL (blanks, controls, quotes, <, >, \, ^, `, {, |, }, and
    // non-ASCII characters outside the host) are percent-encoded from their
    // bytes in `encoding`; with `encodePercent` a "%" in the path is encoded
    // too ("%20" becomes "%2520"), otherwise existing escapes are kept.
    static QString stringByConvertingInternationalDomainNames(const QString &string,
                                                              bool convertInternationalDomainNames, bool encodePercent,
                                                              HXStringEncoding encoding = HXStringEncoding::UTF8);

protected:
    void awakeFromInsert() override;
};
