#include "HXCodeGenerator.h"

#include "HXCurlCodeGenerator.h"
#include "HXGoCodeGenerator.h"
#include "HXHTTPSettings.h"
#include "HXHTTPieCodeGenerator.h"
#include "HXJavaScriptCodeGenerator.h"
#include "HXPythonCodeGenerator.h"
#include "HXRequest.h"
#include "HXShellQuoting.h"
#include "HXUserDefaults.h"

namespace {

// Header text as the engines put it on the wire: ASCII, anything else "?".
QByteArray wireText(const QString &text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    for (const QChar c : text)
        bytes += c.unicode() < 0x80 ? char(c.unicode()) : '?';
    return bytes;
}

} // namespace

bool HXCodeRequest::hasHeader(const QByteArray &headerName) const
{
    for (const auto &header : headers) {
        if (header.first.compare(headerName, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

HXCodeOptions HXCodeOptions::fromUserDefaults()
{
    const HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    HXCodeOptions options;
    options.curlLongOptions = defaults.boolForKey(QStringLiteral("HXUserDefaultcURLUseLongOptions"));
    options.curlVerbose = defaults.boolForKey(QStringLiteral("HXUserDefaultcURLVerbose"));
    options.curlIndent = defaults.boolForKey(QStringLiteral("HXUserDefaultcURLIndent"));
    options.addComments = defaults.boolForKey(QStringLiteral("HXUserDefaultCodeAddComments"));
    return options;
}

QStringList HXCodeGenerator::languageNames()
{
    return {QStringLiteral("curl"), QStringLiteral("httpie"), QStringLiteral("python"), QStringLiteral("javascript"),
            QStringLiteral("go")};
}

std::optional<HXCodeGenerator::Language> HXCodeGenerator::languageNamed(const QString &name)
{
    const QString lower = name.trimmed().toLower();
    if (lower == u"curl")
        return Language::Curl;
    if (lower == u"httpie" || lower == u"http")
        return Language::HTTPie;
    if (lower == u"python" || lower == u"py" || lower == u"requests")
        return Language::Python;
    if (lower == u"javascript" || lower == u"js" || lower == u"node" || lower == u"fetch")
        return Language::JavaScript;
    if (lower == u"go" || lower == u"golang")
        return Language::Go;
    return std::nullopt;
}

QByteArray HXCodeGenerator::generate(Language language, const HXCodeRequest &request, const HXCodeOptions &options)
{
    switch (language) {
    case Language::Curl:
        return HXCurlCodeGenerator::generate(request, options);
    case Language::HTTPie:
        return HXHTTPieCodeGenerator::generate(request, options);
    case Language::Python:
        return HXPythonCodeGenerator::generate(request, options);
    case Language::JavaScript:
        return HXJavaScriptCodeGenerator::generate(request, options);
    case Language::Go:
        return HXGoCodeGenerator::generate(request, options);
    }
    return {};
}

HXCodeRequest HXCodeGenerator::codeRequest(HXRequest *request, HXEvaluationDocument *document)
{
    const HXRequestAssembly assembly = request->assemblyAsSent(document);
    HXCodeRequest code;
    code.name = request->name();
    code.method = wireText(request->method());
    if (assembly.URL)
        code.url = assembly.URL->toEncoded(QUrl::RemoveFragment);
    // The engines leave out a header without a name or a value.
    for (const HXRequestHeaderEntry &entry : assembly.headers) {
        if (!entry.name.isEmpty() && !entry.value.isEmpty())
            code.headers.append({wireText(entry.name), wireText(entry.value)});
    }
    static const QList<QByteArray> withoutBody = {"GET", "HEAD", "DELETE", "OPTIONS"};
    const bool keepBody =
        !withoutBody.contains(code.method) ||
        HXHTTPSettings::fromUserDefaults(HXUserDefaults::standardUserDefaults()).alwaysSendRequestBody;
    if (keepBody)
        code.body = assembly.bodyData;
    return code;
}

QByteArray HXCodeGenerator::commentText(const QString &text)
{
    QByteArray bytes = text.toUtf8();
    for (char &c : bytes) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = ' ';
    }
    return bytes;
}

QByteArray HXCodeGenerator::escapedLiteral(const QByteArray &bytes, char quote)
{
    QByteArray quoted(1, quote);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\\' || c == quote) {
            quoted += '\\';
            quoted += c;
        } else if (c == '\n') {
            quoted += "\\n";
        } else if (byte >= 0x20 && byte <= 0x7E) {
            quoted += c;
        } else {
            quoted += "\\x";
            quoted += "0123456789abcdef"[byte >> 4];
            quoted += "0123456789abcdef"[byte & 0xF];
        }
    }
    return quoted + quote;
}

QByteArray HXCodeGenerator::shellCommand(const QByteArray &program, const QList<QByteArray> &arguments, bool indent,
                                         const QString &comment, const QByteArray &input)
{
    QByteArray code;
    if (!comment.isNull())
        code += "# " + commentText(comment) + '\n';
    if (!input.isEmpty())
        code += "printf " + HXShellQuoting::printfFormat(input) + " | ";
    code += program;
    const QByteArray separator = indent ? QByteArray(" \\\n     ") : QByteArray(" ");
    for (const QByteArray &argument : arguments)
        code += separator + argument;
    return code + '\n';
}
