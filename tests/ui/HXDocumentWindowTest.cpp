#include "HXDocumentWindow.h"
#include "HXCodeInspector.h"
#include "HXCustomMethodDialog.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDynamicStringEdit.h"
#include "HXEchoService.h"
#include "HXEnvironmentTableModel.h"
#include "HXEnvironmentsWindow.h"
#include "HXKeyValueTableView.h"
#include "HXLargeTextView.h"
#include "HXMainMenu.h"
#include "HXManagedObjectContext.h"
#include "HXPresenter.h"
#include "HXRequest.h"
#include "HXRequestEditor.h"
#include "HXRequestGroup.h"
#include "HXRequestHandler.h"
#include "HXRequestListView.h"
#include "HXRequestTreeModel.h"
#include "HXResponseManager.h"
#include "HXResponseViewer.h"
#include "HXTestSupport.h"
#include "HXUIPreferencesManager.h"
#include "HXUndoManager.h"
#include "HXWarningsButton.h"
#include "HXWindowManager.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QFont>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTreeView>
#include <QWidgetAction>

#include <gtest/gtest.h>

namespace {

// Answers every alert with a chosen button and remembers what was asked.
class ScriptedPresenter : public HXPresenter
{
public:
    void presentAlert(const Alert &alert, const std::function<void(int)> &completion) override
    {
        alerts.append(alert);
        completion(answer);
    }
    void presentError(const HXError &error) override { errors.append(error.description); }

    int answer = 0;
    QList<Alert> alerts;
    QStringList errors;
};

class DocumentWindowTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HXPresenter::setSharedPresenter(&presenter);
        HXResponseManager::sharedManager();
        ASSERT_TRUE(echo.listen(QHostAddress::LocalHost, 0).ok());
        window = HXWindowManager::newDocument();
        ASSERT_NE(window, nullptr);
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    }

    void TearDown() override
    {
        if (window != nullptr) {
            window->document()->managedObjectContext()->markSaved();
            window->close();
        }
        HXPresenter::setSharedPresenter(nullptr);
    }

    void typeURL(const QString &url)
    {
        HXDynamicStringEdit *field = window->requestEditor()->urlField();
        field->setFocus();
        field->selectAll();
        QTest::keyClicks(field, url);
    }

    ScriptedPresenter presenter;
    HXEchoService echo;
    HXDocumentWindow *window = nullptr;
};

TEST_F(DocumentWindowTest, SendsWithCtrlReturnAndShowsThePrettyBody)
{
    typeURL(echo.baseURL() + QStringLiteral("/anything?kea=1"));
    QTest::keyClick(window->requestEditor()->urlField(), Qt::Key_Return, Qt::ControlModifier);

    ASSERT_TRUE(HXTest::waitUntil([&] { return window->statusLabel()->text().startsWith(u"200"); }))
        << window->statusLabel()->text().toStdString();
    HXRequest *request = window->currentRequest();
    EXPECT_EQ(request->url(), echo.baseURL() + QStringLiteral("/anything?kea=1")) << "the typed URL was kept";
    EXPECT_EQ(window->document()->managedObjectContext()->undoManager()->undoActionName(),
              QStringLiteral("Change URL"));

    HXLargeTextView *body = window->responseViewer()->bodyView();
    ASSERT_TRUE(HXTest::waitUntil([&] { return !body->text().isEmpty(); }));
    EXPECT_TRUE(body->text().contains(QStringLiteral("\n  \"method\": \"GET\""))) << body->text().toStdString();
    EXPECT_GT(body->lineCount(), 5) << "pretty-printed over several lines";
    EXPECT_TRUE(body->find(QStringLiteral("\"kea\"")));

    // The Request tab is filled when it is opened.
    window->responseViewer()->tabs()->setCurrentIndex(HXResponseViewer::RequestTab);
    EXPECT_TRUE(
        window->responseViewer()->requestView()->text().startsWith(QStringLiteral("GET /anything?kea=1 HTTP/1.1\n")))
        << window->responseViewer()->requestView()->text().toStdString();

    // The list shows the status, the parameters tab the URL's query.
    const QModelIndex row = window->requestList()->model()->indexForItem(request);
    EXPECT_EQ(row.data(HXRequestTreeModel::StatusCodeRole).toInt(), 200);
}

