#include "HXDocumentWindow.h"

#include "HXCodeInspector.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDocumentController.h"
#include "HXEnvironment.h"
#include "HXEnvironmentsWindow.h"
#include "HXMainMenu.h"
#include "HXManagedObjectContext.h"
#include "HXPresenter.h"
#include "HXRequest.h"
#include "HXRequestEditor.h"
#include "HXRequestHandler.h"
#include "HXRequestListView.h"
#include "HXResponse.h"
#include "HXResponseManager.h"
#include "HXResponseViewer.h"
#include "HXUndoManager.h"
#include "HXViewSwitcher.h"
#include "HXWarningsButton.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
// Tags of the environment chooser's command items.
constexpr int manageEnvironmentsTag = 33;
constexpr int addEnvironmentTag = 32;
constexpr int deleteEnvironmentTag = 34;
constexpr int selectEnvironmentTag = 35;
} // namespace

HXDocumentWindow::HXDocumentWindow(std::unique_ptr<HXDocument> document, QWidget *parent)
    : QMainWindow(parent), m_document(std::move(document))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setUnifiedTitleAndToolBarOnMac(true);
    m_commands = HXDocumentCommands::commandsForDocument(m_document.get());

    m_list = new HXRequestListView(m_commands);
    m_editor = new HXRequestEditor(m_commands);
    m_viewer = new HXResponseViewer;
    m_viewer->setDocument(m_document.get());
    m_detailSplitter = new QSplitter(Qt::Vertical);
    m_detailSplitter->addWidget(m_editor);
    m_detailSplitter->addWidget(m_viewer);
    m_detailSplitter->setChildrenCollapsible(false);
    m_detailSplitter->setStretchFactor(0, 2);
    m_detailSplitter->setStretchFactor(1, 3);
    // The code inspector goes under the list when it is first asked for.
    m_listSplitter = new QSplitter(Qt::Vertical);
    m_listSplitter->addWidget(m_list);
    m_listSplitter->setChildrenCollapsible(false);
    m_listSplitter->setStretchFactor(0, 1);
    m_mainSplitter = new QSplitter(Qt::Horizontal);
    m_mainSplitter->addWidget(m_listSplitter);
    m_mainSplitter->addWidget(m_detailSplitter);
    m_mainSplitter->setStretchFactor(1, 1);
    m_mainSplitter->setChildrenCollapsible(false);
    m_mainSplitter->setSizes({260, 840});
    auto *central = new QWidget;
    auto *centralLayout = new QVBoxLayout(central);
    centralLayout->setContentsMargins(0, 0, 0, 0);
    centralLayout->setSpacing(0);
    if (m_document->wasChangedOutsideKea())
        centralLayout->addWidget(_makeChangedOutsideNotice());
    centralLayout->addWidget(m_mainSplitter, 1);
    setCentralWidget(central);

    _buildToolbar();
    m_menu = new HXMainMenu(this);

    HXRequestHandler *handler = m_document->requestHandler();
    connect(handler, &HXRequestHandler::requestStatusChanged, this,
            [this](HXRequest *request, int status, int) { _updateStatus(request, status); });
    connect(handler, &HXRequestHandler::progressChanged, this, [this](HXRequest *, double progress, bool stopped) {
        m_progress->setValue(stopped ? 0 : int(progress * 100));
    });
    connect(handler, &HXRequestHandler::requestDidReceiveNewResponse, this, &HXDocumentWindow::_didReceiveResponse);
    connect(handler, &HXRequestHandler::idle, this, &HXDocumentWindow::updateCommandStates);
    connect(m_list, &HXRequestListView::selectionChanged, this, &HXDocumentWindow::_selectionChanged);
    connect(m_commands, &HXDocumentCommands::showEnvironmentsSheet, this, [this] {
        auto *sheet = new HXEnvironmentsWindow(m_commands, this);
        sheet->setAttribute(Qt::WA_DeleteOnClose);
        sheet->open();
    });
    connect(m_commands, &HXDocumentCommands::showResponse, this, [this](const std::shared_ptr<HXResponse> &response) {
        // After a response was deleted: the request's remaining ones.
        _selectionChanged();
        if (response != nullptr)
            m_viewer->showResponse(response);
    });
    HXManagedObjectContext *context = m_document->managedObjectContext();
    connect(context, &HXManagedObjectContext::objectsDidChange, this, [this] {
        if (m_inspector != nullptr)
            m_inspector->scheduleUpdate();
        _updateTitle();
        _updateEnvironments();
        _updateWarnings();
        updateCommandStates();
    });
    connect(context->undoManager(), &HXUndoManager::changed, this, &HXDocumentWindow::updateCommandStates);
    connect(m_document.get(), &HXDocument::currentEnvironmentChanged, this, [this] {
        if (m_inspector != nullptr)
            m_inspector->scheduleUpdate();
        _updateEnvironments();
        _updateWarnings();
    });

    resize(1180, 760);
    _restoreInterfaceState();
    _updateTitle();
    _updateEnvironments();
    // The restored selection has shown its request already; show it (or the
    // empty state) only when that did not happen.
    if (!m_shownSelection || *m_shownSelection != m_list->selectedItems())
        _selectionChanged();
    m_opening = false;
    updateCommandStates();
}

