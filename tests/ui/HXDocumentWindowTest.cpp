#include "HXDocumentWindow.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDynamicStringEdit.h"
#include "HXEchoService.h"
#include "HXEnvironmentTableModel.h"
#include "HXEnvironmentsWindow.h"
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
#include "HXUndoManager.h"
#include "HXWarningsButton.h"
#include "HXWindowManager.h"

#include <QAbstractItemView>
#include <QAction>
#include <QFont>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
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
    QAbstractItemModel *parameters =
        static_cast<QAbstractItemView *>(editor->tabs()->widget(HXRequestEditor::ParametersTab))->model();
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
    sheet->close();
}

} // namespace
