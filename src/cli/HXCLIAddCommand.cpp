#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLIRequestOptions.h"
#include "HXDocumentCommands.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"

// kea-cli add FILE [--folder PATH] --name NAME [--allow-duplicate] [request options]
//
// Adds one request last in its folder (missing folders are created), filled
// from the request options (see HXCLIRequestOptions), and prints its uuid.
// A request of the same name in the same folder is refused unless
// --allow-duplicate is given. Nothing is written when anything fails.
// One row is added per --header, so a name given twice gives two rows.

namespace {

const QString synopsis = QStringLiteral("add FILE [--folder PATH] --name NAME [--allow-duplicate] [--method M] "
                                        "[--url U] [--header 'Name: value']... [--body TEXT|@FILE] "
                                        "[--body-type text|form|multipart] [--field NAME=VALUE|NAME=@PATH]...");

int runAdd(const QStringList &arguments)
{
    QString file;
    QString folderPath;
    bool allowDuplicate = false;
    HXCLIRequestOptions options;
    options.appendHeaders = true;
    QString error;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        const auto match = options.take(arguments, i, error);
        if (match == HXCLIRequestOptions::Match::Bad)
            return HXCLI::usageError(error);
        if (match == HXCLIRequestOptions::Match::Taken)
            continue;
        if (argument == u"--folder" && i + 1 < arguments.size())
            folderPath = arguments.at(++i);
        else if (argument == u"--allow-duplicate")
            allowDuplicate = true;
        else if (argument.startsWith(u'-') && argument.size() > 1)
            return HXCLI::usageError(QStringLiteral("add: unknown option '%1'").arg(argument));
        else if (!file.isEmpty())
            return HXCLI::usageError(QStringLiteral("add takes one document file"));
        else
            file = argument;
    }
    if (file.isEmpty() || !options.name)
        return HXCLI::usageError(QStringLiteral("usage: kea-cli ") + synopsis);
    if (!options.prepare(error))
        return HXCLI::usageError(error);

    auto document = HXCLI::openDocumentOrReport(file, true);
    if (!document)
        return HXCLIExitUsage;
    HXRequestGroup *folder = nullptr;
    if (!folderPath.isEmpty()) {
        folder = HXCLI::findFolder(*document, folderPath, true);
        if (folder == nullptr)
            return HXCLI::usageError(QStringLiteral("--folder needs a folder path like 'Folder/Sub'"));
    }
    const QList<HXRequestTreeItem *> siblings =
        folder != nullptr ? HXDocument::sortedItems(folder->children()) : document->topLevelItems();
    if (!allowDuplicate) {
        for (const HXRequestTreeItem *sibling : siblings) {
            if (dynamic_cast<const HXRequest *>(sibling) != nullptr && sibling->name() == *options.name)
                return HXCLI::usageError(
                    QStringLiteral("add: a request named '%1' is already in %2 (use --allow-duplicate to add another)")
                        .arg(*options.name,
                             folder != nullptr ? HXCLI::itemPath(folder) : QStringLiteral("the top level")));
        }
    }

    bool applied = true;
    HXRequest *request =
        HXDocumentCommands::commandsForDocument(document.get())->addRequestWithBlock({}, [&](HXRequest *added) {
            added->setOrderAndParent(folder, siblings.isEmpty() ? nullptr : siblings.last());
            applied = options.apply(added, *document, file, error);
        });
    if (!applied)
        return HXCLI::usageError(error);
    if (!HXCLI::saveDocumentOrReport(*document, file))
        return HXCLIExitUsage;
    HXCLI::writeOut(request->uuid() + u'\n');
    return HXCLIExitSuccess;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("add"),
    synopsis,
    QStringLiteral("add a request (missing folders are created) and print its uuid"),
    runAdd,
    QStringLiteral("Options:\n"
                   "  --folder PATH               the folder, like 'Accounts/Uploads' (created when missing)\n"
                   "  --allow-duplicate           add even when the folder has a request of that name\n") +
        HXCLIRequestOptions::help(),
});