HXDocumentWindow::~HXDocumentWindow()
{
    for (const std::function<void()> &work : std::as_const(m_afterFirstPaint))
        work();
    if (!m_document)
        return;
    m_document->requestHandler()->stopAllRequests();
    // The document goes before the views that follow it: nothing of it may
    // reach them on the way out.
    HXManagedObjectContext *context = m_document->managedObjectContext();
    context->undoManager()->disconnect();
    context->disconnect();
    m_document->requestHandler()->disconnect();
    m_document->disconnect();
}

QWidget *HXDocumentWindow::_makeChangedOutsideNotice()
{
    // Told once, when the document opens; the file was read as it is.
    auto *notice = new QFrame;
    notice->setObjectName(QStringLiteral("changedOutsideNotice"));
    notice->setFrameShape(QFrame::StyledPanel);
    notice->setAutoFillBackground(true);
    notice->setBackgroundRole(QPalette::ToolTipBase);
    notice->setForegroundRole(QPalette::ToolTipText);
    auto *layout = new QHBoxLayout(notice);
    layout->setContentsMargins(12, 6, 8, 6);
    auto *text = new QLabel(tr("<b>This document was changed outside Kea.</b> It was opened as it is on disk; "
                               "check its requests before you save it."));
    text->setWordWrap(true);
    auto *dismiss = new QPushButton(tr("Dismiss"));
    connect(dismiss, &QPushButton::clicked, notice, &QWidget::hide);
    layout->addWidget(text, 1);
    layout->addWidget(dismiss);
    return notice;
}

void HXDocumentWindow::setOrderBy(int orderBy)
{
    m_orderBy = std::clamp(orderBy, 0, 2);
    m_list->setOrderBy(m_orderBy);
    updateCommandStates();
}

void HXDocumentWindow::setArrangeBy(int arrangeBy)
{
    m_arrangeBy = std::clamp(arrangeBy, 0, 3);
    m_list->setArrangeBy(m_arrangeBy);
    updateCommandStates();
}

void HXDocumentWindow::setViewType(int viewType)
{
    m_viewType = std::clamp(viewType, int(RequestView), int(ResponseView));
    m_editor->setVisible(m_viewType != ResponseView);
    m_viewer->setVisible(m_viewType != RequestView);
    m_viewSwitcher->setCurrentIndex(m_viewType);
    updateCommandStates();
}

HXRequest *HXDocumentWindow::currentRequest() const
{
    return dynamic_cast<HXRequest *>(m_list->currentItem());
}

QList<HXRequest *> HXDocumentWindow::selectedRequests() const
{
    QList<HXRequest *> requests;
    for (HXRequestTreeItem *item : m_list->selectedItems()) {
        if (auto *request = dynamic_cast<HXRequest *>(item))
            requests.append(request);
    }
    return requests;
}

