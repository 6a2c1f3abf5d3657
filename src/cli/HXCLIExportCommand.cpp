#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCurlScriptExporter.h"
#include "HXHARExporter.h"
#include "HXPostmanExporter.h"

#include <QFile>
#include <QSaveFile>

// kea-cli export FILE --format postman|har|curl [-o OUT] [--env NAME]
//
// Writes the document as a Postman v2.1 collection, its stored responses
// (with their requests) as HAR 1.2, or its requests as a script of cURL
// commands, to OUT or standard output. Notes about tokens that have no
// Postman counterpart go to standard error.

namespace {

const QString synopsis = QStringLiteral("export FILE --format postman|har|curl [-o OUT] [--env NAME]");

int runExport(const QStringList &arguments)
{
    QStringList positional;
    QString format;
    QString output;
    QString environmentName;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        const bool takesValue =
            argument == u"--format" || argument == u"-o" || argument == u"--output" || argument == u"--env";
        if (takesValue && i + 1 >= arguments.size())
            return HXCLI::usageError(QStringLiteral("%1 needs a value").arg(argument));
        if (argument == u"--format")
            format = arguments.at(++i).toLower();
        else if (argument == u"-o" || argument == u"--output")
            output = arguments.at(++i);
        else if (argument == u"--env")
            environmentName = arguments.at(++i);
        else if (argument.startsWith(u'-') && argument.size() > 1)
            return HXCLI::usageError(QStringLiteral("export: unknown option '%1'").arg(argument));
        else
            positional.append(argument);
    }
    if (positional.size() != 1 || format.isEmpty())
        return HXCLI::usageError(QStringLiteral("usage: kea-cli ") + synopsis);
    if (format != u"postman" && format != u"har" && format != u"curl")
        return HXCLI::usageError(QStringLiteral("export: unknown format '%1' (known: postman, har, curl)").arg(format));

    auto document = HXCLI::openDocumentOrReport(positional.first());
    if (!document)
        return HXCLIExitUsage;
    if (!HXCLI::useEnvironmentOrReport(*document, environmentName, QStringLiteral("export"), positional.first()))
        return HXCLIExitUsage;
    QByteArray data;
    QStringList notes;
    if (format == u"postman")
        data = HXPostmanExporter::exportDocument(document.get(), &notes);
    else if (format == u"har")
        data = HXHARExporter::exportDocument(document.get());
    else
        data = HXCurlScriptExporter::exportDocument(document.get());
    for (const QString &note : std::as_const(notes))
        HXCLI::writeErr(QStringLiteral("export: note: %1\n").arg(note));
    if (output.isEmpty() || output == u"-") {
        HXCLI::writeOut(data);
        return HXCLIExitSuccess;
    }
    QSaveFile file(output);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit())
        return HXCLI::usageError(QStringLiteral("export: cannot write %1: %2").arg(output, file.errorString()));
    if (format == u"curl")
        QFile::setPermissions(output, QFile::permissions(output) | QFile::ExeUser);
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("export"),
    synopsis,
    QStringLiteral("export a document as a Postman collection, its responses as HAR, or its requests as cURL"),
    runExport,
    QStringLiteral("Options:\n"
                   "  --format F    postman (collection v2.1), har (stored responses with their requests, 1.2)\n"
                   "                or curl (a bash script, one command per request)\n"
                   "  -o OUT        write to OUT instead of standard output\n"
                   "  --env NAME    evaluate in this environment (har, curl)\n"
                   "Tokens with no Postman counterpart become collection variables; each is noted on stderr."),
});
