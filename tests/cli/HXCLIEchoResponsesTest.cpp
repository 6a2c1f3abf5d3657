#include "HXDocument.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXResponse.h"
#include "HXResponseManager.h"
#include "HXTestSupport.h"

#include "HXFetchRequest.h"
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct CLIRun
{
    int status = -1;
    QByteArray out;
    QByteArray err;
};

CLIRun runCLI(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(KEA_CLI_PATH), arguments);
    EXPECT_TRUE(process.waitForFinished(20000));
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

TEST(CLIEchoTest, ServesUntilStoppedAndReportsABusyPort)
{
    QProcess echo;
    echo.start(QStringLiteral(KEA_CLI_PATH), {u"echo"_s, u"--port"_s, u"0"_s});
    QByteArray line;
    ASSERT_TRUE(HXTest::waitUntil(
        [&] {
            echo.waitForReadyRead(50);
            line += echo.readAllStandardOutput();
            return line.endsWith('\n') || echo.state() == QProcess::NotRunning;
        },
        10000));
    ASSERT_TRUE(line.startsWith("Kea echo service listening on http://127.0.0.1:")) << line.constData();
    const quint16 port = quint16(line.mid(line.lastIndexOf(':') + 1).trimmed().toUInt());
    ASSERT_GT(port, 0);

    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, port);
    client.write("GET /status/203 HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    QByteArray answer;
    HXTest::waitUntil([&] {
        answer += client.readAll();
        return client.state() == QAbstractSocket::UnconnectedState;
    });
    EXPECT_TRUE(answer.startsWith("HTTP/1.1 203 ")) << answer.left(100).constData();
    EXPECT_TRUE(answer.contains("\"path\": \"/status/203\""));
    echo.kill();
    echo.waitForFinished();

    QTcpServer busy;
    ASSERT_TRUE(busy.listen(QHostAddress::LocalHost, 0));
    const CLIRun refused = runCLI({u"echo"_s, u"--port"_s, QString::number(busy.serverPort())});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.err.contains("cannot listen")) << refused.err.constData();
    EXPECT_EQ(runCLI({u"echo"_s, u"--port"_s, u"70000"_s}).status, 2);
}

class CLIResponsesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HXResponseManager::resetMoveToTrash(false);
        file = folder.filePath(u"demo.kea"_s);
        ASSERT_EQ(runCLI({u"demo"_s, file}).status, 0);
        auto opened = HXDocument::openDocument(file);
        ASSERT_TRUE(opened);
        document = std::move(opened).value();
    }
    void TearDown() override { HXResponseManager::resetMoveToTrash(false); }

    HXRequest *request(const QString &name)
    {
        HXFetchRequest fetch(u"HXRequest"_s);
        const auto all = document->managedObjectContext()->executeFetchRequest(fetch);
        for (HXManagedObject *object : all.value())
            if (static_cast<HXRequest *>(object)->name() == name)
                return static_cast<HXRequest *>(object);
        return nullptr;
    }

    QTemporaryDir folder;
    QString file;
    std::unique_ptr<HXDocument> document;
};

TEST_F(CLIResponsesTest, ListsNewestFirstAndShowsOneAsReceived)
{
    HXRequest *status = request(u"Not found"_s);
    ASSERT_NE(status, nullptr);
    HXResponseManager *store = HXResponseManager::sharedManager();
    const QDateTime date = QDateTime::fromString(u"2026-03-04T05:06:07"_s, Qt::ISODate);
    const QList<QPair<QByteArray, QByteArray>> sent = {
        {"HTTP/1.1 404 Not Found\r\nContent-Length: 9\r\n\r\n", "not found"},
        {"HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n\r\n", QByteArray("\x00\x01\xff", 3)}};
    for (int i = 0; i < sent.size(); ++i) {
        std::shared_ptr<HXResponse> response = store->insertNewResponse();
        response->setRequestUUID(status->uuid());
        response->setDate(date.addSecs(i * 60));
        response->setHeadersData(sent.at(i).first);
        response->setBodyData(sent.at(i).second);
        response->setResponseTime(0.012 + i);
        response->setDownloadTime(0.5 + i);
    }
    store->saveUpdates();

    const CLIRun listed = runCLI({u"responses"_s, file, u"Not found"_s});
    EXPECT_EQ(listed.status, 0) << listed.err.constData();
    const QList<QByteArray> lines = listed.out.split('\n');
    ASSERT_EQ(lines.size(), 4) << listed.out.constData();
    EXPECT_TRUE(lines.at(1).startsWith("1   2026-03-04 05:07:07  200 OK ")) << lines.at(1).constData();
    EXPECT_TRUE(lines.at(1).contains("1.01 s") && lines.at(1).contains("1.50 s")) << lines.at(1).constData();
    EXPECT_TRUE(lines.at(2).startsWith("2   2026-03-04 05:06:07  404 Not Found ")) << lines.at(2).constData();
    EXPECT_TRUE(lines.at(2).contains("12 ms") && lines.at(2).contains("500 ms")) << lines.at(2).constData();

    // By path or uuid too; --show prints head and body bytes exactly.
    const CLIRun shown = runCLI({u"responses"_s, file, status->uuid(), u"--show"_s, u"1"_s});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.out, sent.at(1).first + sent.at(1).second);
    EXPECT_EQ(runCLI({u"responses"_s, file, u"Not found"_s, u"--show"_s, u"2"_s}).out,
              sent.at(0).first + sent.at(0).second);
    EXPECT_EQ(runCLI({u"responses"_s, file, u"Not found"_s, u"--show"_s, u"3"_s}).status, 2);

    const CLIRun none = runCLI({u"responses"_s, file, u"Accounts/Log in"_s});
    EXPECT_EQ(none.status, 0);
    EXPECT_TRUE(none.out.isEmpty());
    EXPECT_TRUE(none.err.contains("no stored responses for 'Accounts/Log in'")) << none.err.constData();
    const CLIRun unknown = runCLI({u"responses"_s, file, u"Nothing"_s});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(unknown.err.contains("no request 'Nothing'"));
    EXPECT_EQ(runCLI({u"responses"_s, file}).status, 2);
}

} // namespace
