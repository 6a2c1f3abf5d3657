// HXDocumentCommands: environments and stored responses.

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXManagedObjectContext.h"
#include "HXPresenter.h"
#include "HXRequest.h"
#include "HXResponse.h"
#include "HXResponseManager.h"
#include "HXUndoGroup.h"

#include <QCoreApplication>
#include <QFile>
#include <QLocale>
#include <QMimeDatabase>

void HXDocumentCommands::selectEnvironment(HXEnvironment *environment)
{
    m_document->selectEnvironment(environment);
}

void HXDocumentCommands::selectNextEnvironment()
{
    m_document->selectNextEnvironment();
}

void HXDocumentCommands::selectPreviousEnvironment()
{
    m_document->selectPreviousEnvironment();
}

HXEnvironment *HXDocumentCommands::addEnvironment()
{
    HXEnvironment *environment = HXEnvironment::addEnvironment(QString(), m_document->managedObjectContext());
    m_document->selectEnvironment(environment);
    return environment;
}

void HXDocumentCommands::deleteEnvironment()
{
    m_document->deleteEnvironment();
}

void HXDocumentCommands::deleteEnvironmentVariables(const QList<HXEnvironmentVariable *> &variables)
{
    QList<HXEnvironmentVariable *> live;
    for (HXEnvironmentVariable *variable : variables) {
        if (variable != nullptr && variable->isLive() && !live.contains(variable))
            live.append(variable);
    }
    if (live.isEmpty())
        return;
    HXManagedObjectContext *context = m_document->managedObjectContext();
    // The values in every environment go with their variable.
    HXUndoGroup group(context,
                      live.size() == 1 ? tr("Delete Environment Variable") : tr("Delete Environment Variables"));
    for (HXEnvironmentVariable *variable : live)
        context->deleteObject(variable);
}

void HXDocumentCommands::environmentToolbarItemChanged(int tag, HXEnvironment *environment)
{
    switch (tag) {
    case 33:
        Q_EMIT showEnvironmentsSheet();
        break;
    case 32:
        addEnvironment();
        break;
    case 35:
        selectEnvironment(environment);
        break;
    case 34:
        deleteEnvironment();
        break;
    default:
        break;
    }
}

std::shared_ptr<HXResponse> HXDocumentCommands::responseInOrder(int tag, HXRequest *request,
                                                                const std::shared_ptr<HXResponse> &shown)
{
    if ((tag != 31 && tag != 32) || request == nullptr || request->uuid().isEmpty())
        return nullptr;
    // Newest first.
    const QList<std::shared_ptr<HXResponse>> responses =
        HXResponseManager::sharedManager()->responsesForRequestUUID(request->uuid());
    if (tag == 31) {
        for (auto it = responses.crbegin(); it != responses.crend(); ++it) {
            if (!shown || (*it)->date() > shown->date())
                return *it;
        }
    } else {
        for (const std::shared_ptr<HXResponse> &response : responses) {
            if (!shown || response->date() < shown->date())
                return response;
        }
    }
    return nullptr;
}

void HXDocumentCommands::deleteResponse(HXRequest *request, const std::shared_ptr<HXResponse> &response)
{
    if (!response)
        return;
    HXPresenter::Alert alert;
    alert.kind = HXPresenter::AlertKind::DeleteResponse;
    alert.document = m_document;
    alert.message = tr("Delete Response?");
    alert.informativeText =
        tr("Response `%1 %2` received %3.")
            .arg(response->statusCode())
            .arg(response->statusString(), QLocale().toString(response->date().toLocalTime(), QLocale::ShortFormat));
    alert.buttons = {tr("Delete Response"), tr("Cancel")};
    QPointer<HXDocumentCommands> self(this);
    QPointer<HXDocument> document = m_document;
    HXPresenter::sharedPresenter()->presentAlert(alert, [self, request, response, document](int button) {
        if (button != 0)
            return;
        HXResponseManager *manager = HXResponseManager::sharedManager();
        manager->deleteResponse(response);
        manager->saveUpdates();
        if (!self.isNull())
            Q_EMIT self->showResponse(request != nullptr && request->isLive() ? request->lastResponse() : nullptr);
    });
}

