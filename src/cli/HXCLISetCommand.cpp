#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXCLIRequestOptions.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"

// kea-cli set FILE REQUEST [request options]: changes fields of a request.

namespace {

const QString synopsis =
    QStringLiteral("set FILE REQUEST [--name N] [--method M] [--url U] [--header 'Name: value']... "
                   "[--unset-header NAME]... [--body TEXT|@FILE] [--body-type T] [--field ...] "
                   "[--follow-redirects on|off] ...");

int runSet(const QStringList &arguments)
{
    QStringList positional;
    HXCLIRequestOptions options;
    QString error;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const auto match = options.take(arguments, i, error);
        if (match == HXCLIRequestOptions::Match::Bad)
            return HXCLI::usageError(error);
        if (match == HXCLIRequestOptions::Match::Taken)
            continue;
        if (arguments.at(i).startsWith(u"--"))
            return HXCLI::usageError(QStringLiteral("set: unknown option '%1'").arg(arguments.at(i)));
        positional.append(arguments.at(i));
    }
    if (positional.size() != 2)
        return HXCLI::usageError(QStringLiteral("usage: kea-cli ") + synopsis);
    if (!options.prepare(error))
        return HXCLI::usageError(error);
    auto document = HXCLI::openDocumentOrReport(positional.at(0), true);
    if (!document)
        return HXCLIExitUsage;
    HXRequest *request = HXCLI::findRequest(*document, positional.at(1), error);
    if (request == nullptr)
        return HXCLI::usageError(QStringLiteral("set: %1").arg(error));
    if (!options.apply(request, *document, positional.at(0), error))
        return HXCLI::usageError(error);
    document->managedObjectContext()->processPendingChanges();
    return HXCLI::saveDocumentOrReport(*document, positional.at(0)) ? HXCLIExitSuccess : HXCLIExitUsage;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("set"),
    synopsis,
    QStringLiteral("change fields of a request"),
    runSet,
    HXCLIRequestOptions::help(),
});
