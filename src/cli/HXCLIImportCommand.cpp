#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCollectionImport.h"
#include "HXImportSource.h"

#include <QFileInfo>

// kea-cli import FILE SOURCE... [--format F] [--folder PATH]
//
// Imports cURL commands, Postman collections and environments, HAR files and
// OpenAPI descriptions (JSON) into the document FILE, which is created when
// it does not exist. Several sources may be given (a collection and its
// environments); all are read before the document is touched, and nothing
// is written when one of them cannot be read. Prints the import report:
// what was added and every part that was not carried over.

namespace {

const QString synopsis =
    QStringLiteral("import FILE SOURCE... [--format auto|curl|postman|har|openapi] [--folder PATH]");

int runImport(const QStringList &arguments)
{
    QStringList positional;
    HXImportSource::Format format = HXImportSource::Format::Automatic;
    QString folderPath;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if ((argument == u"--format" || argument == u"--folder") && i + 1 >= arguments.size())
            return HXCLI::usageError(QStringLiteral("%1 needs a value").arg(argument));
        if (argument == u"--format") {
            const auto named = HXImportSource::formatNamed(arguments.at(++i));
            if (!named)
                return HXCLI::usageError(QStringLiteral("import: unknown format '%1' (known: auto, %2)")
                                             .arg(arguments.at(i), HXImportSource::formatNames().join(u", ")));
            format = *named;
        } else if (argument == u"--folder") {
            folderPath = arguments.at(++i);
        } else if (argument.startsWith(u"--")) {
            return HXCLI::usageError(QStringLiteral("import: unknown option '%1'").arg(argument));
        } else {
            positional.append(argument);
        }
    }
    if (positional.size() < 2)
        return HXCLI::usageError(QStringLiteral("usage: kea-cli ") + synopsis);
    const QString file = positional.takeFirst();

    QList<HXInteropCollection> collections;
    for (const QString &source : std::as_const(positional)) {
        QByteArray data;
        QString error;
        if (!HXCLI::readInput(source, data, error))
            return HXCLI::usageError(error);
        auto collection = HXImportSource::read(data, format);
        if (!collection)
            return HXCLI::usageError(QStringLiteral("import: %1: %2").arg(source, collection.error().description));
        collections.append(std::move(collection).value());
    }

    std::unique_ptr<HXDocument> document;
    if (QFileInfo::exists(file))
        document = HXCLI::openDocumentOrReport(file, true);
    else
        document = std::make_unique<HXDocument>();
    if (!document)
        return HXCLIExitUsage;
    HXRequestGroup *folder = nullptr;
    if (!folderPath.isEmpty()) {
        folder = HXCLI::findFolder(*document, folderPath, true);
        if (folder == nullptr)
            return HXCLI::usageError(QStringLiteral("--folder needs a folder path like 'Folder/Sub'"));
    }
    // Environments come first, so that a collection's variables meet them.
    std::stable_sort(collections.begin(), collections.end(),
                     [](const auto &a, const auto &b) { return a.items.isEmpty() && !b.items.isEmpty(); });
    QString report;
    for (const HXInteropCollection &collection : std::as_const(collections))
        report +=
            HXCollectionImport::importCollection(collection, document.get(), folder, QFileInfo(file).absolutePath())
                .text();
    if (!HXCLI::saveDocumentOrReport(*document, file))
        return HXCLIExitUsage;
    HXCLI::writeOut(report);
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("import"),
    synopsis,
    QStringLiteral("import cURL commands, Postman collections and environments, HAR or OpenAPI into a document"),
    runImport,
    QStringLiteral("Options:\n"
                   "  --format F     the format of every SOURCE (default: recognised from the content)\n"
                   "  --folder PATH  put the imported items into this folder (created when missing)\n"
                   "FILE is created when it does not exist. \"-\" reads a SOURCE from standard input.\n"
                   "{{name}} in the sources becomes a Kea environment variable token. The report lists every\n"
                   "part that was not imported. OpenAPI is read as JSON only."),
});
