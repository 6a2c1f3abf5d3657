#include "HXMainMenu.h"

#include "HXCodeInspector.h"
#include "HXDocument.h"
#include "HXDocumentWindow.h"
#include "HXEnvironment.h"
#include "HXPreferencesWindow.h"
#include "HXRequest.h"
#include "HXRequestEditor.h"
#include "HXRequestListView.h"
#include "HXResponseViewer.h"
#include "HXWindowManager.h"

#include <QActionGroup>
#include <QApplication>
#include <QMenuBar>
#include <QMessageBox>
#include <QTreeView>

namespace {
// Tags the core knows items by.
constexpr int newerResponseTag = 31;
constexpr int olderResponseTag = 32;
constexpr int exportHeadersTag = 20;
constexpr int exportBodyTag = 21;
constexpr int exportFullTag = 22;
constexpr int manageEnvironmentsTag = 33;
constexpr int addEnvironmentTag = 32;
constexpr int deleteEnvironmentTag = 34;
constexpr int selectEnvironmentTag = 35;
} // namespace

HXMainMenu::HXMainMenu(HXDocumentWindow *window) : QObject(window), m_window(window)
{
    _buildFile();
    _buildEdit();
    _buildRequest();
    m_environmentMenu = window->menuBar()->addMenu(tr("&Environment"));
    m_environmentGroup = new QActionGroup(this);
    _buildResponse();
    _buildView();
    QMenu *help = window->menuBar()->addMenu(tr("&Help"));
    help->addAction(tr("About Kea"), window, [window] {
        QMessageBox::about(window, tr("About Kea"),
                           tr("<b>Kea %1</b><p>A desktop HTTP client.</p>").arg(QApplication::applicationVersion()));
    });
    // The window sets the items' states once it is built.
}

HXDocumentCommands *HXMainMenu::_commands() const
{
    return HXDocumentCommands::commandsForDocument(m_window->document());
}

HXMainMenu::Selection HXMainMenu::_selection() const
{
    return m_window->requestList()->selectedItems();
}

QAction *HXMainMenu::_add(QMenu *menu, const QString &title, Action action, const std::function<void()> &trigger,
                          const QKeySequence &shortcut, int tag)
{
    QAction *item = menu->addAction(title, m_window, trigger);
    if (!shortcut.isEmpty())
        item->setShortcut(shortcut);
    m_items.append({item, action, tag});
    return item;
}

