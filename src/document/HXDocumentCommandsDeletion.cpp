// The delete command of HXDocumentCommands: its question and the deletion.

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXManagedObjectContext.h"
#include "HXPresenter.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXRequestHandler.h"
#include "HXUndoManager.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("HXDocument", text);
}

QString title(qsizetype r, qsizetype f)
{
    if (r >= 2) {
        if (f >= 2)
            return tr("Delete %1 requests and %2 folders?").arg(r).arg(f);
        if (f == 1)
            return tr("Delete %1 requests and one folder?").arg(r);
        return tr("Delete %1 requests?").arg(r);
    }
    if (r == 1) {
        if (f >= 2)
            return tr("Delete one request and %1 folders?").arg(f);
        return f == 1 ? tr("Delete one request and one folder?") : tr("Delete one request?");
    }
    return f >= 2 ? tr("Delete %1 folders?").arg(f) : tr("Delete one folder?");
}

} // namespace

HXDocumentCommands::DeleteQuestion HXDocumentCommands::deleteQuestion(const QList<HXRequest *> &requests,
                                                                      const QList<HXRequestGroup *> &folders)
{
    const qsizetype r = requests.size();
    const qsizetype f = folders.size();
    DeleteQuestion question;
    question.title = title(r, f);
    QString text;
    if (r == 1) {
        text += tr("Delete the request %1?\n").arg(requests.first()->description());
    } else if (r >= 2) {
        text += tr("Delete the following requests?\n");
        if (r > 10) {
            text += tr("%1 Requests").arg(r);
        } else {
            for (const HXRequest *request : requests)
                text += tr("- %1 \n").arg(request->description());
        }
    }
    if (r != 0 && f != 0)
        text += u'\n';
    if (f == 1) {
        text += tr("Delete the folder %1?\n").arg(folders.first()->description());
    } else if (f >= 2) {
        text += tr("Delete the following folders?\n");
        if (f > 10) {
            // The count shown here is the request count, as it always was.
            text += tr("%1 Folders").arg(r);
        } else {
            for (const HXRequestGroup *folder : folders)
                text += tr("- %1 \n").arg(folder->description());
        }
    }
    question.informativeText = text;
    if (r != 0 && f != 0)
        question.undoActionName = tr("Delete");
    else if (r == 1)
        question.undoActionName = tr("Delete Request");
    else if (r >= 2)
        question.undoActionName = tr("Delete Requests");
    else if (f == 1)
        question.undoActionName = tr("Delete Request Folder");
    else
        question.undoActionName = tr("Delete Request Folders");
    return question;
}

void HXDocumentCommands::deleteRequest(const Selection &selection)
{
    QList<HXRequest *> requests;
    QList<HXRequestGroup *> folders;
    findRequests(requests, folders, selection);
    if (requests.isEmpty() && folders.isEmpty())
        return;
    const DeleteQuestion question = deleteQuestion(requests, folders);
    HXPresenter::Alert alert;
    alert.kind = HXPresenter::AlertKind::DeleteRequestTreeItems;
    alert.document = m_document;
    alert.message = question.title;
    alert.informativeText = question.informativeText;
    alert.buttons = {tr("Delete"), tr("Cancel")};
    QPointer<HXDocumentCommands> self(this);
    HXPresenter::sharedPresenter()->presentAlert(alert, [self, requests, folders, question](int button) {
        if (button == 0 && !self.isNull() && !self->m_document.isNull())
            self->_deleteConfirmed(requests, folders, question.undoActionName);
    });
}

void HXDocumentCommands::_deleteConfirmed(const QList<HXRequest *> &requests, const QList<HXRequestGroup *> &folders,
                                          const QString &undoName)
{
    HXManagedObjectContext *context = m_document->managedObjectContext();
    HXUndoManager *undo = context->undoManager();
    context->processPendingChanges();
    if (undo != nullptr)
        undo->beginUndoGrouping();
    for (HXRequest *request : requests) {
        if (!request->isLive())
            continue;
        m_document->requestHandler()->stopRequest(request);
        context->deleteObject(request);
    }
    for (HXRequestGroup *folder : folders) {
        if (folder->isLive())
            context->deleteObject(folder);
    }
    context->processPendingChanges();
    if (undo != nullptr) {
        undo->setActionName(undoName);
        undo->endUndoGrouping();
    }
    Q_EMIT selectItems({}, nullptr);
}
