#include "HXURLEventHandler.h"

#include "HXDocumentCommands.h"

#include "HXDocument.h"
#include "HXDocumentController.h"
#include "HXDocumentLogging.h"
#include "HXThreading.h"

HXDocument *HXURLEventHandler::handleURL(const QUrl &url, const UntitledDocumentMaker &makeUntitledDocument)
{
    HX_ASSERT_MAIN_THREAD();
    if (!url.isValid() || url.scheme().compare(QLatin1String(scheme), Qt::CaseInsensitive) != 0)
        return nullptr;
    const QString host = url.host();
    HXDocument *document = nullptr;
    bool isNew = false;
    if (host == u"current.document") {
        const QList<HXDocument *> documents = HXDocumentController::sharedDocumentController()->documents();
        if (!documents.isEmpty())
            document = documents.first();
    } else if (host != u"new.document") {
        return nullptr;
    }
    if (document == nullptr && makeUntitledDocument) {
        document = makeUntitledDocument();
        isNew = true;
    }
    if (document == nullptr)
        return nullptr;
    _dispatchToDocument(document, url, isNew);
    return document;
}

HXDocument *HXURLEventHandler::handleURLString(const QString &text, const UntitledDocumentMaker &makeUntitledDocument)
{
    return handleURL(QUrl(text), makeUntitledDocument);
}

bool HXURLEventHandler::isSchemeURL(const QString &argument)
{
    return argument.startsWith(QLatin1String(scheme) + u':', Qt::CaseInsensitive);
}

void HXURLEventHandler::_dispatchToDocument(HXDocument *document, const QUrl &url, bool isNewDocument)
{
    qCDebug(lcKeaDocument) << "URL" << url.toDisplayString() << "for" << document->fileName()
                           << (isNewDocument ? "(new document)" : "");
    HXDocumentCommands::commandsForDocument(document)->handleURL(url, isNewDocument);
}