QAction *HXMainMenu::_addForSelection(QMenu *menu, const QString &title, Action action,
                                      void (HXDocumentCommands::*command)(const Selection &),
                                      const QKeySequence &shortcut)
{
    return _add(
        menu, title, action, [this, command] { (_commands()->*command)(_selection()); }, shortcut);
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
    file->addAction(tr("&Import…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_I), m_window,
                    [this] { m_window->importFile(); });
    file->addAction(tr("&Export…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E), m_window,
                    [this] { m_window->exportFile(); });
    file->addSeparator();
    file->addAction(tr("&Close"), QKeySequence::Close, m_window, &QWidget::close);
    QAction *quit = file->addAction(tr("&Quit"), QKeySequence::Quit, [] { HXWindowManager::closeAll(); });
    quit->setMenuRole(QAction::QuitRole);
}

void HXMainMenu::_buildEdit()
{
    QMenu *edit = m_window->menuBar()->addMenu(tr("&Edit"));
    m_undo = _add(
        edit, tr("Undo"), Action::Undo, [this] { _commands()->undo(); }, QKeySequence::Undo);
    m_redo = _add(
        edit, tr("Redo"), Action::Redo, [this] { _commands()->redo(); }, QKeySequence::Redo);
    edit->addSeparator();
    // The tree commands take the standard keys only while the request list
    // has the focus, so text fields keep Cut, Copy, Paste, Delete and F2.
    QTreeView *tree = m_window->requestList()->treeView();
    auto listOnly = [tree](QAction *action) {
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        tree->addAction(action);
        return action;
    };
    listOnly(_addForSelection(edit, tr("Cu&t"), Action::Cut, &HXDocumentCommands::cut, QKeySequence::Cut));
    m_copy = listOnly(_addForSelection(edit, tr("&Copy"), Action::Copy, &HXDocumentCommands::copy, QKeySequence::Copy));
    m_paste = listOnly(_add(
        edit, tr("&Paste"), Action::Paste, [this] { _commands()->paste(_selection()); }, QKeySequence::Paste));
    _add(
        edit, tr("D&uplicate"), Action::Duplicate, [this] { _commands()->duplicate(_selection()); },
        QKeySequence(Qt::CTRL | Qt::Key_D));
    m_delete = listOnly(_addForSelection(edit, tr("&Delete"), Action::DeleteRequest, &HXDocumentCommands::deleteRequest,
                                         QKeySequence::Delete));
    m_rename = listOnly(edit->addAction(tr("Re&name"), m_window, [this] { m_window->requestList()->renameCurrent(); }));
    m_rename->setShortcut(Qt::Key_F2);
    m_copyAsCode = _add(
        edit, tr("Copy as cURL"), Action::Copy, [this] { m_window->copyAsCode(); },
        QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C));
    edit->addSeparator();
    edit->addAction(tr("Select &All"), QKeySequence::SelectAll, m_window, [this] {
        if (QWidget *focus = QApplication::focusWidget();
            focus != nullptr && focus != m_window->requestList()->treeView())
            QMetaObject::invokeMethod(focus, "selectAll");
        else
            m_window->requestList()->treeView()->selectAll();
    });
    edit->addSeparator();
    QAction *preferences = edit->addAction(tr("Pre&ferences…"), QKeySequence(tr("Ctrl+,")), m_window,
                                           [] { HXPreferencesWindow::showPreferences(); });
    preferences->setMenuRole(QAction::PreferencesRole);
}

void HXMainMenu::_buildRequest()
{
    QMenu *request = m_window->menuBar()->addMenu(tr("&Request"));
    QAction *newRequest = _add(
        request, tr("New &Request"), Action::AddRequest, [this] { _commands()->addRequest(_selection()); },
        QKeySequence(tr("Ctrl+Shift+N")));
    QAction *newFolder = _add(request, tr("New &Folder"), Action::AddRequestFolder,
                              [this] { _commands()->addRequestFolder(_selection()); });
    _add(
        request, tr("&Group"), Action::GroupRequestTreeItems,
        [this] { _commands()->groupRequestTreeItems(_selection()); }, QKeySequence(tr("Ctrl+Shift+G")));
    request->addSeparator();
    m_send = _add(
        request, tr("&Send"), Action::SendRequest, [this] { m_window->sendSelected(); },
        QKeySequence(Qt::CTRL | Qt::Key_Return));
    m_sendAll = _add(
        request, tr("Send &All"), Action::SendAllRequests, [this] { _commands()->sendAllRequests(); },
        QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Return));
    _add(
        request, tr("S&top"), Action::StopRequests, [this] { _commands()->stopRequests(); },
        QKeySequence(Qt::CTRL | Qt::Key_Period));
    request->addSeparator();
    const QList<std::tuple<QString, Action, void (HXDocumentCommands::*)(const Selection &)>> toggles = {
        {tr("Follow Redirects"), Action::ToogleFollowRedirects, &HXDocumentCommands::toogleFollowRedirects},
        {tr("Keep Method"), Action::ToogleRedirectMethod, &HXDocumentCommands::toogleRedirectMethod},
        {tr("Keep Authorization"), Action::ToogleRedirectAuthorization,
         &HXDocumentCommands::toogleRedirectAuthorization}};
    for (const auto &[title, action, command] : toggles)
        _addForSelection(request, title, action, command)->setCheckable(true);
    request->addSeparator();
    _add(request, tr("Custom &Method…"), Action::SetCustomRequestMethod, [this] { m_window->askCustomMethod(); });
    QMenu *authorization = request->addMenu(tr("Authorization"));
    using Insert = HXDynamicValuePtr (HXDocumentCommands::*)(const Selection &);
    const QList<std::tuple<QString, Action, Insert>> kinds = {
        {tr("HTTP Basic Auth"), Action::AddHTTPBasicAuthorization, &HXDocumentCommands::addHTTPBasicAuthorization},
        {tr("OAuth 1.0"), Action::AddOAuthAuthorization, &HXDocumentCommands::addOAuthAuthorization},
        {tr("Amazon S3"), Action::AddAmazonS3Authorization, &HXDocumentCommands::addAmazonS3Authorization}};
    for (const auto &[title, action, insert] : kinds)
        _add(authorization, title, action, [this, insert = insert] { (_commands()->*insert)(_selection()); });

    auto *context = new QMenu(m_window);
    for (QAction *action : {newRequest, newFolder, static_cast<QAction *>(nullptr), m_send,
                            static_cast<QAction *>(nullptr), m_copy, m_paste, m_rename, m_delete}) {
        if (action == nullptr)
            context->addSeparator();
        else
            context->addAction(action);
    }
    m_window->requestList()->setContextMenu(context);
}

