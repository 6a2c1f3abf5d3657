#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"

#include <QFileInfo>

namespace {

int runNew(const QStringList &arguments)
{
    if (arguments.size() != 1 || arguments.first().startsWith(u'-'))
        return HXCLI::usageError(QStringLiteral("usage: kea-cli new FILE"));
    const QString path = arguments.first();
    if (QFileInfo::exists(path))
        return HXCLI::usageError(
            QStringLiteral("%1: a file of that name already exists; choose another name or remove it first").arg(path));
    HXDocument document;
    return HXCLI::saveDocumentOrReport(document, path) ? HXCLIExitSuccess : HXCLIExitUsage;
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("new"), QStringLiteral("new FILE"), QStringLiteral("create an empty document"), runNew});

} // namespace