void HXDocumentWindow::sendSelected()
{
    // Commit the field being edited before its request is sent.
    if (QWidget *focus = focusWidget())
        focus->clearFocus();
    m_commands->sendRequest(m_list->selectedItems());
}

void HXDocumentWindow::_selectionChanged()
{
    m_shownSelection = m_list->selectedItems();
    HXRequest *request = currentRequest();
    m_editor->setRequest(request);
    if (m_inspector != nullptr)
        m_inspector->setRequest(request, m_document.get());
    if (request == nullptr) {
        m_viewer->setEmptyText(m_list->selectedItems().isEmpty() ? tr("No Request Selected") : tr("No Response"));
        m_viewer->setResponses({});
    } else {
        m_viewer->setEmptyText(tr("No Response\nPress Ctrl+Return to send the request."));
        m_viewer->setResponses(HXResponseManager::sharedManager()->responsesForRequestUUID(request->uuid()));
    }
    m_viewer->setRequestTextProvider([request, document = m_document.get()] {
        return request != nullptr && request->isLive() ? HXResponseViewer::requestText(request, document) : QString();
    });
    _updateWarnings();
    updateCommandStates();
}

void HXDocumentWindow::_didReceiveResponse(HXRequest *request, const std::shared_ptr<HXResponse> &)
{
    HXResponseManager::sharedManager()->saveUpdates();
    if (request == currentRequest())
        m_viewer->setResponses(HXResponseManager::sharedManager()->responsesForRequestUUID(request->uuid()));
}

void HXDocumentWindow::_updateStatus(HXRequest *request, int status)
{
    m_statusName->setText(request ? request->name() : QString());
    m_progress->setVisible(status == HXRequestHandler::StatusSending || status == HXRequestHandler::StatusReceiving);
    switch (status) {
    case HXRequestHandler::StatusSending:
        m_statusText->setText(tr("Sending…"));
        break;
    case HXRequestHandler::StatusReceiving:
        m_statusText->setText(tr("Receiving…"));
        break;
    case HXRequestHandler::StatusFinished:
        if (std::shared_ptr<HXResponse> response = request ? request->lastResponse() : nullptr)
            m_statusText->setText(
                tr("%1 %2 in %3")
                    .arg(response->statusCode())
                    .arg(response->statusString(),
                         HXResponse::downloadTimeString(response->responseTime() + response->downloadTime())));
        else
            m_statusText->setText(tr("Finished"));
        break;
    case HXRequestHandler::StatusFailed:
        m_statusText->setText(tr("Failed"));
        break;
    default:
        m_statusText->setText(tr("Stopped"));
        break;
    }
    updateCommandStates();
}

void HXDocumentWindow::_updateTitle()
{
    const QString file = m_document->fileName();
    if (file.isEmpty()) {
        setWindowFilePath(QString());
        setWindowTitle(tr("Untitled") + QStringLiteral("[*]"));
    } else {
        setWindowTitle(QString());
        setWindowFilePath(file);
    }
    setWindowModified(m_document->managedObjectContext()->hasChanges());
}

void HXDocumentWindow::_updateEnvironments()
{
    m_updatingEnvironments = true;
    m_environments->clear();
    HXEnvironment *current = m_document->currentEnvironment();
    const QList<HXEnvironment *> environments =
        HXEnvironment::environmentsSortedByName(m_document->managedObjectContext());
    for (HXEnvironment *environment : environments) {
        m_environments->addItem(environment->name(), QVariant::fromValue(static_cast<void *>(environment)));
        if (environment == current)
            m_environments->setCurrentIndex(m_environments->count() - 1);
    }
    m_environments->insertSeparator(m_environments->count());
    m_environments->addItem(tr("Manage Environments…"), manageEnvironmentsTag);
    m_environments->addItem(tr("Add Environment"), addEnvironmentTag);
    m_environments->addItem(tr("Delete Environment"), deleteEnvironmentTag);
    m_updatingEnvironments = false;
    if (m_menu != nullptr)
        m_menu->updateEnvironments(environments, current);
}