void HXMainMenu::_buildResponse()
{
    QMenu *response = m_window->menuBar()->addMenu(tr("Re&sponse"));
    auto inOrder = [this](int tag) {
        HXRequest *request = m_window->currentRequest();
        if (auto shown = HXDocumentCommands::responseInOrder(tag, request, m_window->responseViewer()->response()))
            m_window->responseViewer()->showResponse(shown);
    };
    _add(
        response, tr("&Newer Response"), Action::SelectResponseInOrder, [inOrder] { inOrder(newerResponseTag); },
        QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Right), newerResponseTag);
    _add(
        response, tr("&Older Response"), Action::SelectResponseInOrder, [inOrder] { inOrder(olderResponseTag); },
        QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Left), olderResponseTag);
    response->addSeparator();
    _add(response, tr("&Delete Response"), Action::DeleteResponse,
         [this] { _commands()->deleteResponse(m_window->currentRequest(), m_window->responseViewer()->response()); });
    _addForSelection(response, tr("Delete All Responses of Request"), Action::DeleteAllResponsesOfCurrentRequest,
                     &HXDocumentCommands::deleteAllResponsesOfCurrentRequest);
    _add(response, tr("Delete All Responses…"), Action::DeleteAllResponses,
         [this] { _commands()->deleteAllResponses(); });
    response->addSeparator();
    const QList<std::pair<QString, int>> exports = {{tr("Export Headers…"), exportHeadersTag},
                                                    {tr("Export Body…"), exportBodyTag},
                                                    {tr("Export Full…"), exportFullTag}};
    for (const auto &[title, tag] : exports)
        _add(
            response, title, Action::ExportResponse,
            [this, tag = tag] { _commands()->exportResponse(tag, _selection()); }, {}, tag);
}

void HXMainMenu::_buildView()
{
    QMenu *view = m_window->menuBar()->addMenu(tr("&View"));
    const QList<std::pair<QString, Action>> views = {{tr("&Request"), Action::ShowRequestView},
                                                     {tr("&Split"), Action::ShowSplitView},
                                                     {tr("Res&ponse"), Action::ShowResponseView}};
    for (int i = 0; i < views.size(); ++i)
        _add(
            view, views.at(i).first, views.at(i).second, [this, i] { m_window->setViewType(i); },
            QKeySequence(Qt::CTRL | (Qt::Key_1 + i)))
            ->setCheckable(true);
    view->addSeparator();
    QMenu *arrange = view->addMenu(tr("&Arrange By"));
    const QList<std::pair<QString, Action>> arrangements = {
        {tr("None"), Action::ArrangeRequestsByNone},
        {tr("Method"), Action::ArrangeRequestsByHTTPMethod},
        {tr("Host"), Action::ArrangeRequestsByHost},
        {tr("Last Status"), Action::ArrangeRequestsByLastResponseStatusCode}};
    for (int i = 0; i < arrangements.size(); ++i)
        _add(arrange, arrangements.at(i).first, arrangements.at(i).second, [this, i] {
            m_window->setArrangeBy(i);
        })->setCheckable(true);
    QMenu *order = view->addMenu(tr("&Order By"));
    const QList<std::pair<QString, Action>> orders = {{tr("Custom"), Action::OrderRequestsByCustomOrder},
                                                      {tr("Name"), Action::OrderRequestsByName},
                                                      {tr("URL"), Action::OrderRequestsByURL}};
    for (int i = 0; i < orders.size(); ++i)
        _add(order, orders.at(i).first, orders.at(i).second, [this, i] {
            m_window->setOrderBy(i);
        })->setCheckable(true);
    view->addSeparator();
    _add(view, tr("Show &Warnings"), Action::ShowWarningsPopover, [this] { m_window->showWarnings(); });
    _add(
        view, tr("Show &Code Inspector"), Action::ShowRequestCode,
        [this] { m_window->setCodeInspectorShown(!m_window->isCodeInspectorShown()); },
        QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_C));
    view->addAction(tr("Focus &URL"), QKeySequence(Qt::CTRL | Qt::Key_L), m_window,
                    [this] { m_window->requestEditor()->focusURL(); });
    view->addAction(tr("&Find in Body"), QKeySequence::Find, m_window, [this] {
        if (m_window->viewType() == HXDocumentWindow::RequestView)
            m_window->setViewType(HXDocumentWindow::SplitView);
        m_window->responseViewer()->focusFind();
    });
}

