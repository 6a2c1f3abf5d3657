#include "HXWindowDesktopServices.h"

#include "HXDocument.h"
#include "HXDocumentController.h"
#include "HXDocumentWindow.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestListView.h"
#include "HXWindowManager.h"

#include <QApplication>
#include <QStandardPaths>

void HXWindowDesktopServices::playSound(const QString &soundName)
{
    static const bool hasPlayer = !QStandardPaths::findExecutable(QStringLiteral("canberra-gtk-play")).isEmpty();
    if (hasPlayer)
        HXFreedesktopServices::playSound(soundName);
    else
        QApplication::beep();
}

bool HXWindowDesktopServices::shouldNotify()
{
    return QApplication::activeWindow() == nullptr;
}

void HXWindowDesktopServices::deliverNotification(const QString &title, const QString &text,
                                                  const QVariantMap &userInfo)
{
    if (shouldNotify())
        HXFreedesktopServices::deliverNotification(title, text, userInfo);
}

void HXWindowDesktopServices::notificationActivated(const QVariantMap &userInfo)
{
    const QList<HXDocumentWindow *> windows = HXWindowManager::windows();
    const QString requestUUID = userInfo.value(QStringLiteral("requestUUID")).toString();
    HXDocumentWindow *target = nullptr;
    HXRequest *request = nullptr;
    for (HXDocumentWindow *window : windows) {
        if (requestUUID.isEmpty() || request != nullptr)
            break;
        request = HXRequest::requestWithUUID(requestUUID, window->document()->managedObjectContext());
        if (request != nullptr)
            target = window;
    }
    if (target == nullptr) {
        const QList<HXDocument *> documents = HXDocumentController::sharedDocumentController()->documents();
        for (HXDocumentWindow *window : windows) {
            if (target == nullptr || (!documents.isEmpty() && window->document() == documents.first()))
                target = window;
        }
    }
    if (target == nullptr)
        return;
    target->setWindowState((target->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    target->show();
    target->raise();
    target->activateWindow();
    if (request != nullptr)
        target->requestList()->selectItems({request});
}
