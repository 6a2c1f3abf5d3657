#include "HXMainMenu.h"

#include "HXDocument.h"
#include "HXDocumentActions.h"
#include "HXDocumentWindow.h"
#include "HXEnvironment.h"
#include "HXRequest.h"
#include "HXRequestEditor.h"
#include "HXRequestListView.h"
#include "HXResponseViewer.h"
#include "HXUndoManager.h"
#include "HXWindowManager.h"

#include <QActionGroup>
#include <QApplication>
#include <QMenuBar>
#include <QMessageBox>
#include <QTreeView>

HXMainMenu::HXMainMenu(HXDocumentWindow *window) : QObject(window), m_window(window)
{
    _buildFile();
    _buildEdit();
    _buildRequest();
    m_environmentMenu = window->menuBar()->addMenu(tr("&Environment"));
    m_environmentGroup = new QActionGroup(this);
    _buildView();
    QMenu *help = window->menuBar()->addMenu(tr("&Help"));
    help->addAction(tr("About Kea"), window, [window] {
        QMessageBox::about(window, tr("About Kea"),
                           tr("<b>Kea %1</b><p>A desktop HTTP client.</p>").arg(QApplication::applicationVersion()));
    });
    updateStates();
}

void HXMainMenu::_buildFile()
{
    QMenu *file = m_window->menuBar()->addMenu(tr("&File"));
    file->addAction(tr("&New"), QKeySequence::New, [] { HXWindowManager::newDocument(); });
    file->addAction(tr("&Open…"), QKeySequence::Open, m_window, [this] { HXWindowManager::openDialog(m_window); });
    QMenu *recent = file->addMenu(tr("Open &Recent"));
    connect(recent, &QMenu::aboutToShow, recent, [recent] {
        recent->clear();
        for (const QString &path : HXWindowManager::recentFiles())
            recent->addAction(path, [path] { HXWindowManager::openFile(path); });
        if (recent->isEmpty())
            recent->addAction(tr("No Recent Documents"))->setEnabled(false);
    });
    file->addSeparator();
    file->addAction(tr("&Save"), QKeySequence::Save, m_window, [this] { m_window->save(); });
    file->addAction(tr("Save &As…"), QKeySequence::SaveAs, m_window, [this] { m_window->saveAs(); });
    file->addSeparator();
    file->addAction(tr("&Close"), QKeySequence::Close, m_window, &QWidget::close);
    QAction *quit = file->addAction(tr("&Quit"), QKeySequence::Quit, [] { HXWindowManager::closeAll(); });
    quit->setMenuRole(QAction::QuitRole);
}

void HXMainMenu::_buildEdit()
{
    QMenu *edit = m_window->menuBar()->addMenu(tr("&Edit"));
    HXDocumentActions *actions = m_window->actions();
    m_undo = edit->addAction(tr("&Undo"), QKeySequence::Undo, actions, &HXDocumentActions::undo);
    m_redo = edit->addAction(tr("&Redo"), QKeySequence::Redo, actions, &HXDocumentActions::redo);
    edit->addSeparator();
    // The request list takes Delete and F2 only while it has the focus, so
    // text fields keep those keys.
    QTreeView *tree = m_window->requestList()->treeView();
    m_delete = new QAction(tr("&Delete"), this);
    m_delete->setShortcut(QKeySequence::Delete);
    m_delete->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    connect(m_delete, &QAction::triggered, this,
            [this] { m_window->actions()->deleteItems(m_window->requestList()->selectedItems()); });
    tree->addAction(m_delete);
    edit->addAction(m_delete);
    m_rename = new QAction(tr("Re&name"), this);
    m_rename->setShortcut(Qt::Key_F2);
    m_rename->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    connect(m_rename, &QAction::triggered, this, [this] { m_window->requestList()->renameCurrent(); });
    tree->addAction(m_rename);
    edit->addAction(m_rename);
}

