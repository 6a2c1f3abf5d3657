// The request editor gives a tab its page when the tab is first shown, and
// the window leaves work its first picture does not need until it is
// painted: whenever a page is built it shows, edits and orders its fields
// as if it had been there from the start, and the deferred work is not lost.

#include "HXRequestEditor.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDocumentWindow.h"
#include "HXDynamicString.h"
#include "HXDynamicStringEdit.h"
#include "HXDynamicValueEngine.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestListView.h"
#include "HXWindowManager.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QTabBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCursor>

#include <gtest/gtest.h>

namespace {

class RequestEditorPagesTest : public ::testing::Test
{
protected:
    void openWindow()
    {
        if (window != nullptr)
            closeWindow();
        window = HXWindowManager::newDocument();
        ASSERT_NE(window, nullptr);
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
        HXDocumentCommands *commands = window->commands();
        first = window->currentRequest();
        second = commands->addRequest({first});
        ASSERT_NE(second, nullptr);
        const QList<std::tuple<HXRequest *, QString, bool, double>> values = {
            {first, QStringLiteral("first body"), true, 5}, {second, QStringLiteral("second body"), false, 12.5}};
        for (const auto &[request, body, follow, timeout] : values) {
            commands->setValueForKey(request, QStringLiteral("body"), body, QStringLiteral("Change Body"));
            commands->setValueForKey(request, QStringLiteral("followRedirects"), follow, QStringLiteral("Follow"));
            commands->setValueForKey(request, QStringLiteral("timeoutInterval"), timeout, QStringLiteral("Time-out"));
        }
    }

    void closeWindow()
    {
        window->document()->managedObjectContext()->markSaved();
        window->close();
        window = nullptr;
    }

    void SetUp() override { openWindow(); }
    void TearDown() override
    {
        if (window != nullptr)
            closeWindow();
    }

    void select(HXRequest *request) { window->requestList()->selectItems({request}); }
    QTabWidget *tabs() const { return window->requestEditor()->tabs(); }
    HXDynamicStringEdit *bodyField() const
    {
        return window->requestEditor()->findChild<HXDynamicStringEdit *>(QStringLiteral("bodyField"));
    }
    QCheckBox *followRedirects() const
    {
        for (QCheckBox *box : window->requestEditor()->findChildren<QCheckBox *>()) {
            if (box->text() == HXRequestEditor::tr("Follow redirects"))
                return box;
        }
        return nullptr;
    }

    HXDocumentWindow *window = nullptr;
    HXRequest *first = nullptr;
    HXRequest *second = nullptr;
};

TEST_F(RequestEditorPagesTest, APageShowsTheSelectedRequestWhenEverItWasBuilt)
{
    struct Case
    {
        const char *name;
        int tab;
        bool builtWithTheFirstRequest;
    };
    const Case cases[] = {{"body built for the second", HXRequestEditor::BodyTab, false},
                          {"body built for the first", HXRequestEditor::BodyTab, true},
                          {"options built for the second", HXRequestEditor::OptionsTab, false},
                          {"options built for the first", HXRequestEditor::OptionsTab, true}};
    for (const Case &test : cases) {
        SCOPED_TRACE(test.name);
        openWindow();
        select(first);
        if (test.builtWithTheFirstRequest)
            tabs()->setCurrentIndex(test.tab);
        select(second);
        tabs()->setCurrentIndex(test.tab);
        if (test.tab == HXRequestEditor::BodyTab) {
            ASSERT_NE(bodyField(), nullptr);
            EXPECT_TRUE(bodyField()->isVisible());
            EXPECT_EQ(bodyField()->toPlainText(), QStringLiteral("second body"));
        } else {
            ASSERT_NE(followRedirects(), nullptr);
            EXPECT_TRUE(followRedirects()->isVisible());
            EXPECT_FALSE(followRedirects()->isChecked());
            auto *timeout = window->requestEditor()->findChild<QDoubleSpinBox *>();
            ASSERT_NE(timeout, nullptr);
            EXPECT_DOUBLE_EQ(timeout->value(), 12.5);
        }
        select(first);
        if (test.tab == HXRequestEditor::BodyTab)
            EXPECT_EQ(bodyField()->toPlainText(), QStringLiteral("first body"));
        else
            EXPECT_TRUE(followRedirects()->isChecked());
    }
}

TEST_F(RequestEditorPagesTest, ALaterPageEditsTheRequestAndFollowsTheTabBarInTheFocusOrder)
{
    select(second);
    tabs()->setCurrentIndex(HXRequestEditor::BodyTab);
    HXDynamicStringEdit *body = bodyField();
    ASSERT_NE(body, nullptr);

    // Tab from the tab bar goes into the page, not past the editor.
    QWidget *next = tabs()->tabBar()->nextInFocusChain();
    while (next != nullptr &&
           (next->focusPolicy() == Qt::NoFocus || !next->isVisible() || tabs()->tabBar()->isAncestorOf(next)))
        next = next->nextInFocusChain();
    EXPECT_EQ(next, body);

    body->setFocus();
    body->moveCursor(QTextCursor::End);
    QTest::keyClicks(body, QStringLiteral("!"));
    window->requestEditor()->urlField()->setFocus();
    EXPECT_EQ(HXDynamicValueEngine::unarchiveAttributedString(second->body()).string(), QStringLiteral("second body!"));

    tabs()->setCurrentIndex(HXRequestEditor::OptionsTab);
    followRedirects()->click();
    EXPECT_TRUE(second->followRedirects());
    window->commands()->undo();
    EXPECT_FALSE(second->followRedirects());
    EXPECT_FALSE(followRedirects()->isChecked());
}

TEST(DocumentWindowOpening, NotesTheOpenedFileAmongTheRecentOnesPaintedOrNot)
{
    QTemporaryDir folder;
    for (const bool painted : {false, true}) {
        SCOPED_TRACE(painted ? "painted" : "closed before its first paint");
        const QString path = folder.filePath(painted ? QStringLiteral("painted.kea") : QStringLiteral("closed.kea"));
        {
            std::unique_ptr<HXDocument> document = HXDocument::makeUntitledDocument();
            ASSERT_TRUE(document->saveAs(path).ok());
        }
        HXDocumentWindow *window = HXWindowManager::openFile(path);
        ASSERT_NE(window, nullptr);
        window->document()->managedObjectContext()->markSaved();
        if (painted) {
            ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
            QTest::qWait(20);
            EXPECT_TRUE(HXWindowManager::recentFiles().contains(path));
        }
        window->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_TRUE(HXWindowManager::recentFiles().contains(path));
    }
}

} // namespace
