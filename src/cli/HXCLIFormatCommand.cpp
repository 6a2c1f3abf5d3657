#include "HXCLICommand.h"
#include "HXJSONOutput.h"
#include "HXJSONParser.h"
#include "HXJSONPrintingPreferences.h"
#include "HXXMLString.h"

#include <cstdio>
#include <optional>

namespace {

const QString kUsage =
    QStringLiteral("usage: kea-cli format json|xml [--indent N|--tabs] [--compact] [--sort-keys] [--escape-unicode] "
                   "[--escape-slashes] [FILE|-]");

struct FormatOptions
{
    QString kind;
    QString path = QStringLiteral("-");
    std::optional<int> indentSize;
    bool tabs = false;
    bool compact = false;
    bool sortKeys = false;
    bool escapeUnicode = false;
    bool escapeSlashes = false;
};

// Parses the arguments; a usage message when they are wrong.
std::optional<QString> parseArguments(const QStringList &arguments, FormatOptions &options)
{
    if (arguments.isEmpty())
        return kUsage;
    options.kind = arguments.first();
    if (options.kind != u"json" && options.kind != u"xml")
        return QStringLiteral("format: unknown format '%1' (json or xml)\n").arg(options.kind) + kUsage;
    bool havePath = false;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == u"--indent") {
            bool ok = false;
            const int size = i + 1 < arguments.size() ? arguments.at(i + 1).toInt(&ok) : -1;
            if (!ok || size < 0 || size > HXJSONPrintingSettings::maximumIndentSize)
                return QStringLiteral("format: --indent needs a number of spaces from 0 to %1")
                    .arg(HXJSONPrintingSettings::maximumIndentSize);
            options.indentSize = size;
            ++i;
        } else if (argument == u"--tabs") {
            options.tabs = true;
        } else if (argument == u"--compact") {
            options.compact = true;
        } else if (argument == u"--sort-keys") {
            options.sortKeys = true;
        } else if (argument == u"--escape-unicode") {
            options.escapeUnicode = true;
        } else if (argument == u"--escape-slashes") {
            options.escapeSlashes = true;
        } else if (argument.startsWith(u'-') && argument != u"-") {
            return QStringLiteral("format: unknown option '%1'\n").arg(argument) + kUsage;
        } else if (!havePath) {
            options.path = argument;
            havePath = true;
        } else {
            return QStringLiteral("format: only one input file\n") + kUsage;
        }
    }
    if (options.indentSize && options.tabs)
        return QStringLiteral("format: --indent and --tabs exclude each other");
    if (options.compact && (options.indentSize || options.tabs))
        return QStringLiteral("format: --compact excludes --indent and --tabs");
    if (options.kind == u"xml" && (options.sortKeys || options.escapeUnicode || options.escapeSlashes))
        return QStringLiteral("format: --sort-keys, --escape-unicode and --escape-slashes apply to JSON only");
    return std::nullopt;
}

QString inputName(const FormatOptions &options)
{
    return options.path == u"-" ? QStringLiteral("standard input") : options.path;
}

int formatJSON(const FormatOptions &options, QByteArray input)
{
    std::unique_ptr<HXJSONParser> parser = HXJSONParser::fromUtf8(std::move(input));
    if (options.compact) {
        // The parser's own defaults (no whitespace, strings as written),
        // changed only by the options given.
        parser->printer().setSortDictKeys(options.sortKeys);
        if (options.escapeUnicode || options.escapeSlashes) {
            HXJSONPrintingSettings escaping;
            escaping.escapeUnicodeCharacters = options.escapeUnicode;
            escaping.escapeForwardSlashes = options.escapeSlashes;
            parser->printer().setStringOptions(escaping.stringOptions());
        }
    } else {
        HXJSONPrintingSettings settings = HXJSONPrintingPreferences::standardSettings();
        if (options.indentSize) {
            settings.prettyPrint = true;
            settings.indentWithSpaces = true;
            settings.indentSize = *options.indentSize;
        }
        if (options.tabs) {
            settings.prettyPrint = true;
            settings.indentWithSpaces = false;
        }
        settings.sortKeys = settings.sortKeys || options.sortKeys;
        settings.escapeUnicodeCharacters = settings.escapeUnicodeCharacters || options.escapeUnicode;
        settings.escapeForwardSlashes = settings.escapeForwardSlashes || options.escapeSlashes;
        settings.configure(parser->printer());
    }

    // Printed straight to standard output in chunks: a large document is
    // never held twice.
    bool printed = false;
    {
        HXJSONOutput output([](const char *bytes, qsizetype size) { std::fwrite(bytes, 1, size_t(size), stdout); });
        printed = parser->printRoot(output);
        if (printed)
            output.append('\n');
    }
    std::fflush(stdout);
    if (!printed)
        return HXCLI::usageError(QStringLiteral("%1: no JSON value found").arg(inputName(options)));
    if (!parser->isWellFormed())
        return HXCLI::usageError(
            QStringLiteral("%1: not well-formed JSON; printed the part that could be read").arg(inputName(options)));
    return HXCLIExitSuccess;
}

int formatXML(const FormatOptions &options, const QByteArray &input)
{
    const QByteArray indent = options.tabs ? QByteArray("\t") : QByteArray(options.indentSize.value_or(2), ' ');
    // The bytes are read by their own declaration (UTF-8 without one).
    const std::optional<QByteArray> printed = HXXMLString::prettyPrintXML(input, indent, !options.compact, nullptr);
    if (!printed)
        return HXCLI::usageError(QStringLiteral("%1: not well-formed XML").arg(inputName(options)));
    HXCLI::writeOut(*printed);
    return HXCLIExitSuccess;
}

int runFormat(const QStringList &arguments)
{
    FormatOptions options;
    if (const std::optional<QString> usage = parseArguments(arguments, options))
        return HXCLI::usageError(*usage);
    QByteArray input;
    QString error;
    if (!HXCLI::readInput(options.path, input, error))
        return HXCLI::usageError(error);
    return options.kind == u"json" ? formatJSON(options, std::move(input)) : formatXML(options, input);
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("format"),
     QStringLiteral("format json|xml [--indent N|--tabs] [--compact] [--sort-keys] [--escape-unicode] "
                    "[--escape-slashes] [FILE|-]"),
     QStringLiteral("pretty-print a JSON or XML file (standard input by default) as response bodies are shown"),
     runFormat});

} // namespace