void HXMainMenu::_buildRequest()
{
    QMenu *request = m_window->menuBar()->addMenu(tr("&Request"));
    HXDocumentActions *actions = m_window->actions();
    QAction *newRequest = request->addAction(tr("New &Request"), QKeySequence(tr("Ctrl+Shift+N")), actions, [this] {
        m_window->actions()->addRequest(m_window->requestList()->currentItem());
    });
    m_newFolder = request->addAction(tr("New &Folder"), actions, [this] {
        m_window->actions()->addRequestFolder(m_window->requestList()->currentItem());
    });
    request->addSeparator();
    m_send = request->addAction(tr("&Send"), QKeySequence(Qt::CTRL | Qt::Key_Return), m_window,
                                &HXDocumentWindow::sendSelected);
    m_sendAll = request->addAction(tr("Send &All"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Return), actions,
                                   &HXDocumentActions::sendAllRequests);
    m_stop = request->addAction(tr("S&top"), QKeySequence(Qt::CTRL | Qt::Key_Period), actions,
                                &HXDocumentActions::stopRequests);
    request->addSeparator();
    m_followRedirects = request->addAction(
        tr("Follow Redirects"), this, [this] { _toggle(QStringLiteral("followRedirects"), tr("Follow Redirects")); });
    m_redirectMethod = request->addAction(tr("Keep Method"), this,
                                          [this] { _toggle(QStringLiteral("redirectMethod"), tr("Keep Method")); });
    m_redirectAuthorization = request->addAction(tr("Keep Authorization"), this, [this] {
        _toggle(QStringLiteral("redirectAuthorization"), tr("Keep Authorization"));
    });
    for (QAction *toggle : {m_followRedirects, m_redirectMethod, m_redirectAuthorization})
        toggle->setCheckable(true);
    request->addSeparator();
    QMenu *authorization = request->addMenu(tr("Authorization"));
    const QList<std::tuple<QString, QString, QString>> kinds = {
        {tr("HTTP Basic Auth"), QStringLiteral("HXBasicAuthDynamicValue"), tr("Set HTTP Basic Auth")},
        {tr("OAuth 1.0"), QStringLiteral("HXOAuth1HeaderDynamicValue"), tr("Set OAuth 1 Authorization")},
        {tr("Amazon S3"), QStringLiteral("HXAmazonS3HeaderDynamicValue"), tr("Set Amazon S3 Authorization")}};
    for (const auto &[title, className, undoName] : kinds) {
        m_requestOnly.append(authorization->addAction(title, this, [this, className = className, undoName = undoName] {
            m_window->actions()->setAuthorization(m_window->currentRequest(), className, undoName);
        }));
    }
    m_requestOnly += {m_send, m_followRedirects, m_redirectMethod, m_redirectAuthorization};

    auto *context = new QMenu(m_window);
    context->addAction(newRequest);
    context->addAction(m_newFolder);
    context->addSeparator();
    context->addAction(m_send);
    context->addSeparator();
    context->addAction(m_rename);
    context->addAction(m_delete);
    m_window->requestList()->setContextMenu(context);
}

void HXMainMenu::_buildView()
{
    QMenu *view = m_window->menuBar()->addMenu(tr("&View"));
    auto *group = new QActionGroup(this);
    const QStringList names = {tr("&Request"), tr("&Split"), tr("Res&ponse")};
    for (int i = 0; i < names.size(); ++i) {
        QAction *action = view->addAction(names.at(i), QKeySequence(Qt::CTRL | (Qt::Key_1 + i)), m_window,
                                          [this, i] { m_window->setViewType(i); });
        action->setCheckable(true);
        group->addAction(action);
        m_views.append(action);
    }
    view->addSeparator();
    view->addAction(tr("Show &Warnings"), m_window, &HXDocumentWindow::showWarnings);
    view->addAction(tr("Focus &URL"), QKeySequence(Qt::CTRL | Qt::Key_L), m_window,
                    [this] { m_window->requestEditor()->focusURL(); });
    view->addAction(tr("&Find in Body"), QKeySequence::Find, m_window, [this] {
        if (m_window->viewType() == HXDocumentWindow::RequestView)
            m_window->setViewType(HXDocumentWindow::SplitView);
        m_window->responseViewer()->focusFind();
    });
    view->addAction(tr("&Older Response"), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Left), m_window,
                    [this] { m_window->responseViewer()->showOlder(); });
    view->addAction(tr("&Newer Response"), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Right), m_window,
                    [this] { m_window->responseViewer()->showNewer(); });
}

