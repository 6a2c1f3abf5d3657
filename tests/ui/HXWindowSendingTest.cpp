// What the window shows and announces about a send: the Request tab, the
// sounds and notifications of a redirect chain, and a notification's "Show".

#include "HXDesktopServices.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDocumentWindow.h"
#include "HXEchoService.h"
#include "HXLargeTextView.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestHandler.h"
#include "HXRequestListView.h"
#include "HXResponse.h"
#include "HXResponseManager.h"
#include "HXResponseViewer.h"
#include "HXScriptedPresenter.h"
#include "HXTestSupport.h"
#include "HXUserDefaults.h"
#include "HXWindowDesktopServices.h"
#include "HXWindowManager.h"

#include <QApplication>
#include <QLabel>
#include <QTabWidget>
#include <QTest>

#include <gtest/gtest.h>

namespace {

// Counts what the request handler asks of the desktop.
class RecordingDesktopServices : public HXDesktopServices
{
public:
    void playSound(const QString &soundName) override { sounds.append(soundName); }
    void deliverNotification(const QString &, const QString &, const QVariantMap &userInfo) override
    {
        notifications.append(userInfo);
    }

    QStringList sounds;
    QList<QVariantMap> notifications;
};

// A new document's window, shown and active; null when it did not become
// active in time.
HXDocumentWindow *openActiveWindow()
{
    HXDocumentWindow *opened = HXWindowManager::newDocument();
    if (opened == nullptr)
        return nullptr;
    opened->activateWindow();
    return QTest::qWaitForWindowActive(opened) ? opened : nullptr;
}

class WindowSendingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HXPresenter::setSharedPresenter(&presenter);
        HXDesktopServices::setSharedServices(&desktop);
        HXUserDefaults::standardUserDefaults().setBool(true, QStringLiteral("HXUserDefaultEnableSounds"));
        ASSERT_TRUE(echo.listen(QHostAddress::LocalHost, 0).ok());
        window = openActiveWindow();
        ASSERT_NE(window, nullptr);
    }

    void TearDown() override
    {
        for (HXDocumentWindow *open : HXWindowManager::windows()) {
            open->document()->managedObjectContext()->markSaved();
            open->close();
        }
        HXUserDefaults::standardUserDefaults().removeObjectForKey(QStringLiteral("HXUserDefaultEnableSounds"));
        HXDesktopServices::setSharedServices(nullptr);
        HXPresenter::setSharedPresenter(nullptr);
    }

    // Sends the selected request and waits for its final status.
    void send(HXRequest *request, const QString &path)
    {
        request->setUrl(echo.baseURL() + path);
        window->sendSelected();
        ASSERT_TRUE(HXTest::waitUntil([&] {
            return !window->document()->requestHandler()->isBusy() && window->statusLabel()->text().startsWith(u"200");
        })) << window->statusLabel()->text().toStdString();
    }

    QString requestTab()
    {
        HXResponseViewer *viewer = window->responseViewer();
        viewer->tabs()->setCurrentIndex(HXResponseViewer::BodyTab);
        viewer->tabs()->setCurrentIndex(HXResponseViewer::RequestTab);
        return viewer->requestView()->text();
    }

    HXScriptedPresenter presenter;
    RecordingDesktopServices desktop;
    HXEchoService echo;
    HXDocumentWindow *window = nullptr;
};

TEST_F(WindowSendingTest, RequestTabShowsWhatWasSentForEachResponse)
{
    HXRequest *request = window->currentRequest();
    request->setHeaderName(QStringLiteral("X-Kea"), QStringLiteral("first\x1b"));
    send(request, QStringLiteral("/anything?kea=1"));
    const QString sent = requestTab();
    EXPECT_TRUE(sent.startsWith(QStringLiteral("GET /anything?kea=1 HTTP/1.1\n"))) << sent.toStdString();
    EXPECT_TRUE(sent.contains(QStringLiteral("\nX-Kea: first\\x1B\n"))) << "the engine's bytes, escaped";
    EXPECT_TRUE(sent.contains(QStringLiteral("\nHost: 127.0.0.1:"))) << "with the defaults the engine added";

    // Editing the request afterwards does not change what was sent.
    request->setHeaderName(QStringLiteral("X-Kea"), QStringLiteral("second"));
    window->requestList()->selectItems({});
    window->requestList()->selectItems({request});
    EXPECT_EQ(requestTab(), sent);

    // A response of an earlier session has no record.
    std::shared_ptr<HXResponse> old = HXResponseManager::sharedManager()->insertNewResponse();
    old->setRequestUUID(request->uuid());
    window->responseViewer()->showResponse(old);
    EXPECT_TRUE(requestTab().startsWith(QStringLiteral("What was sent for this response was not kept; this is the "
                                                       "request as it would be sent now.\n\nGET ")));
    HXResponseManager::sharedManager()->deleteResponse(old);
}

TEST_F(WindowSendingTest, ARedirectChainIsAnnouncedOnce)
{
    HXRequest *request = window->currentRequest();
    send(request, QStringLiteral("/redirect/2"));
    EXPECT_EQ(HXResponseManager::sharedManager()->responsesForRequestUUID(request->uuid()).size(), 3);
    EXPECT_EQ(desktop.sounds, QStringList{QStringLiteral("complete")});
    ASSERT_EQ(desktop.notifications.size(), 1);
    EXPECT_EQ(desktop.notifications.first().value(QStringLiteral("requestUUID")).toString(), request->uuid());
    // Each hop keeps its own request.
    window->responseViewer()->showOlder();
    EXPECT_TRUE(requestTab().startsWith(QStringLiteral("GET /redirect/1 "))) << requestTab().toStdString();
}

TEST_F(WindowSendingTest, ShowOnANotificationBringsItsWindowForward)
{
    HXRequest *request = window->currentRequest();
    window->commands()->addRequest({});
    HXDocumentWindow *front = openActiveWindow();
    ASSERT_NE(front, nullptr);

    HXWindowDesktopServices services;
    services.notificationActivated({{QStringLiteral("requestUUID"), request->uuid()}});
    EXPECT_TRUE(QTest::qWaitForWindowActive(window));
    EXPECT_EQ(window->currentRequest(), request);
}

} // namespace