TEST_F(DocumentWindowTest, SendAllAsksWithTheCount)
{
    HXDocumentCommands *commands = window->commands();
    commands->addRequest({});
    commands->addRequest({});
    presenter.answer = 1; // Cancel
    window->mainMenu()->sendAllAction()->trigger();
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_EQ(presenter.alerts.first().message, QStringLiteral("Send all?"));
    EXPECT_EQ(presenter.alerts.first().informativeText, QStringLiteral("Send 3 request(s)?"));
    EXPECT_EQ(presenter.alerts.first().buttons, (QStringList{QStringLiteral("Send all"), QStringLiteral("Cancel")}));
    EXPECT_FALSE(window->document()->requestHandler()->isBusy());
}

TEST_F(DocumentWindowTest, DragIntoAFolderThenUndoWithTheMenu)
{
    HXRequestTreeItem *request = window->currentRequest();
    HXRequestGroup *folder = window->commands()->addRequestFolder({request});
    HXRequestTreeModel *model = window->requestList()->model();
    std::unique_ptr<QMimeData> drag(model->mimeData({model->indexForItem(request)}));
    model->dropMimeData(drag.get(), Qt::MoveAction, -1, 0, model->indexForItem(folder));
    EXPECT_EQ(request->parent(), folder);
    EXPECT_EQ(window->mainMenu()->undoAction()->text(), QStringLiteral("Undo Move"));

    window->mainMenu()->undoAction()->trigger();
    EXPECT_EQ(request->parent(), nullptr);
    EXPECT_EQ(window->mainMenu()->redoAction()->text(), QStringLiteral("Redo Move"));
}

TEST_F(DocumentWindowTest, ViewSwitcherAndEmptyStates)
{
    window->setViewType(HXDocumentWindow::ResponseView);
    EXPECT_FALSE(window->requestEditor()->isVisible());
    EXPECT_TRUE(window->responseViewer()->isVisible());
    window->requestList()->selectItems({});
    EXPECT_EQ(window->requestEditor()->request(), nullptr);
    window->setViewType(HXDocumentWindow::SplitView);
    EXPECT_TRUE(window->requestEditor()->isVisible());
}

} // namespace

namespace {

TEST_F(DocumentWindowTest, ParametersFollowTheURLBothWays)
{
    HXRequestEditor *editor = window->requestEditor();
    HXRequest *request = window->currentRequest();
    window->commands()->setValueForKey(request, QStringLiteral("url"),
                                       QStringLiteral("http://h/p?a=1&b=two%20words#top"),
                                       QStringLiteral("Change URL"));
    QAbstractItemModel *parameters = editor->parametersView()->model();
    ASSERT_EQ(parameters->rowCount(), 3) << "two parameters and the blank row";
    EXPECT_EQ(parameters->index(1, 2).data().toString(), QStringLiteral("two words"));

    parameters->setData(parameters->index(1, 2), QStringLiteral("x&y"));
    EXPECT_EQ(request->url(), QStringLiteral("http://h/p?a=1&b=x%26y#top"));
    parameters->setData(parameters->index(2, 1), QStringLiteral("new"));
    EXPECT_EQ(request->url(), QStringLiteral("http://h/p?a=1&b=x%26y&new#top"));
    window->commands()->undo();
    EXPECT_EQ(request->url(), QStringLiteral("http://h/p?a=1&b=x%26y#top"));
}

} // namespace

