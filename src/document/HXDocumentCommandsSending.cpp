// HXDocumentCommands: sending, the redirect toggles, the authorization
// inserts and the URL-scheme actions.

#include "HXAmazonS3HeaderDynamicValue.h"
#include "HXBasicAuthDynamicValue.h"
#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDynamicValueEngine.h"
#include "HXManagedObjectContext.h"
#include "HXOAuth1HeaderDynamicValue.h"
#include "HXPresenter.h"
#include "HXRequest.h"
#include "HXRequestHandler.h"
#include "HXTimestampDynamicValue.h"
#include "HXURLEncodedStringParser.h"
#include "HXUndoGroup.h"
#include "HXUndoManager.h"

#include <QCoreApplication>
#include <QUrlQuery>

namespace {

QList<HXRequest *> liveRequests(const QList<HXRequest *> &requests)
{
    QList<HXRequest *> live;
    for (HXRequest *request : requests) {
        if (request->isLive())
            live.append(request);
    }
    return live;
}

} // namespace

void HXDocumentCommands::_sendRequests(const QList<HXRequest *> &requests)
{
    if (!requests.isEmpty())
        m_document->requestHandler()->sendRequests(requests);
}

void HXDocumentCommands::sendRequest(const Selection &selection)
{
    HXRequestHandler *handler = m_document->requestHandler();
    if (!handler->isBusy()) {
        _sendRequests(requestsFromSelection(selection));
        return;
    }
    HXPresenter::Alert alert;
    alert.kind = HXPresenter::AlertKind::StopRequest;
    alert.document = m_document;
    alert.message = tr("Stop request?");
    alert.informativeText = tr("A request is currently running.");
    alert.buttons = {tr("Stop & send"), tr("Cancel"), tr("Stop")};
    const QList<HXRequest *> requests = requestsFromSelection(selection);
    QPointer<HXDocumentCommands> self(this);
    HXPresenter::sharedPresenter()->presentAlert(alert, [self, requests](int button) {
        if (self.isNull() || self->m_document.isNull() || button == 1)
            return;
        self->stopRequests();
        if (button == 0)
            self->_sendRequests(liveRequests(requests));
    });
}

QList<HXRequest *> HXDocumentCommands::allRequestsByUUID() const
{
    HXFetchRequest fetch(HXRequest::staticEntityName());
    fetch.sortBy(QStringLiteral("uuid"));
    QList<HXRequest *> requests;
    for (HXManagedObject *object : m_document->managedObjectContext()->executeFetchRequest(fetch).valueOr({}))
        requests.append(static_cast<HXRequest *>(object));
    return requests;
}

void HXDocumentCommands::sendAllRequests()
{
    const qsizetype count = allRequestsByUUID().size();
    const bool busy = m_document->requestHandler()->isBusy();
    HXPresenter::Alert alert;
    alert.document = m_document;
    if (busy) {
        alert.kind = HXPresenter::AlertKind::StopAndSendAllRequests;
        alert.message = tr("Stop request? And send all?");
        alert.informativeText = tr("A request is currently running, stop it and send %1 request(s)?").arg(count);
        alert.buttons = {tr("Stop & send all"), tr("Cancel"), tr("Stop")};
    } else {
        alert.kind = HXPresenter::AlertKind::SendAllRequests;
        alert.message = tr("Send all?");
        alert.informativeText = tr("Send %1 request(s)?").arg(count);
        alert.buttons = {tr("Send all"), tr("Cancel")};
    }
    QPointer<HXDocumentCommands> self(this);
    HXPresenter::sharedPresenter()->presentAlert(alert, [self, busy](int button) {
        if (self.isNull() || self->m_document.isNull() || button == 1)
            return;
        if (busy)
            self->stopRequests();
        if (button == 0)
            self->_sendRequests(self->allRequestsByUUID());
    });
}

void HXDocumentCommands::stopRequests()
{
    m_document->requestHandler()->stopAllRequests();
}

int HXDocumentCommands::stateForRequests(const QList<HXRequest *> &requests, const QString &property)
{
    qsizetype on = 0;
    for (const HXRequest *request : requests) {
        if (request->boolForKey(property))
            ++on;
    }
    if (on == 0)
        return 0;
    return on == requests.size() ? 1 : -1;
}

void HXDocumentCommands::_toggle(const Selection &selection, const QString &property, const QString &undoName)
{
    const QList<HXRequest *> requests = requestsFromSelection(selection);
    if (requests.isEmpty())
        return;
    const bool value = stateForRequests(requests, property) != 1;
    HXUndoGroup group(m_document->managedObjectContext(), undoName);
    for (HXRequest *request : requests)
        request->setValueForKey(value, property);
}

void HXDocumentCommands::toogleFollowRedirects(const Selection &selection)
{
    _toggle(selection, QStringLiteral("followRedirects"), tr("Follow Redirects"));
}

