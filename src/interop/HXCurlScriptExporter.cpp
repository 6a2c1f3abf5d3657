#include "HXCurlScriptExporter.h"

#include "HXCodeGenerator.h"
#include "HXDocument.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"

namespace {

void appendRequests(HXDocument *document, const QList<HXRequestTreeItem *> &items, const QString &folderPath,
                    QByteArray &script)
{
    HXCodeOptions options = HXCodeOptions::fromUserDefaults();
    options.addComments = true;
    for (HXRequestTreeItem *item : items) {
        const QString path = folderPath.isEmpty() ? item->name() : folderPath + u'/' + item->name();
        if (auto *folder = dynamic_cast<HXRequestGroup *>(item)) {
            appendRequests(document, HXDocument::sortedItems(folder->children()), path, script);
        } else if (auto *request = dynamic_cast<HXRequest *>(item)) {
            HXCodeRequest code = HXCodeGenerator::codeRequest(request, document);
            code.name = path;
            script += '\n' + HXCodeGenerator::generate(HXCodeGenerator::Language::Curl, code, options);
        }
    }
}

} // namespace

QByteArray HXCurlScriptExporter::exportDocument(HXDocument *document)
{
    QByteArray script = "#!/usr/bin/env bash\n";
    appendRequests(document, document->topLevelItems(), QString(), script);
    return script;
}