void HXDocumentWindow::_environmentChosen(int index)
{
    if (m_updatingEnvironments)
        return;
    const QVariant data = m_environments->itemData(index);
    if (data.typeId() == QMetaType::Int) {
        m_commands->environmentToolbarItemChanged(data.toInt());
        _updateEnvironments();
        return;
    }
    m_commands->environmentToolbarItemChanged(selectEnvironmentTag, static_cast<HXEnvironment *>(data.value<void *>()));
}

void HXDocumentWindow::_updateWarnings()
{
    m_warnings->setRequest(currentRequest(), m_document.get());
    if (m_warningsItem != nullptr)
        m_warningsItem->setVisible(m_warnings->count() > 0);
}

void HXDocumentWindow::showWarnings()
{
    m_warnings->showPopover();
}

void HXDocumentWindow::updateCommandStates()
{
    if (m_opening)
        return;
    HXDocumentCommands::InterfaceState state;
    state.selection = m_list->selectedItems();
    m_stop->setEnabled(m_commands->validateUserInterfaceItem(HXDocumentCommands::Action::StopRequests, state).enabled);
    m_send->setEnabled(m_commands->validateUserInterfaceItem(HXDocumentCommands::Action::SendRequest, state).enabled);
    if (m_menu != nullptr)
        m_menu->updateStates();
}

bool HXDocumentWindow::save()
{
    if (m_document->fileName().isEmpty())
        return saveAs();
    const HXResult<void> saved = m_document->save();
    if (!saved.ok()) {
        HXPresenter::sharedPresenter()->presentError(saved.error());
        return false;
    }
    _updateTitle();
    return true;
}

bool HXDocumentWindow::saveAs()
{
    const QString suggested =
        m_document->fileName().isEmpty() ? tr("Untitled") + QStringLiteral(".kea") : m_document->fileName();
    QString path = QFileDialog::getSaveFileName(this, tr("Save As"), suggested, tr("Kea Documents (*.kea)"));
    if (path.isEmpty())
        return false;
    if (QFileInfo(path).suffix().isEmpty())
        path += QStringLiteral(".kea");
    const HXResult<void> saved = m_document->saveAs(path);
    if (!saved.ok()) {
        HXPresenter::sharedPresenter()->presentError(saved.error());
        return false;
    }
    _updateTitle();
    return true;
}

bool HXDocumentWindow::maybeSave()
{
    if (!m_document->managedObjectContext()->hasChanges())
        return true;
    QMessageBox box(
        QMessageBox::Warning, tr("Save changes?"),
        tr("Do you want to save the changes made to the document “%1”?")
            .arg(m_document->fileName().isEmpty() ? tr("Untitled") : QFileInfo(m_document->fileName()).fileName()),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, this);
    box.setInformativeText(tr("Your changes will be lost if you don't save them."));
    box.setWindowModality(Qt::WindowModal);
    box.setDefaultButton(QMessageBox::Save);
    switch (box.exec()) {
    case QMessageBox::Save:
        return save();
    case QMessageBox::Discard:
        return true;
    default:
        return false;
    }
}

void HXDocumentWindow::closeEvent(QCloseEvent *event)
{
    if (!maybeSave()) {
        event->ignore();
        return;
    }
    HXResponseManager::sharedManager()->saveUpdates();
    _saveInterfaceState();
    event->accept();
}

void HXDocumentWindow::afterFirstPaint(std::function<void()> work)
{
    if (m_painted)
        QTimer::singleShot(0, this, std::move(work));
    else
        m_afterFirstPaint.append(std::move(work));
}

bool HXDocumentWindow::event(QEvent *event)
{
    if (event->type() == QEvent::Paint && !m_painted) {
        m_painted = true;
        for (std::function<void()> &work : m_afterFirstPaint)
            QTimer::singleShot(0, this, std::move(work));
        m_afterFirstPaint.clear();
    }
    return QMainWindow::event(event);
}

void HXDocumentWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange && m_send != nullptr)
        _updateIcons();
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        HXDocumentController::sharedDocumentController()->bringToFront(m_document.get());
    QMainWindow::changeEvent(event);
}
