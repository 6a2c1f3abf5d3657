#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXDynamicValueEngine.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXStringEncoding.h"
#include "HXURLEncodedStringParser.h"

// kea-cli add FILE [--folder PATH] --name NAME [--method M] [--url U]
//                  [--header 'Name: value']... [--body TEXT|@FILE]
//                  [--body-type text|form|multipart]
//
// Adds one request, filled like a "/requests/new" link fills it: the URL as
// given, the method upper-cased, one header row per --header, the name, and the
// body as text or, for form and multipart, parsed as "a=1&b=2" into the
// fields of a form body. Values may be plain text or the stored form of a
// dynamic string with tokens (a JSON array; see HXCLI::storedDynamicString). Prints the new request's
// uuid. Nothing is written when anything fails.

namespace {

const QString usage =
    QStringLiteral("usage: kea-cli add FILE [--folder PATH] --name NAME [--method M] [--url U] "
                   "[--header 'Name: value']... [--body TEXT|@FILE] [--body-type text|form|multipart]");

struct AddOptions
{
    QString file;
    QString folder;
    std::optional<QString> name;
    std::optional<QString> method;
    std::optional<QString> url;
    QList<std::pair<QString, QString>> headers;
    std::optional<QString> body;
    QString bodyType = QStringLiteral("text");
};

// A form or multipart body holding the fields of an "a=1&b=2" text.
QString formBody(const QString &text, bool multipart)
{
    HXURLEncodedStringParser::Options options;
    options.usePlusForSpaces = true;
    HXDynamicKeyValueRows rows;
    for (const HXURLEncodedRow &row : HXURLEncodedStringParser::rowsForString(
             HXDynamicValueEngine::unarchiveAttributedString(HXCLI::storedDynamicString(text)), options))
        rows.append({HXDynamicValueEngine::archiveAttributedString(row.name),
                     HXDynamicValueEngine::archiveAttributedString(row.value), row.enabled});
    if (multipart) {
        auto value = HXDynamicValue::make<HXBodyMultipartFormDataDynamicValue>();
        value->setKeyValues(rows);
        return value->archivedString();
    }
    auto value = HXDynamicValue::make<HXBodyFormKeyValueDynamicValue>();
    value->setKeyValues(rows);
    return value->archivedString();
}

// Reads the options; a usage message in `error` when they are wrong.
std::optional<AddOptions> parseOptions(const QStringList &arguments, QString &error)
{
    AddOptions options;
    bool hasFile = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        auto next = [&](QString &into) {
            if (i + 1 >= arguments.size()) {
                error = QStringLiteral("%1 needs a value").arg(argument);
                return false;
            }
            into = arguments.at(++i);
            return true;
        };
        QString value;
        if (argument == u"--folder" || argument == u"--name" || argument == u"--method" || argument == u"--url" ||
            argument == u"--header" || argument == u"--body" || argument == u"--body-type") {
            if (!next(value))
                return std::nullopt;
            if (argument == u"--folder") {
                options.folder = value;
            } else if (argument == u"--name") {
                options.name = value;
            } else if (argument == u"--method") {
                if (value.trimmed().isEmpty()) {
                    error = QStringLiteral("--method needs a method name");
                    return std::nullopt;
                }
                options.method = value;
            } else if (argument == u"--url") {
                options.url = value;
            } else if (argument == u"--header") {
                const qsizetype colon = value.indexOf(u':');
                const QString name = value.left(colon).trimmed();
                if (colon < 0 || name.isEmpty()) {
                    error = QStringLiteral("--header takes 'Name: value', not '%1'").arg(value);
                    return std::nullopt;
                }
                QString headerValue = value.mid(colon + 1);
                while (headerValue.startsWith(u' ') || headerValue.startsWith(u'\t'))
                    headerValue.remove(0, 1);
                options.headers.append({name, headerValue});
            } else if (argument == u"--body") {
                options.body = value;
            } else {
                if (value != u"text" && value != u"form" && value != u"multipart") {
                    error = QStringLiteral("--body-type is text, form or multipart, not '%1'").arg(value);
                    return std::nullopt;
                }
                options.bodyType = value;
            }
        } else if (argument.startsWith(u"--") || (argument.startsWith(u'-') && argument.size() > 1)) {
            error = QStringLiteral("add: unknown option '%1'").arg(argument);
            return std::nullopt;
        } else if (hasFile) {
            error = QStringLiteral("add takes one document file");
            return std::nullopt;
        } else {
            options.file = argument;
            hasFile = true;
        }
    }
    if (!hasFile || !options.name) {
        error = usage;
        return std::nullopt;
    }
    return options;
}

int runAdd(const QStringList &arguments)
{
    QString error;
    const std::optional<AddOptions> options = parseOptions(arguments, error);
    if (!options)
        return HXCLI::usageError(error);

    // The body, read before the document is touched.
    std::optional<QString> body = options->body;
    if (body && body->startsWith(u'@')) {
        QByteArray bytes;
        if (!HXCLI::readInput(body->mid(1), bytes, error))
            return HXCLI::usageError(error);
        const std::optional<QString> text = HXStringEncodings::decode(bytes, HXStringEncoding::UTF8);
        if (!text)
            return HXCLI::usageError(QStringLiteral("%1: the body file is not UTF-8 text").arg(body->mid(1)));
        body = *text;
    }

    auto document = HXCLI::openDocumentOrReport(options->file, true);
    if (!document)
        return HXCLIExitUsage;
    HXRequestGroup *folder = nullptr;
    if (!options->folder.isEmpty()) {
        folder = HXCLI::findFolder(*document, options->folder, true);
        if (folder == nullptr)
            return HXCLI::usageError(QStringLiteral("--folder needs a folder path like 'Folder/Sub'"));
    }

    HXManagedObjectContext *context = document->managedObjectContext();
    auto *request = context->insertNewObject<HXRequest>(HXRequest::staticEntityName());
    const QList<HXRequestTreeItem *> siblings =
        folder != nullptr ? HXDocument::sortedItems(folder->children()) : document->topLevelItems();
    HXRequestTreeItem *last = nullptr;
    for (HXRequestTreeItem *sibling : siblings) {
        if (sibling != request)
            last = sibling;
    }
    request->setOrderAndParent(folder, last);

    if (options->url)
        request->setUrl(HXCLI::storedDynamicString(*options->url));
    if (options->method)
        request->setMethod(options->method->toUpper());
    // One row per --header, in order: a name given twice gives two rows.
    for (const auto &[name, value] : options->headers)
        HXKeyValue::addKeyValueName(name, HXCLI::storedDynamicString(value), QStringLiteral("request"), request);
    request->setName(*options->name);
    if (body) {
        if (options->bodyType == u"form")
            request->setBody(formBody(*body, false));
        else if (options->bodyType == u"multipart")
            request->setBody(formBody(*body, true));
        else
            request->setBody(HXCLI::storedDynamicString(*body));
    }
    context->processPendingChanges();

    if (!HXCLI::saveDocumentOrReport(*document, options->file))
        return HXCLIExitUsage;
    HXCLI::writeOut(request->uuid() + u'\n');
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("add"),
    QStringLiteral("add FILE [--folder PATH] --name NAME [--method M] [--url U] [--header 'Name: value']... "
                   "[--body TEXT|@FILE] [--body-type text|form|multipart]"),
    QStringLiteral("add a request (missing folders are created) and print its uuid"),
    runAdd,
});