namespace {

TEST_F(DocumentWindowTest, PastesARequestIntoAnotherWindow)
{
    HXRequest *original = window->currentRequest();
    window->commands()->renameRequestTreeItem(original, QStringLiteral("Users"));
    window->commands()->setValueForKey(original, QStringLiteral("url"), QStringLiteral("http://h/users"),
                                       QStringLiteral("Change URL"));
    window->mainMenu()->copyAction()->trigger();

    HXDocumentWindow *other = HXWindowManager::newDocument();
    ASSERT_NE(other, nullptr);
    other->mainMenu()->updateStates();
    ASSERT_TRUE(other->mainMenu()->pasteAction()->isEnabled());
    other->mainMenu()->pasteAction()->trigger();

    HXRequest *pasted = other->currentRequest();
    ASSERT_NE(pasted, nullptr) << "the pasted request is selected";
    EXPECT_EQ(pasted->name(), QStringLiteral("Users"));
    EXPECT_EQ(pasted->url(), QStringLiteral("http://h/users"));
    EXPECT_NE(pasted->uuid(), original->uuid());
    EXPECT_EQ(other->document()->topLevelItems().size(), 2);
    EXPECT_EQ(window->document()->topLevelItems().size(), 1) << "the source is untouched";
    EXPECT_EQ(other->mainMenu()->undoAction()->text(), QStringLiteral("Undo Paste"));

    other->document()->managedObjectContext()->markSaved();
    other->close();
}

TEST_F(DocumentWindowTest, UndoesAWarningRepairFromThePopover)
{
    HXRequest *request = window->currentRequest();
    const QString broken = QStringLiteral("http://exa mple.com");
    window->commands()->setValueForKey(request, QStringLiteral("url"), broken, QStringLiteral("Change URL"));
    ASSERT_GT(window->warningsButton()->count(), 0);

    window->showWarnings();
    auto *popover = window->findChild<QMenu *>(QStringLiteral("warningsPopover"));
    ASSERT_NE(popover, nullptr);
    QAction *repair = nullptr;
    for (QAction *action : popover->actions()) {
        if (repair == nullptr && !action->isSeparator() && qobject_cast<QWidgetAction *>(action) == nullptr)
            repair = action;
    }
    ASSERT_NE(repair, nullptr) << "a warning with a repair button";
    const QString repairName = repair->text();
    repair->trigger();
    popover->close();
    ASSERT_NE(request->url(), broken);
    QAction *undo = window->mainMenu()->undoAction();
    EXPECT_TRUE(undo->text().startsWith(QStringLiteral("Undo "))) << undo->text().toStdString();
    EXPECT_NE(undo->text(), QStringLiteral("Undo Change URL")) << "the repair is its own step";

    undo->trigger();
    EXPECT_EQ(request->url(), broken);
    EXPECT_EQ(window->mainMenu()->undoAction()->text(), QStringLiteral("Undo Change URL"));
    EXPECT_GT(window->warningsButton()->count(), 0) << "the warning is back";
}

} // namespace

namespace {

TEST_F(DocumentWindowTest, OrdersTheListByNameOrURLAndBack)
{
    HXDocumentCommands *commands = window->commands();
    HXRequest *first = window->currentRequest();
    HXRequest *second = commands->addRequest({first});
    HXRequest *third = commands->addRequest({second});
    const QList<std::tuple<HXRequest *, const char *, const char *>> requests = {
        {first, "delta", "http://b/"}, {second, "Alpha", "http://c/"}, {third, "charlie", "http://a/"}};
    for (const auto &[request, name, url] : requests) {
        commands->renameRequestTreeItem(request, QString::fromLatin1(name));
        commands->setValueForKey(request, QStringLiteral("url"), QString::fromLatin1(url),
                                 QStringLiteral("Change URL"));
    }
    auto shown = [&] {
        QStringList names;
        const QAbstractItemModel *model = window->requestList()->treeView()->model();
        for (int row = 0; row < model->rowCount(); ++row)
            names.append(model->index(row, 0).data().toString());
        return names.join(u' ');
    };
    const QList<std::pair<int, const char *>> cases = {
        {1, "Alpha charlie delta"}, {2, "charlie delta Alpha"}, {0, "delta Alpha charlie"}};
    for (const auto &[order, expected] : cases) {
        window->setOrderBy(order);
        EXPECT_EQ(shown(), QString::fromLatin1(expected)) << order;
    }
}

} // namespace