void HXMainMenu::updateStates()
{
    HXDocumentCommands::InterfaceState state;
    state.selection = _selection();
    state.mainViewType = m_window->viewType();
    state.orderBy = m_window->orderBy();
    state.arrangeBy = m_window->arrangeBy();
    state.codeInspectorShown = m_window->isCodeInspectorShown();
    state.shownResponse = m_window->responseViewer()->response();
    HXDocumentCommands *commands = _commands();
    for (const Item &item : std::as_const(m_items)) {
        state.tag = item.tag;
        const HXDocumentCommands::Validation validation = commands->validateUserInterfaceItem(item.validation, state);
        item.action->setEnabled(validation.enabled);
        if (!validation.title.isEmpty())
            item.action->setText(validation.title);
        if (validation.state)
            item.action->setChecked(*validation.state == HXDocumentCommands::State::On);
    }
    m_rename->setEnabled(state.selection.size() == 1);
    m_copyAsCode->setText(tr("Copy as %1")
                              .arg(HXCodeInspector::titleForLanguage(
                                  HXCodeInspector::languageForSetting(QStringLiteral("HXUserDefaultCopyRequestsAs")))));
}

void HXMainMenu::updateEnvironments(const QList<HXEnvironment *> &environments, HXEnvironment *current)
{
    const QList<QAction *> old = m_environmentMenu->actions();
    m_items.removeIf([&old](const Item &item) { return old.contains(item.action); });
    for (QAction *action : m_environmentGroup->actions())
        m_environmentGroup->removeAction(action);
    m_environmentMenu->clear();
    HXDocumentCommands *commands = _commands();
    for (HXEnvironment *environment : environments) {
        QAction *action = m_environmentMenu->addAction(environment->name(), m_environmentMenu, [commands, environment] {
            commands->environmentToolbarItemChanged(selectEnvironmentTag, environment);
        });
        action->setCheckable(true);
        action->setChecked(environment == current);
        m_environmentGroup->addAction(action);
    }
    m_environmentMenu->addSeparator();
    auto add = [this, commands](const QString &title, Action action, std::function<void()> trigger,
                                const QKeySequence &shortcut = {}) {
        QAction *item = m_environmentMenu->addAction(title, m_environmentMenu, std::move(trigger));
        item->setShortcut(shortcut);
        m_items.append({item, action, 0});
        item->setEnabled(commands->validateUserInterfaceItem(action, {}).enabled);
    };
    add(
        tr("&Next Environment"), Action::SelectNextEnvironment, [commands] { commands->selectNextEnvironment(); },
        QKeySequence(Qt::CTRL | Qt::Key_BracketRight));
    add(
        tr("&Previous Environment"), Action::SelectPreviousEnvironment,
        [commands] { commands->selectPreviousEnvironment(); }, QKeySequence(Qt::CTRL | Qt::Key_BracketLeft));
    m_environmentMenu->addSeparator();
    add(tr("&Manage Environments…"), Action::ShowEnvironmentsSheet,
        [commands] { commands->environmentToolbarItemChanged(manageEnvironmentsTag); });
    add(tr("&Add Environment"), Action::AddEnvironment,
        [commands] { commands->environmentToolbarItemChanged(addEnvironmentTag); });
    add(tr("&Delete Environment"), Action::DeleteEnvironment,
        [commands] { commands->environmentToolbarItemChanged(deleteEnvironmentTag); });
}