void HXDocumentCommands::deleteAllResponsesOfCurrentRequest(const Selection &selection)
{
    const QList<HXRequest *> requests = requestsFromSelection(selection);
    if (requests.isEmpty())
        return;
    HXPresenter::Alert alert;
    alert.kind = HXPresenter::AlertKind::DeleteAllResponsesOfRequest;
    alert.document = m_document;
    QString text = requests.size() == 1 ? tr("Delete All Responses of Request:\n")
                                        : tr("Delete All Responses of the following Requests:\n");
    for (const HXRequest *request : requests)
        text += tr("- %1\n").arg(request->description());
    alert.message = requests.size() == 1 ? tr("Delete All Responses of One Request?")
                                         : tr("Delete All Responses of %1 Requests?").arg(requests.size());
    alert.informativeText = text;
    alert.buttons = {tr("Delete Response"), tr("Cancel")};
    QStringList uuids;
    for (const HXRequest *request : requests)
        uuids.append(request->uuid());
    QPointer<HXDocumentCommands> self(this);
    HXPresenter::sharedPresenter()->presentAlert(alert, [self, uuids](int button) {
        if (button != 0)
            return;
        HXResponseManager *manager = HXResponseManager::sharedManager();
        for (const QString &uuid : uuids) {
            if (uuid.isEmpty())
                continue;
            for (const std::shared_ptr<HXResponse> &response : manager->responsesForRequestUUID(uuid))
                manager->deleteResponse(response);
        }
        manager->saveUpdates();
        if (!self.isNull())
            Q_EMIT self->showResponse(nullptr);
    });
}

void HXDocumentCommands::deleteAllResponses()
{
    HXPresenter::Alert alert;
    alert.kind = HXPresenter::AlertKind::DeleteAllResponses;
    alert.document = m_document;
    alert.message = tr("Delete All Responses (for All Documents)");
    alert.informativeText =
        tr("Kea stores Responses in a separate database (in your `~/Library/` directory), acting like the Cache of "
           "your Web Browser.\nThis action will move the current database to Trash.\n\nAll Responses will be "
           "deleted, regardess of which document or request they belong to. It doesn't affect the Requests.");
    alert.buttons = {tr("Move to Trash"), tr("Cancel")};
    QPointer<HXDocumentCommands> self(this);
    HXPresenter::sharedPresenter()->presentAlert(alert, [self](int button) {
        if (button != 0)
            return;
        HXResponseManager::resetMoveToTrash(true);
        if (!self.isNull())
            Q_EMIT self->showResponse(nullptr);
    });
}

QByteArray HXDocumentCommands::exportedResponseData(int tag, const HXResponse &response)
{
    switch (tag) {
    case 20:
        return response.headersData();
    case 21:
        return response.bodyData();
    case 22:
        return response.headersData() + response.bodyData();
    default:
        return {};
    }
}

void HXDocumentCommands::exportResponse(int tag, const Selection &selection)
{
    HXRequest *request = _lastSelectedRequest(selection);
    const std::shared_ptr<HXResponse> response = request != nullptr ? request->lastResponse() : nullptr;
    if (!response || tag < 20 || tag > 22)
        return;
    HXPresenter::SavePanel panel;
    panel.document = m_document;
    panel.nameFieldLabel = tr("Export As:");
    panel.nameFieldStringValue = request->name();
    if (tag == 20) {
        panel.message = tr("Export Response Headers");
        panel.allowedFileTypes = {QStringLiteral("txt")};
    } else {
        panel.message = tag == 21 ? tr("Export Response Body") : tr("Export Full Response");
        const QString suffix = QMimeDatabase().mimeTypeForName(response->MIMEType()).preferredSuffix();
        if (!suffix.isEmpty())
            panel.allowedFileTypes = {suffix};
    }
    HXPresenter::sharedPresenter()->presentSavePanel(panel, [tag, response](const QString &path) {
        if (path.isEmpty())
            return;
        // Write failures are not reported.
        QFile file(path);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(exportedResponseData(tag, *response));
    });
}