namespace {

TEST_F(DocumentWindowTest, EnvironmentsSheetEditsTheGridThroughTheCommands)
{
    window->commands()->environmentToolbarItemChanged(33);
    auto *sheet = window->findChild<HXEnvironmentsWindow *>();
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(sheet->windowModality(), Qt::WindowModal);
    HXEnvironmentTableModel *model = sheet->model();
    ASSERT_EQ(model->columnCount(), 2) << "the names, then the one environment";
    EXPECT_TRUE(model->headerData(1, Qt::Horizontal, Qt::FontRole).value<QFont>().bold()) << "the current one";

    sheet->addVariableButton()->click();
    ASSERT_EQ(model->rowCount(), 1);
    EXPECT_TRUE(model->setData(model->index(0, 0), QStringLiteral("host")));
    EXPECT_TRUE(model->setData(model->index(0, 1), QStringLiteral("example.com")));
    EXPECT_EQ(model->index(0, 0).data().toString(), QStringLiteral("host"));
    EXPECT_EQ(model->index(0, 1).data().toString(), QStringLiteral("example.com"));
    EXPECT_EQ(window->mainMenu()->undoAction()->text(), QStringLiteral("Undo Change Value"));

    sheet->addEnvironmentButton()->click();
    EXPECT_EQ(model->columnCount(), 3);
    window->commands()->undo();
    window->commands()->undo();
    EXPECT_EQ(model->columnCount(), 2);
    EXPECT_EQ(model->index(0, 1).data().toString(), QString());

    // Deleting the selected variable is one step; undo brings it back.
    EXPECT_FALSE(sheet->deleteVariableButton()->isEnabled());
    sheet->table()->selectRow(0);
    ASSERT_TRUE(sheet->deleteVariableButton()->isEnabled());
    sheet->deleteVariableButton()->click();
    EXPECT_EQ(model->rowCount(), 0);
    EXPECT_EQ(window->mainMenu()->undoAction()->text(), QStringLiteral("Undo Delete Environment Variable"));
    window->mainMenu()->undoAction()->trigger();
    ASSERT_EQ(model->rowCount(), 1);
    EXPECT_EQ(model->index(0, 0).data().toString(), QStringLiteral("host"));
    sheet->close();
}

} // namespace

namespace {

TEST_F(DocumentWindowTest, ArrangesTheListUnderHeadersAndKeepsTheSelection)
{
    HXDocumentCommands *commands = window->commands();
    HXRequest *first = window->currentRequest();
    HXRequestGroup *folder = commands->addRequestFolder({first});
    HXRequest *second = commands->addRequest({folder});
    HXRequest *third = commands->addRequest({first});
    const QList<std::tuple<HXRequest *, const char *, const char *>> requests = {
        {first, "GET", "http://b.example/x"}, {second, "POST", "http://a.example/y"}, {third, "GET", "/relative"}};
    for (const auto &[request, method, url] : requests) {
        commands->setValueForKey(request, QStringLiteral("method"), QString::fromLatin1(method),
                                 QStringLiteral("Change Method"));
        commands->setValueForKey(request, QStringLiteral("url"), QString::fromLatin1(url),
                                 QStringLiteral("Change URL"));
    }
    window->requestList()->selectItems({second});
    auto headers = [&] {
        QStringList titles;
        const QAbstractItemModel *model = window->requestList()->viewModel();
        for (int row = 0; row < model->rowCount(); ++row)
            titles.append(model->index(row, 0).data().toString());
        return titles.join(u',');
    };
    const QList<std::pair<int, const char *>> cases = {
        {1, "GET (2),POST (1)"}, {2, "a.example (1),b.example (1),No Host (1)"}, {3, "No Response (3)"}};
    for (const auto &[arrangement, expected] : cases) {
        window->setArrangeBy(arrangement);
        EXPECT_EQ(headers(), QString::fromLatin1(expected)) << arrangement;
        EXPECT_EQ(window->currentRequest(), second) << "the selection survives " << arrangement;
        EXPECT_FALSE(window->commands()
                         ->validateUserInterfaceItem(HXDocumentCommands::Action::AddRequestFolder, {{}, arrangement})
                         .enabled);
    }
    // A change that moves a request to another group regroups the list.
    window->setArrangeBy(1);
    commands->setValueForKey(first, QStringLiteral("method"), QStringLiteral("PUT"), QStringLiteral("Change Method"));
    ASSERT_TRUE(HXTest::waitUntil([&] { return headers() == QStringLiteral("GET (1),POST (1),PUT (1)"); }))
        << headers().toStdString();
    EXPECT_EQ(window->currentRequest(), second);

    window->setArrangeBy(0);
    EXPECT_EQ(window->requestList()->viewModel()->rowCount(), 3) << "the tree again: two requests and the folder";
    EXPECT_EQ(window->currentRequest(), second);

    // The arrangement is saved with the document's interface state.
    window->setArrangeBy(2);
    HXDocument *document = window->document();
    document->managedObjectContext()->markSaved();
    window->close();
    window = nullptr;
    EXPECT_EQ(HXUIPreferencesManager::sharedManager()->arrangeByForDocument(document), 2);
}

TEST_F(DocumentWindowTest, CodeInspectorShowsTheSelectedRequestAndCopiesIt)
{
    HXRequest *request = window->currentRequest();
    window->commands()->setValueForKey(request, QStringLiteral("url"), QStringLiteral("http://example.com/items"),
                                       QStringLiteral("Change URL"));
    EXPECT_FALSE(window->isCodeInspectorShown());
    window->codeInspectorButton()->click();
    ASSERT_TRUE(window->isCodeInspectorShown());
    HXCodeInspector *inspector = window->codeInspector();
    ASSERT_TRUE(HXTest::waitUntil([&] { return inspector->code().contains(u"http://example.com/items"); }));
    EXPECT_TRUE(inspector->code().contains(u"curl")) << inspector->code().toStdString();

    // The code follows edits, and Copy puts it on the clipboard.
    window->commands()->setValueForKey(request, QStringLiteral("url"), QStringLiteral("http://example.com/other"),
                                       QStringLiteral("Change URL"));
    ASSERT_TRUE(HXTest::waitUntil([&] { return inspector->code().contains(u"/other"); }));
    inspector->copyButton()->click();
    EXPECT_EQ(QApplication::clipboard()->text(), inspector->code());

    // Edit > Copy as cURL follows its own setting, whatever the inspector shows.
    inspector->setLanguage(HXCodeGenerator::Language::Python);
    ASSERT_TRUE(HXTest::waitUntil([&] { return inspector->code().contains(u"import requests"); }))
        << inspector->code().toStdString();
    QApplication::clipboard()->clear();
    window->mainMenu()->updateStates();
    EXPECT_EQ(window->mainMenu()->copyAsCodeAction()->text(), QStringLiteral("Copy as cURL"));
    window->mainMenu()->copyAsCodeAction()->trigger();
    EXPECT_TRUE(QApplication::clipboard()->text().startsWith(u"curl") ||
                QApplication::clipboard()->text().contains(u"\ncurl"))
        << QApplication::clipboard()->text().toStdString();

    window->setCodeInspectorShown(false);
    EXPECT_FALSE(window->codeInspectorButton()->isChecked());
}

TEST_F(DocumentWindowTest, CustomMethodIsValidatedAndUndoesInOneStep)
{
    HXRequest *request = window->currentRequest();
    const QString before = request->method();
    window->askCustomMethod();
    auto *dialog = window->findChild<HXCustomMethodDialog *>();
    ASSERT_NE(dialog, nullptr);
    const QList<std::pair<const char *, bool>> cases = {
        {"PURGE", true}, {"", false}, {"GET X", false}, {"GET\r\nX", false}, {"MKCOL", true}};
    for (const auto &[text, valid] : cases) {
        dialog->field()->setText(QString::fromLatin1(text));
        EXPECT_EQ(dialog->canAccept(), valid) << text;
    }
    dialog->accept();
    EXPECT_EQ(request->method(), QStringLiteral("MKCOL"));
    EXPECT_EQ(window->mainMenu()->undoAction()->text(), QStringLiteral("Undo Custom Method"));
    window->mainMenu()->undoAction()->trigger();
    EXPECT_EQ(request->method(), before);
}

} // namespace