void HXMainMenu::_toggle(const QString &key, const QString &undoName)
{
    const QList<HXRequest *> requests = m_window->selectedRequests();
    const bool allOn = !requests.isEmpty() && std::all_of(requests.begin(), requests.end(), [&key](HXRequest *request) {
        return request->boolForKey(key);
    });
    HXUndoManager *undo = m_window->actions()->undoManager();
    undo->beginUndoGrouping();
    for (HXRequest *request : requests)
        m_window->actions()->setValue(request, key, !allOn, undoName);
    undo->setActionName(undoName);
    undo->endUndoGrouping();
}

void HXMainMenu::updateStates()
{
    HXUndoManager *undo = m_window->actions()->undoManager();
    m_undo->setEnabled(undo != nullptr && undo->canUndo());
    m_redo->setEnabled(undo != nullptr && undo->canRedo());
    m_undo->setText(undo && !undo->undoActionName().isEmpty() ? tr("&Undo %1").arg(undo->undoActionName())
                                                              : tr("&Undo"));
    m_redo->setText(undo && !undo->redoActionName().isEmpty() ? tr("&Redo %1").arg(undo->redoActionName())
                                                              : tr("&Redo"));
    const QList<HXRequest *> requests = m_window->selectedRequests();
    for (QAction *action : std::as_const(m_requestOnly))
        action->setEnabled(!requests.isEmpty());
    m_stop->setEnabled(m_window->actions()->isBusy());
    const QList<HXRequestTreeItem *> items = m_window->requestList()->selectedItems();
    m_delete->setEnabled(!items.isEmpty());
    m_delete->setText(items.size() != 1                                     ? tr("&Delete")
                      : dynamic_cast<HXRequest *>(items.first()) != nullptr ? tr("&Delete Request")
                                                                            : tr("&Delete Folder"));
    m_rename->setEnabled(items.size() == 1);
    const QList<std::pair<QAction *, QString>> toggles = {
        {m_followRedirects, QStringLiteral("followRedirects")},
        {m_redirectMethod, QStringLiteral("redirectMethod")},
        {m_redirectAuthorization, QStringLiteral("redirectAuthorization")}};
    for (const auto &[action, key] : toggles) {
        const bool on = !requests.isEmpty() && std::all_of(requests.begin(), requests.end(),
                                                           [key = key](HXRequest *r) { return r->boolForKey(key); });
        action->setChecked(on);
    }
    for (int i = 0; i < m_views.size(); ++i)
        m_views.at(i)->setChecked(i == m_window->viewType());
}

void HXMainMenu::updateEnvironments(const QList<HXEnvironment *> &environments, HXEnvironment *current)
{
    m_environmentMenu->clear();
    for (QAction *action : m_environmentGroup->actions())
        m_environmentGroup->removeAction(action);
    HXDocument *document = m_window->document();
    for (HXEnvironment *environment : environments) {
        QAction *action = m_environmentMenu->addAction(
            environment->name(), m_window, [document, environment] { document->selectEnvironment(environment); });
        action->setCheckable(true);
        action->setChecked(environment == current);
        m_environmentGroup->addAction(action);
    }
    m_environmentMenu->addSeparator();
    m_environmentMenu->addAction(tr("&Next Environment"), QKeySequence(Qt::CTRL | Qt::Key_BracketRight), m_window,
                                 [document] { document->selectNextEnvironment(); });
    m_environmentMenu->addAction(tr("&Previous Environment"), QKeySequence(Qt::CTRL | Qt::Key_BracketLeft), m_window,
                                 [document] { document->selectPreviousEnvironment(); });
    m_environmentMenu->addSeparator();
    m_environmentMenu->addAction(tr("&Add Environment"), m_window->actions(), &HXDocumentActions::addEnvironment);
    m_environmentMenu->addAction(tr("&Delete Environment"), m_window, [document] { document->deleteEnvironment(); });
}
