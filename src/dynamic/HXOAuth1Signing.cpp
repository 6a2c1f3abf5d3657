#include "HXOAuth1Signing.h"

#include "HXDataAdditions.h"
#include "HXRequest.h"
#include "HXRequestEvaluationContext.h"
#include "HXStringAdditions.h"

#include <QRegularExpression>

#include <algorithm>

namespace {

QString percentEncoded(const QString &text)
{
    return HXStringAdditions::stringByAddingPercentExcapeUsingEncoding(text, HXStringEncoding::UTF8, false);
}

// The value of the first header whose name is `name` without regard to case.
std::optional<QString> headerValue(const QMap<QString, QString> &headers, QLatin1String name)
{
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        if (it.key().compare(name, Qt::CaseInsensitive) == 0)
            return it.value();
    }
    return std::nullopt;
}

QStringList nonEmptyPieces(const QString &text)
{
    return text.split(u'&', Qt::SkipEmptyParts);
}

bool isLegalURLByte(unsigned char byte)
{
    if ((byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9'))
        return true;
    static constexpr std::string_view legal = "-._~:/?#[]@!$&'()*+,;=";
    return legal.find(char(byte)) != std::string_view::npos;
}

} // namespace

QString HXOAuth1Signing::OAuthAuthorizationHeaderWithParameters(const QList<std::pair<QString, QString>> &parameters)
{
    QStringList entries;
    entries.reserve(parameters.size());
    for (const auto &[name, value] : parameters)
        entries.append(name + QLatin1String("=\"") + percentEncoded(value) + u'"');
    return QLatin1String("OAuth ") + entries.join(QLatin1String(", "));
}

QStringList HXOAuth1Signing::OAuthParametersInOAuthAuthorizationHeader(const QString &authorization)
{
    static const QRegularExpression pair(QStringLiteral("([a-z_]+)=\"(.*?)\""),
                                         QRegularExpression::DotMatchesEverythingOption);
    QStringList parameters;
    QRegularExpressionMatchIterator matches = pair.globalMatch(authorization);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        const QString name = match.captured(1);
        if (name == QLatin1String("realm") || name == QLatin1String("oauth_signature"))
            continue;
        parameters.append(name + u'=' + match.captured(2));
    }
    return parameters;
}

QStringList HXOAuth1Signing::OAuthParametersInPOSTRequestBodyHTTPHeaders(const QMap<QString, QString> &headers,
                                                                         const QByteArray &body,
                                                                         HXStringEncoding bodyEncoding)
{
    const std::optional<QString> contentType = headerValue(headers, QLatin1String("Content-Type"));
    if (!contentType)
        return {};
    const QString mainValue = contentType->section(u';', 0, 0).trimmed();
    if (mainValue.compare(QLatin1String("application/x-www-form-urlencoded"), Qt::CaseInsensitive) != 0)
        return {};
    const std::optional<QString> text = HXStringEncodings::decode(body, bodyEncoding);
    return text ? nonEmptyPieces(*text) : QStringList();
}

QStringList HXOAuth1Signing::OAuthParametersInGETParametersWithURL(const QUrl &url)
{
    return nonEmptyPieces(url.query(QUrl::FullyEncoded));
}

QString HXOAuth1Signing::OAuthRequestURLStringWithURL(const QUrl &url)
{
    const QString scheme = url.scheme().toLower();
    QString host = url.host(QUrl::FullyEncoded).toLower();
    if (host.contains(u':'))
        host = u'[' + host + u']';
    const int port = url.port();
    QString portText;
    if (port >= 0 && !(port == 80 && scheme == QLatin1String("http")) &&
        !(port == 443 && scheme == QLatin1String("https")))
        portText = u':' + QString::number(port);
    QString path = url.path(QUrl::FullyEncoded);
    if (path.isEmpty())
        path = QStringLiteral("/");
    return scheme + QLatin1String("://") + host + portText + path;
}

std::optional<QString> HXOAuth1Signing::OAuthSignatureBaseStringWithURL(const QUrl &url, const QString &method,
                                                                        const QMap<QString, QString> &headers,
                                                                        const QByteArray &body,
                                                                        HXStringEncoding bodyEncoding,
                                                                        const std::optional<QString> &authorization)
{
    const std::optional<QString> authorizationText =
        authorization ? authorization : headerValue(headers, QLatin1String("Authorization"));
    if (!authorizationText)
        return std::nullopt;

    QStringList parameters = OAuthParametersInOAuthAuthorizationHeader(*authorizationText);
    parameters += OAuthParametersInPOSTRequestBodyHTTPHeaders(headers, body, bodyEncoding);
    parameters += OAuthParametersInGETParametersWithURL(url);
    std::sort(parameters.begin(), parameters.end());

    return method.toUpper() + u'&' + percentEncoded(OAuthRequestURLStringWithURL(url)) + u'&' +
           percentEncoded(parameters.join(u'&'));
}

QString HXOAuth1Signing::stringByAddingLegalURLPercentEscapes(const QString &string)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    const QByteArray bytes = string.toUtf8();
    QString result;
    result.reserve(bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (isLegalURLByte(byte)) {
            result.append(QLatin1Char(c));
        } else {
            result.append(u'%');
            result.append(QLatin1Char(digits[byte >> 4]));
            result.append(QLatin1Char(digits[byte & 0x0F]));
        }
    }
    return result;
}

QString HXOAuth1Signing::OAuthSigningKeyWithConsumerSecret(const QString &consumerSecret, const QString &tokenSecret)
{
    return stringByAddingLegalURLPercentEscapes(consumerSecret) + u'&' +
           stringByAddingLegalURLPercentEscapes(tokenSecret);
}

std::optional<QString> HXOAuth1Signing::OAuthSignatureForSignatureBaseString(const QString &baseString,
                                                                             const QString &consumerSecret,
                                                                             const QString &tokenSecret,
                                                                             const QString &algorithm)
{
    const QString key = OAuthSigningKeyWithConsumerSecret(consumerSecret, tokenSecret);
    if (algorithm == HMACSHA1()) {
        return HXDataAdditions::base64EncodedString(
            HXDataAdditions::HMAC(baseString.toUtf8(), key.toUtf8(), HXDataAdditions::HMACAlgorithmSHA1));
    }
    if (algorithm == plainText())
        return key;
    return std::nullopt;
}

std::optional<QString>
HXOAuth1Signing::OAuthSignatureBaseStringWithAuthorizationString(HXRequest *request,
                                                                 const std::optional<QString> &authorization)
{
    if (!request)
        return std::nullopt;
    // Sign what is sent: with the Content-Type that sending adds to a form body.
    const HXRequestAssembly assembly = request->assemblyAsSent(HXRequestEvaluationContext::currentDocument());
    if (!assembly.URL)
        return std::nullopt;
    return OAuthSignatureBaseStringWithURL(*assembly.URL, request->method(),
                                           assembly.headers.headersDictionaryFromArray(), assembly.bodyData,
                                           assembly.bodyEncoding, authorization);
}

std::optional<QString> HXOAuth1Signing::OAuthSignatureWithConsumerSecret(HXRequest *request,
                                                                         const QString &consumerSecret,
                                                                         const QString &tokenSecret,
                                                                         const QString &algorithm,
                                                                         const std::optional<QString> &authorization)
{
    const std::optional<QString> baseString = OAuthSignatureBaseStringWithAuthorizationString(request, authorization);
    if (!baseString)
        return std::nullopt;
    return OAuthSignatureForSignatureBaseString(*baseString, consumerSecret, tokenSecret, algorithm);
}
