#include "HXCLIDocumentAccess.h"

#include "HXCLICommand.h"

namespace HXCLI {

std::unique_ptr<HXDocument> openDocumentOrReport(const QString &path)
{
    auto document = HXDocument::openDocument(path);
    if (!document) {
        writeErr(QStringLiteral("kea-cli: %1\n").arg(document.error().description));
        return nullptr;
    }
    return std::move(document).value();
}

bool saveDocumentOrReport(HXDocument &document, const QString &path)
{
    auto saved = document.saveAs(path);
    if (!saved)
        writeErr(QStringLiteral("kea-cli: %1\n").arg(saved.error().description));
    return saved.ok();
}

} // namespace HXCLI
