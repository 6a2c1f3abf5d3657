// Request assembly: turning a stored request into the URL, header list, body
// bytes and encoding that will be sent.

#include "HXRequestEvaluator.h"

#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXDynamicValueContext.h"
#include "HXDynamicValueEngine.h"
#include "HXEvaluationDocument.h"
#include "HXFileContentDynamicValue.h"
#include "HXKeyValue.h"
#include "HXRequest.h"
#include "HXRequestAssemblyState.h"
#include "HXRequestEvaluationContext.h"
#include "HXRequestGroup.h"
#include "HXThreading.h"
#include "HXUserDefaults.h"

#include <QFileInfo>
#include <QSet>

namespace {

// The folders above `request`, nearest first. A broken (cyclic) parent chain
// ends at the first folder met again.
QList<HXRequestGroup *> ancestorFolders(const HXRequest *request)
{
    QList<HXRequestGroup *> folders;
    QSet<const HXRequestGroup *> seen;
    for (HXRequestGroup *folder = request->parent(); folder != nullptr; folder = folder->parent()) {
        if (seen.contains(folder))
            break;
        seen.insert(folder);
        folders.append(folder);
    }
    return folders;
}

bool isFormBuilder(const HXDynamicValuePtr &value)
{
    return value != nullptr && value->isKindOfClass(HXBodyFormKeyValueDynamicValue::staticClassName());
}

bool isMultipartBuilder(const HXDynamicValuePtr &value)
{
    return value != nullptr && value->isKindOfClass(HXBodyMultipartFormDataDynamicValue::staticClassName());
}

// Characters that may stand in a URL as they are.
bool isURLCharacter(char16_t c)
{
    if ((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9'))
        return true;
    switch (c) {
    case u'-':
    case u'.':
    case u'_':
    case u'~':
    case u':':
    case u'/':
    case u'?':
    case u'#':
    case u'[':
    case u']':
    case u'@':
    case u'!':
    case u'$':
    case u'&':
    case u'\'':
    case u'(':
    case u')':
    case u'*':
    case u'+':
    case u',':
    case u';':
    case u'=':
    case u'%':
        return true;
    default:
        return false;
    }
}

void appendPercentEncoded(QString &out, const QString &characters, HXStringEncoding encoding)
{
    static const char digits[] = "0123456789ABCDEF";
    for (const char byte : HXStringEncodings::encodeLossy(characters, encoding)) {
        const auto b = static_cast<unsigned char>(byte);
        out += u'%';
        out += QLatin1Char(digits[b >> 4]);
        out += QLatin1Char(digits[b & 0xF]);
    }
}

} // namespace

// ---- whole evaluation --------------------------------------------------------

HXRequestAssembly HXRequestEvaluator::evaluateWithDocument(HXEvaluationDocument *document)
{
    HX_ASSERT_MAIN_THREAD();
    HXRequestAssembly assembly;
    HXRequestAssemblyState::runInRequestContext(m_request, document, [&] {
        HXRequestAssemblyState state;
        // Headers first: their Content-Type charset decides how the URL and
        // the body are encoded.
        HXStringEncoding encoding = HXStringEncoding::UTF8;
        assembly.headers = evaluatedHeadersArrayRevealedEncoding(&encoding);
        state.setEncoding(encoding);
        assembly.URLText = evaluatedURLStringUsingEncoding(encoding);
        assembly.URL = URLFromText(assembly.URLText);
        assembly.bodyData = evaluatedBodyDataUsingEncoding(encoding, assembly.headers);
        assembly.bodyEncoding = encoding;
    });
    return assembly;
}

// ---- URL ---------------------------------------------------------------------

QString HXRequestEvaluator::evaluatedURLStringUsingEncoding(HXStringEncoding encoding)
{
    QString text;
    HXRequestAssemblyState::runInRequestContext(m_request, nullptr, [&] {
        HXRequestAssemblyState state;
        state.setEncoding(encoding);
        text = HXDynamicValueEngine::evaluateStringAsString(m_request->url(), encoding).trimmed();
    });
    if (text.isEmpty())
        text = HXRequest::defaultURL();
    const HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    return stringByConvertingInternationalDomainNames(
        text, defaults.boolForKey(QStringLiteral("HXUserDefaultConvertInternationalizedDomainNames")),
        defaults.boolForKey(QStringLiteral("HXUserDefaultURLEncodingURLPaths")), encoding);
}

std::optional<QUrl> HXRequestEvaluator::URLFromText(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.isEmpty())
        return std::nullopt;
    return url;
}

std::optional<QUrl> HXRequestEvaluator::evaluatedURLUsingEncoding(HXStringEncoding encoding)
{
    return URLFromText(evaluatedURLStringUsingEncoding(encoding));
}

QString HXRequestEvaluator::stringByConvertingInternationalDomainNames(const QString &string,
                                                                       bool convertInternationalDomainNames,
                                                                       bool encodePercent, HXStringEncoding encoding)
{
    // Find the host (inside "scheme://[userinfo@]host[:port]") and the path
    // (from after the authority, or the scheme, to the first "?" or "#").
    qsizetype pathStart = 0;
    qsizetype hostStart = -1;
    qsizetype hostEnd = -1;
    // A scheme: a letter, then letters, digits, "+", "." or "-", then ":".
    const auto isSchemeCharacter = [](QChar c, bool first) {
        const char16_t u = c.unicode();
        const bool letter = (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z');
        return letter || (!first && ((u >= u'0' && u <= u'9') || u == u'+' || u == u'.' || u == u'-'));
    };
    qsizetype schemeEnd = 0;
    while (schemeEnd < string.size() && isSchemeCharacter(string.at(schemeEnd), schemeEnd == 0))
        ++schemeEnd;
    if (schemeEnd > 0 && schemeEnd < string.size() && string.at(schemeEnd) == u':') {
        pathStart = schemeEnd + 1;
        if (string.mid(pathStart, 2) == u"//") {
            const qsizetype authorityStart = pathStart + 2;
            qsizetype authorityEnd = authorityStart;
            while (authorityEnd < string.size() && string.at(authorityEnd) != u'/' && string.at(authorityEnd) != u'?' &&
                   string.at(authorityEnd) != u'#')
                ++authorityEnd;
            pathStart = authorityEnd;
            const qsizetype at = string.lastIndexOf(u'@', authorityEnd - 1);
            hostStart = (at >= authorityStart) ? at + 1 : authorityStart;
            hostEnd = authorityEnd;
            if (hostStart < hostEnd && string.at(hostStart) != u'[') {
                const qsizetype colon = string.lastIndexOf(u':', authorityEnd - 1);
                if (colon >= hostStart)
                    hostEnd = colon;
            }
        }
    }
    qsizetype pathEnd = pathStart;
    while (pathEnd < string.size() && string.at(pathEnd) != u'?' && string.at(pathEnd) != u'#')
        ++pathEnd;

    QString host = hostStart >= 0 ? string.mid(hostStart, hostEnd - hostStart) : QString();
    bool hostIsASCII = true;
    for (const QChar c : std::as_const(host))
        hostIsASCII = hostIsASCII && c.unicode() < 0x80;
    if (!hostIsASCII && convertInternationalDomainNames) {
        const QByteArray ace = QUrl::toAce(host);
        if (!ace.isEmpty()) {
            host = QString::fromLatin1(ace);
            hostIsASCII = true;
        }
    }

    QString out;
    out.reserve(string.size() + 16);
    QString pending; // characters waiting to be percent-encoded together
    auto flush = [&] {
        if (!pending.isEmpty())
            appendPercentEncoded(out, pending, encoding);
        pending.clear();
    };
    for (qsizetype i = 0; i < string.size(); ++i) {
        if (i == hostStart && hostStart < hostEnd) {
            flush();
            // A host kept in Unicode stays as it is: the URL parser knows it.
            out += host;
            i = hostEnd - 1;
            continue;
        }
        const char16_t c = string.at(i).unicode();
        const bool inPath = i >= pathStart && i < pathEnd;
        if (isURLCharacter(c) && !(c == u'%' && encodePercent && inPath)) {
            flush();
            out += QChar(c);
        } else {
            pending += QChar(c);
        }
    }
    flush();
    return out;
}

// ---- headers -----------------------------------------------------------------

HXRequestHeaderList HXRequestEvaluator::evaluatedHeadersArrayRevealedEncoding(HXStringEncoding *encoding)
{
    HXRequestHeaderList list;
    HXRequestAssemblyState::runInRequestContext(m_request, nullptr, [&] {
        HXRequestAssemblyState state;
        // Header names and values are always ASCII, whatever the charset.
        state.setEncoding(HXStringEncoding::ASCII);
        HXRequestEvaluationContext *context = HXRequestEvaluationContext::currentRequestEvaluationContext();
        auto appendRows = [&](const QList<HXKeyValue *> &rows, bool inherited) {
            for (HXKeyValue *row : rows) {
                if (row->name().isEmpty() || !row->enabled())
                    continue;
                if (context != nullptr)
                    context->setHeader(row);
                const QString name = HXDynamicValueEngine::evaluateStringAsString(row->name(), HXStringEncoding::ASCII);
                const QString value =
                    HXDynamicValueEngine::evaluateStringAsString(row->value(), HXStringEncoding::ASCII);
                if (context != nullptr)
                    context->setHeader(state.header());
                // The request's own rows and nearer folders win over farther ones.
                if (inherited && list.hasHTTPHeaderName(name))
                    continue;
                list.append({name, value, row->name(), row->value()});
                if (encoding != nullptr && name.compare(u"Content-Type", Qt::CaseInsensitive) == 0) {
                    if (const auto charset = HXRequestHeaderList::HTTPHeaderParameter(value, QStringLiteral("charset")))
                        *encoding = HXStringEncodings::encodingForIANAName(*charset).value_or(HXStringEncoding::UTF8);
                }
            }
        };
        appendRows(HXKeyValue::keyValuesForRelationship(QStringLiteral("request"), m_request), false);
        for (HXRequestGroup *folder : ancestorFolders(m_request))
            appendRows(HXKeyValue::keyValuesForRelationship(QStringLiteral("groupForHeaders"), folder), true);
    });
    return list;
}

// ---- body --------------------------------------------------------------------

QByteArray HXRequestEvaluator::evaluatedBodyDataUsingEncoding(HXStringEncoding encoding,
                                                              const HXRequestHeaderList &headers)
{
    QByteArray bytes;
    HXRequestAssemblyState::runInRequestContext(m_request, nullptr, [&] {
        HXRequestAssemblyState state;
        state.setEncoding(encoding);
        const HXDynamicString stored = HXDynamicValueEngine::unarchiveAttributedString(m_request->body());
        const HXDynamicValuePtr only = stored.onlyDynamicValue();

        enum class Builder { None, Form, Multipart };
        Builder builder = Builder::None;
        HXDynamicKeyValueRows rows;
        if (isFormBuilder(only)) {
            builder = Builder::Form;
            rows = static_cast<HXBodyFormKeyValueDynamicValue *>(only.get())->keyValues();
        } else if (isMultipartBuilder(only)) {
            builder = Builder::Multipart;
            rows = static_cast<HXBodyMultipartFormDataDynamicValue *>(only.get())->keyValues();
        } else if (!m_request->body().isEmpty()) {
            // Text, file and mixed bodies are evaluated as they stand.
            bytes = HXDynamicValueEngine::evaluateAttributedStringAsData(stored, encoding);
            return;
        } else {
            const std::optional<QString> contentType = headers.valueForHTTPHeaderName(QStringLiteral("Content-Type"));
            const QString mainValue = contentType ? HXRequestHeaderList::HTTPHeaderMainValue(*contentType) : QString();
            if (contentType &&
                HXRequestHeaderList::nameIsLike(mainValue, QStringLiteral("application/x-www-form-urlencoded")))
                builder = Builder::Form;
            else if (contentType && HXRequestHeaderList::nameIsLike(mainValue, QStringLiteral("multipart/form-data")))
                builder = Builder::Multipart;
            else if (!contentType && HXRequest::HTTPMethodsWithBody().contains(m_request->method()))
                builder = Builder::Form;
            if (builder == Builder::None) {
                bytes = HXDynamicValueEngine::evaluateAttributedStringAsData(stored, encoding);
                return;
            }
        }

        // Folder form fields follow the request's own, nearest folder first.
        for (HXRequestGroup *folder : ancestorFolders(m_request)) {
            for (HXKeyValue *row :
                 HXKeyValue::keyValuesForRelationship(QStringLiteral("groupForBodyParameters"), folder)) {
                if (row->enabled())
                    rows.append({row->name(), row->value(), true});
            }
        }
        HXDynamicValuePtr value;
        if (builder == Builder::Form) {
            auto form = HXDynamicValue::make<HXBodyFormKeyValueDynamicValue>();
            form->setKeyValues(rows);
            value = form;
        } else {
            auto multipart = HXDynamicValue::make<HXBodyMultipartFormDataDynamicValue>();
            multipart->setKeyValues(rows);
            value = multipart;
        }
        const HXDynamicResult result =
            HXDynamicValueEngine::evaluateDynamicValue(value, HXDynamicResultClass::Data, encoding);
        bytes = result.data();
    });
    return bytes;
}

// ---- automatic Content-Type --------------------------------------------------

void HXRequestEvaluator::performAutomaticRequestModifications(HXRequestHeaderList &headers)
{
    if (!HXUserDefaults::standardUserDefaults().boolForKey(QStringLiteral("HXUserDefaultAutoContentType")))
        return;
    if (headers.hasHTTPHeaderName(QStringLiteral("Content-Type")))
        return;
    const HXDynamicValuePtr only =
        HXDynamicValueEngine::unarchiveAttributedString(m_request->body()).onlyDynamicValue();
    QString contentType;
    if (isFormBuilder(only)) {
        contentType = QStringLiteral("application/x-www-form-urlencoded");
    } else if (isMultipartBuilder(only)) {
        contentType =
            QStringLiteral("%1; boundary=%2")
                .arg(QStringLiteral("multipart/form-data"), HXBodyMultipartFormDataDynamicValue::defaultBoundary());
    } else if (only != nullptr && only->isKindOfClass(HXFileContentDynamicValue::staticClassName())) {
        const auto *file = static_cast<HXFileContentDynamicValue *>(only.get());
        std::optional<QString> path;
        HXRequestAssemblyState::runInRequestContext(m_request, nullptr, [&] {
            path = file->resolvedFilePath(HXFileContentDynamicValue::currentDocumentFolder(), false);
        });
        contentType = path ? HXBodyMultipartFormDataDynamicValue::MIMETypeForFile(*path)
                           : QStringLiteral("application/octet-stream");
    } else {
        return;
    }
    headers.append(QStringLiteral("Content-Type"), contentType);
}
