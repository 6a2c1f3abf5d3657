// kea-cli check FILE: reads a document the way the application opens it —
// after a merge, say — without opening a window, and prints what it holds.

#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXFetchRequest.h"
#include "HXManagedObjectContext.h"

namespace {

int runCheck(const QStringList &arguments)
{
    if (arguments.size() != 1 || arguments.first().startsWith(u'-'))
        return HXCLI::usageError(QStringLiteral("usage: kea-cli check FILE"));
    auto document = HXCLI::openDocumentOrReport(arguments.first());
    if (!document)
        return HXCLIExitUsage;
    const HXManagedObjectContext *context = document->managedObjectContext();
    auto count = [context](const char *entity) {
        return context->countForFetchRequest(HXFetchRequest(QString::fromLatin1(entity)));
    };
    HXCLI::writeOut(QStringLiteral("requests: %1\nfolders: %2\nenvironments: %3\nvariables: %4\n")
                        .arg(count("HXRequest"))
                        .arg(count("HXRequestGroup"))
                        .arg(count("HXEnvironment"))
                        .arg(count("HXEnvironmentVariable")));
    return HXCLIExitSuccess;
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("check"), QStringLiteral("check FILE"),
     QStringLiteral("read a document as the application opens it (after a merge, say) and print the counts of "
                    "requests, folders, environments and variables"),
     runCheck});

} // namespace