namespace {

TEST_F(DocumentWindowTest, ImportsACommandAndExportsTheRequests)
{
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString source = folder.filePath(QStringLiteral("login.sh"));
    QFile file(source);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("curl -X POST -H 'Accept: text/plain' https://example.com/login\n");
    file.close();

    window->importFile(source);
    ASSERT_EQ(window->document()->topLevelItems().size(), 2);
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_TRUE(presenter.alerts.first().informativeText.startsWith(u"Imported 1 request"))
        << presenter.alerts.first().informativeText.toStdString();
    EXPECT_EQ(window->mainMenu()->undoAction()->text(), QStringLiteral("Undo Import"));

    const QList<std::pair<const char *, const char *>> formats = {{"postman", "https://example.com/login"},
                                                                  {"curl", "https://example.com/login"}};
    for (const auto &[format, expected] : formats) {
        const QString path = folder.filePath(QString::fromLatin1(format));
        ASSERT_TRUE(window->exportFile(path, QString::fromLatin1(format))) << format;
        QFile written(path);
        ASSERT_TRUE(written.open(QIODevice::ReadOnly));
        EXPECT_TRUE(written.readAll().contains(expected)) << format;
    }

    window->importFile(folder.filePath(QStringLiteral("missing.json")));
    EXPECT_EQ(presenter.errors.size(), 1) << "a clear error, nothing imported";
    EXPECT_EQ(window->document()->topLevelItems().size(), 2);
}

} // namespace
