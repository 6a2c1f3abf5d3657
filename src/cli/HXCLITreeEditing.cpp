#include "HXCLITreeEditing.h"

#include "HXCLIDocumentAccess.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"

namespace HXCLI {

HXRequestTreeItem *findItem(HXDocument &document, const QString &reference, QString &error)
{
    if (!reference.endsWith(u'/')) {
        QString requestError;
        if (HXRequest *request = findRequest(document, reference, requestError))
            return request;
        if (HXRequestGroup *folder = findFolder(document, reference, false))
            return folder;
        error = requestError;
        return nullptr;
    }
    if (HXRequestGroup *folder = findFolder(document, reference, false))
        return folder;
    error = QStringLiteral("no folder '%1'").arg(reference);
    return nullptr;
}

bool findItems(HXDocument &document, const QStringList &references, HXDocumentCommands::Selection &items,
               QString &error)
{
    for (const QString &reference : references) {
        HXRequestTreeItem *item = findItem(document, reference, error);
        if (item == nullptr)
            return false;
        if (!items.contains(item))
            items.append(item);
    }
    return true;
}

} // namespace HXCLI
