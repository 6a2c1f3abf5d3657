#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXEnvironment.h"
#include "HXRequest.h"

// kea-cli show FILE REQUEST [--env NAME]
//
// Prints what sending the request would send, without sending it: the
// method, the URL as it goes on the wire, the headers in order (the
// automatic Content-Type included), the text encoding, the body (as text
// when it decodes in that encoding, otherwise as a hex dump), and the
// request's warnings with the names of their buttons. REQUEST is a name, a
// folder path ("Folder/Sub/Name") or a uuid. --env evaluates in that
// environment for this run only; otherwise the environment chosen with
// "kea-cli env FILE choose" is used. The document is never written.

namespace {

// A body shown as text: it decodes, and holds no control characters other
// than tab, line feed and carriage return.
std::optional<QString> printableText(const QByteArray &bytes, HXStringEncoding encoding)
{
    const std::optional<QString> text = HXStringEncodings::decode(bytes, encoding);
    if (!text)
        return std::nullopt;
    for (const QChar c : *text) {
        if ((c.unicode() < 0x20 && c != u'\t' && c != u'\n' && c != u'\r') || c.unicode() == 0x7F)
            return std::nullopt;
    }
    return text;
}

// 16 bytes a line: offset, the bytes in hex, and the printable ASCII ones.
QString hexDump(const QByteArray &bytes)
{
    QString out;
    for (qsizetype offset = 0; offset < bytes.size(); offset += 16) {
        const QByteArray line = bytes.mid(offset, 16);
        QString hex, ascii;
        for (qsizetype i = 0; i < 16; ++i) {
            if (i < line.size()) {
                const auto byte = static_cast<unsigned char>(line.at(i));
                hex += QStringLiteral("%1 ").arg(byte, 2, 16, QLatin1Char('0'));
                ascii += (byte >= 0x20 && byte < 0x7F) ? QChar(char16_t(byte)) : QChar(u'.');
            } else {
                hex += QStringLiteral("   ");
            }
            if (i == 7)
                hex += u' ';
        }
        out += QStringLiteral("%1  %2 |%3|\n").arg(offset, 8, 16, QLatin1Char('0')).arg(hex, ascii);
    }
    return out;
}

int runShow(const QStringList &arguments)
{
    QStringList positional;
    std::optional<QString> environmentName;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == u"--env") {
            if (i + 1 >= arguments.size())
                return HXCLI::usageError(QStringLiteral("--env needs an environment name"));
            environmentName = arguments.at(++i);
        } else if (argument.startsWith(u"--")) {
            return HXCLI::usageError(QStringLiteral("show: unknown option '%1'").arg(argument));
        } else {
            positional.append(argument);
        }
    }
    if (positional.size() != 2)
        return HXCLI::usageError(QStringLiteral("usage: kea-cli show FILE REQUEST [--env NAME]"));

    auto document = HXCLI::openDocumentOrReport(positional.at(0));
    if (!document)
        return HXCLIExitUsage;
    QString error;
    HXRequest *request = HXCLI::findRequest(*document, positional.at(1), error);
    if (request == nullptr)
        return HXCLI::usageError(error);
    if (environmentName) {
        HXEnvironment *environment = HXCLI::environmentNamed(*document, *environmentName);
        if (environment == nullptr)
            return HXCLI::usageError(QStringLiteral("no environment '%1'").arg(*environmentName));
        document->setCurrentEnvironment(environment);
    } else {
        HXCLI::restoreSelectedEnvironment(*document);
    }

    const HXRequestAssembly assembly = request->assemblyAsSent(document.get());
    const QList<HXWarning> warnings = request->warningsWithDocument(document.get());

    QString out;
    out += QStringLiteral("method: %1\n").arg(request->method());
    out += QStringLiteral("url: %1\n")
               .arg(assembly.URL ? QString::fromLatin1(assembly.URL->toEncoded()) : QStringLiteral("(invalid)"));
    out += QStringLiteral("encoding: %1\n").arg(HXStringEncodings::ianaName(assembly.bodyEncoding));
    if (HXEnvironment *environment = document->currentEnvironment())
        out += QStringLiteral("environment: %1\n").arg(environment->name());
    out += QStringLiteral("headers: %1\n").arg(assembly.headers.size());
    for (const HXRequestHeaderEntry &entry : assembly.headers)
        out += QStringLiteral("  %1: %2\n").arg(entry.name, entry.value);
    const std::optional<QString> text = printableText(assembly.bodyData, assembly.bodyEncoding);
    out += QStringLiteral("body: %1 bytes%2\n")
               .arg(assembly.bodyData.size())
               .arg(assembly.bodyData.isEmpty() || text ? QString() : QStringLiteral(", hex"));
    if (!assembly.bodyData.isEmpty()) {
        if (text)
            out += *text + (text->endsWith(u'\n') ? QString() : QStringLiteral("\n"));
        else
            out += hexDump(assembly.bodyData);
    }
    out += QStringLiteral("warnings: %1\n").arg(warnings.size());
    for (const HXWarning &warning : warnings) {
        out += QStringLiteral("  %1").arg(warning.text());
        for (const QString &button : warning.buttonsNames())
            out += QStringLiteral(" [%1]").arg(button);
        out += u'\n';
    }
    HXCLI::writeOut(out);
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("show"),
    QStringLiteral("show FILE REQUEST [--env NAME]"),
    QStringLiteral("print what a request would send (method, URL, headers, body, encoding) and its warnings"),
    runShow,
});
