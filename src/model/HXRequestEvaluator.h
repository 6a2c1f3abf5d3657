#pragma once

#include "HXRequestAssembly.h"
#include "HXStringEncoding.h"

#include <QString>
#include <QUrl>

#include <optional>

class HXEvaluationDocument;
class HXRequest;

// Request assembly: turns a stored request into the URL, header list, body
// bytes and encoding that will be sent. HXRequest's evaluation methods are
// this class's; their comments there say what each step does.
class HXRequestEvaluator
{
public:
    explicit HXRequestEvaluator(HXRequest *request) : m_request(request) {}

    HXRequestAssembly evaluateWithDocument(HXEvaluationDocument *document);
    QString evaluatedURLStringUsingEncoding(HXStringEncoding encoding);
    std::optional<QUrl> evaluatedURLUsingEncoding(HXStringEncoding encoding);
    // The URL read strictly from evaluated text; none when it does not parse.
    static std::optional<QUrl> URLFromText(const QString &text);
    HXRequestHeaderList evaluatedHeadersArrayRevealedEncoding(HXStringEncoding *encoding);
    QByteArray evaluatedBodyDataUsingEncoding(HXStringEncoding encoding, const HXRequestHeaderList &headers);
    // Appends the automatic Content-Type to `headers` when it applies.
    void performAutomaticRequestModifications(HXRequestHeaderList &headers);

    static QString stringByConvertingInternationalDomainNames(const QString &string,
                                                              bool convertInternationalDomainNames, bool encodePercent,
                                                              HXStringEncoding encoding);

private:
    HXRequest *m_request;
};