void HXDocumentCommands::toogleRedirectMethod(const Selection &selection)
{
    _toggle(selection, QStringLiteral("redirectMethod"), tr("Keep Method"));
}

void HXDocumentCommands::toogleRedirectAuthorization(const Selection &selection)
{
    _toggle(selection, QStringLiteral("redirectAuthorization"), tr("Keep Authorization"));
}

HXRequest *HXDocumentCommands::_lastSelectedRequest(const Selection &selection) const
{
    return selection.isEmpty() ? nullptr : dynamic_cast<HXRequest *>(selection.last());
}

namespace {

// Sets headers of the request as one named undo step.
HXDynamicValuePtr insertAuthorization(HXRequest *request, const QString &undoName, const HXDynamicValuePtr &value,
                                      const HXDynamicValuePtr &date = nullptr)
{
    if (request == nullptr)
        return nullptr;
    HXManagedObjectContext *context = request->managedObjectContext();
    HXUndoManager *undo = context->undoManager();
    context->processPendingChanges();
    if (undo != nullptr)
        undo->beginUndoGrouping();
    request->setHeaderName(QStringLiteral("Authorization"), value->archivedString());
    // The signature covers the date, so the request sends the one it signs.
    if (date)
        request->setHeaderName(QStringLiteral("Date"), date->archivedString());
    context->processPendingChanges();
    if (undo != nullptr) {
        undo->setActionName(undoName);
        undo->endUndoGrouping();
    }
    return value;
}

} // namespace

HXDynamicValuePtr HXDocumentCommands::addHTTPBasicAuthorization(const Selection &selection)
{
    return insertAuthorization(_lastSelectedRequest(selection), tr("Set HTTP Basic Auth"),
                               HXDynamicValue::make<HXBasicAuthDynamicValue>());
}

HXDynamicValuePtr HXDocumentCommands::addOAuthAuthorization(const Selection &selection)
{
    return insertAuthorization(_lastSelectedRequest(selection), tr("Set OAuth 1 Authorization"),
                               HXDynamicValue::make<HXOAuth1HeaderDynamicValue>());
}

HXDynamicValuePtr HXDocumentCommands::addAmazonS3Authorization(const Selection &selection)
{
    auto timestamp = HXDynamicValue::make<HXTimestampDynamicValue>();
    timestamp->setFormat(2);
    return insertAuthorization(_lastSelectedRequest(selection), tr("Set Amazon S3 Authorization"),
                               HXDynamicValue::make<HXAmazonS3HeaderDynamicValue>(), timestamp);
}

QString HXDocumentCommands::formBodyWithText(const HXDynamicString &text, bool multipart)
{
    HXURLEncodedStringParser::Options options;
    options.usePlusForSpaces = true;
    HXDynamicKeyValueRows rows;
    for (const HXURLEncodedRow &row : HXURLEncodedStringParser::rowsForString(text, options))
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

bool HXDocumentCommands::handleURL(const QUrl &url, bool isNewDocument, const Selection &selection)
{
    const QString path = url.path();
    if (path == u"/requests/current/send") {
        sendRequest(selection);
        return true;
    }
    if (path != u"/requests/new")
        return false;
    if (isNewDocument)
        deleteAllRequestTreeItemsPurgeUndoManager(true);
    const QUrlQuery query(url);
    auto item = [&query](const char *key) {
        return query.queryItemValue(QString::fromLatin1(key), QUrl::FullyDecoded);
    };
    auto has = [&query](const char *key) { return query.hasQueryItem(QString::fromLatin1(key)); };
    const Selection placement = isNewDocument ? Selection() : selection;
    HXRequest *request = addRequestWithBlock(placement, [&](HXRequest *request) {
        if (has("url"))
            request->setUrl(HXDynamicValueEngine::archiveAttributedString(HXDynamicString(item("url"))));
        if (has("method"))
            request->setMethod(item("method").toUpper());
        if (has("headers")) {
            const HXURLEncodedStringParser::Options options;
            for (const HXURLEncodedRow &row :
                 HXURLEncodedStringParser::rowsForString(HXDynamicString(item("headers")), options))
                request->setHeaderName(row.name.string(), HXDynamicValueEngine::archiveAttributedString(row.value));
        }
        if (has("name"))
            request->setName(item("name"));
        if (has("body")) {
            const QString body = item("body");
            const QString type = item("bodyType");
            if (type.compare(u"form-url-encoded", Qt::CaseInsensitive) == 0 ||
                type.compare(u"form", Qt::CaseInsensitive) == 0)
                request->setBody(formBodyWithText(HXDynamicString(body), false));
            else if (type.compare(u"multipart", Qt::CaseInsensitive) == 0)
                request->setBody(formBodyWithText(HXDynamicString(body), true));
            else
                request->setBody(HXDynamicValueEngine::archiveAttributedString(HXDynamicString(body)));
        }
    });
    if (has("send"))
        sendRequest({request});
    return true;
}
