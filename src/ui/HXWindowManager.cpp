#include "HXWindowManager.h"

#include "HXClipboardPasteboard.h"
#include "HXDocument.h"
#include "HXDocumentController.h"
#include "HXDocumentWindow.h"
#include "HXEnvironment.h"
#include "HXManagedObjectContext.h"
#include "HXPresenter.h"
#include "HXUndoManager.h"

#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QSettings>

namespace {
const QString recentFilesKey = QStringLiteral("KeaRecentDocuments");

HXDocumentWindow *show(std::unique_ptr<HXDocument> document)
{
    // Copy and paste go through the system clipboard, so they work between
    // windows and between two running instances.
    static HXClipboardPasteboard clipboard;
    HXPasteboard::setGeneralPasteboard(&clipboard);
    auto *window = new HXDocumentWindow(std::move(document));
    const QList<HXDocumentWindow *> others = HXWindowManager::windows();
    if (others.size() > 1 && others.first() != window)
        window->move(others.first()->pos() + QPoint(28, 28));
    window->show();
    return window;
}
} // namespace

QList<HXDocumentWindow *> HXWindowManager::windows()
{
    QList<HXDocumentWindow *> result;
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (auto *window = qobject_cast<HXDocumentWindow *>(widget))
            result.append(window);
    }
    return result;
}

HXDocumentWindow *HXWindowManager::newDocument()
{
    auto document = HXDocument::makeUntitledDocument();
    // Nothing to save until the user changes something.
    document->managedObjectContext()->markSaved();
    return show(std::move(document));
}

HXDocumentWindow *HXWindowManager::openFile(const QString &path)
{
    if (HXDocument *open = HXDocumentController::sharedDocumentController()->documentForFile(path)) {
        for (HXDocumentWindow *window : windows()) {
            if (window->document() == open) {
                window->raise();
                window->activateWindow();
                return window;
            }
        }
    }
    auto document = HXDocument::openDocument(path);
    if (!document.ok()) {
        HXPresenter::sharedPresenter()->presentError(document.error());
        return nullptr;
    }
    std::unique_ptr<HXDocument> opened = std::move(document).value();
    HXManagedObjectContext *context = opened->managedObjectContext();
    if (opened->currentEnvironment() == nullptr) {
        context->undoManager()->disableUndoRegistration();
        opened->setCurrentEnvironment(HXEnvironment::createDefaultEnvironmentIfNeeded(context));
        context->processPendingChanges();
        context->undoManager()->enableUndoRegistration();
    }
    HXDocumentWindow *window = show(std::move(opened));
    // Writing the settings file waits for the disk: done once the window is up.
    window->afterFirstPaint([file = QFileInfo(path).absoluteFilePath()] { noteRecentFile(file); });
    return window;
}

void HXWindowManager::openDialog(QWidget *parent)
{
    const QStringList paths =
        QFileDialog::getOpenFileNames(parent, QObject::tr("Open"), QString(), QObject::tr("Kea Documents (*.kea)"));
    for (const QString &path : paths)
        openFile(path);
}

bool HXWindowManager::closeAll()
{
    for (HXDocumentWindow *window : windows()) {
        if (!window->close())
            return false;
    }
    return true;
}

QStringList HXWindowManager::recentFiles()
{
    QStringList files = QSettings().value(recentFilesKey).toStringList();
    files.removeIf([](const QString &path) { return !QFileInfo::exists(path); });
    return files;
}

void HXWindowManager::noteRecentFile(const QString &path)
{
    QSettings settings;
    QStringList files = settings.value(recentFilesKey).toStringList();
    files.removeAll(path);
    files.prepend(path);
    while (files.size() > maximumRecentFiles)
        files.removeLast();
    settings.setValue(recentFilesKey, files);
}
