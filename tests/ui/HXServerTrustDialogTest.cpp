#include "HXServerTrustDialog.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDocumentWindow.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXTestCertificates.h"
#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"
#include "HXTrustedCertificates.h"
#include "HXWindowManager.h"
#include "HXWindowPresenter.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

#include <gtest/gtest.h>

namespace {

const QByteArray okResponse = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\nok";

class ServerTrustDialogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HXPresenter::setSharedPresenter(&presenter);
        window = HXWindowManager::newDocument();
        ASSERT_NE(window, nullptr);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    }

    void TearDown() override
    {
        HXTrustedCertificates::removeHost(QStringLiteral("127.0.0.1"));
        window->document()->managedObjectContext()->markSaved();
        window->close();
        HXPresenter::setSharedPresenter(nullptr);
    }

    std::unique_ptr<HXTestHTTPServer> startServer(const HXTestCertificate &identity)
    {
        auto server = std::make_unique<HXTestHTTPServer>(
            HXTestHTTPServer::TLSIdentity{identity.certificate(), identity.privateKey(), {}});
        server->setDefaultScript(HXTestHTTPScript::respond(okResponse));
        EXPECT_TRUE(server->listen());
        return server;
    }

    void send(const HXTestHTTPServer &server)
    {
        window->commands()->setValueForKey(window->currentRequest(), QStringLiteral("url"),
                                           server.url(QStringLiteral("/")).toString(), QStringLiteral("Change URL"));
        window->statusLabel()->clear();
        window->sendSelected();
    }

    HXServerTrustDialog *dialog() const
    {
        auto *found = window->findChild<HXServerTrustDialog *>();
        return found != nullptr && found->isVisible() ? found : nullptr;
    }

    void answer(const QString &button, bool always)
    {
        HXServerTrustDialog *shown = dialog();
        shown->alwaysTrustBox()->setChecked(always);
        for (QPushButton *candidate : shown->findChildren<QPushButton *>()) {
            if (candidate->text() == button)
                QTest::mouseClick(candidate, Qt::LeftButton);
        }
    }

    bool finishedWith(const QString &prefix) const
    {
        return HXTest::waitUntil([&] { return window->statusLabel()->text().startsWith(prefix); });
    }

    HXWindowPresenter presenter;
    HXDocumentWindow *window = nullptr;
};

TEST_F(ServerTrustDialogTest, AsksOnceForATrustedCertificateAndAgainWhenItChanges)
{
    const HXTestCertificate first = HXTestCertificates::selfSigned(QStringLiteral("Kea Test Server"));
    const HXTestCertificate second = HXTestCertificates::selfSigned(QStringLiteral("Another Server"));
    ASSERT_FALSE(first.isNull());
    auto server = startServer(first);

    send(*server);
    ASSERT_TRUE(HXTest::waitUntil([&] { return dialog() != nullptr; })) << "the self-signed server is questioned";
    HXServerTrustDialog *shown = dialog();
    EXPECT_EQ(shown->windowModality(), Qt::WindowModal);
    EXPECT_EQ(shown->chainView()->topLevelItemCount(), 1);
    EXPECT_EQ(shown->chainView()->topLevelItem(0)->text(0), QStringLiteral("Kea Test Server"));
    const QString details = shown->findChild<QLabel *>(QStringLiteral("certificateDetails"))->text();
    EXPECT_TRUE(details.contains(HXTrustedCertificates::fingerprint(first.certificate()))) << details.toStdString();
    EXPECT_EQ(shown->alwaysTrustBox()->text(), QStringLiteral("Always trust this certificate for 127.0.0.1"));
    answer(QStringLiteral("Continue"), true);
    ASSERT_TRUE(finishedWith(QStringLiteral("200")));
    EXPECT_TRUE(HXTrustedCertificates::isTrusted(QStringLiteral("127.0.0.1"), first.certificate()));

    send(*server);
    ASSERT_TRUE(finishedWith(QStringLiteral("200"))) << "a remembered certificate is not asked about";
    EXPECT_EQ(dialog(), nullptr);

    auto changed = startServer(second);
    send(*changed);
    ASSERT_TRUE(HXTest::waitUntil([&] { return dialog() != nullptr; })) << "a new certificate is asked about again";
    answer(QStringLiteral("Cancel"), true);
    ASSERT_TRUE(finishedWith(QStringLiteral("Failed")));
    EXPECT_FALSE(HXTrustedCertificates::isTrusted(QStringLiteral("127.0.0.1"), second.certificate()))
        << "Cancel stores nothing";
    EXPECT_EQ(changed->receivedRequests().size(), 0);
}

} // namespace
