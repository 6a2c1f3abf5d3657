// kea-cli fetch as a real subprocess against a loopback server.

#include "HXTestHTTPServer.h"
#include "HXTestSupport.h"

#include "HXCLITestRunner.h"

#include <QFileInfo>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

HXCLIRun fetch(const QStringList &arguments)
{
    return HXRunCLI(QStringList{QStringLiteral("fetch")} + arguments);
}

TEST(HXCLIFetchCommandTest, PrintsTheRawHeadThenTheBody)
{
    HXTestHTTPServer server;
    ASSERT_TRUE(server.listen());
    const QByteArray response = "HTTP/1.1 201 Created\r\nX-Thing:  spaced \r\nContent-Length: 5\r\n\r\nhello";
    server.addResponse(response);
    QTemporaryDir folder;
    const QString bodyFile = folder.filePath(QStringLiteral("body.json"));
    ASSERT_TRUE(HXTest::writeFile(bodyFile, "{\"a\":1}"));

    const HXCLIRun run =
        fetch({server.url(QStringLiteral("/items?x=1")).toString(), QStringLiteral("-X"), QStringLiteral("PUT"),
               QStringLiteral("-H"), QStringLiteral("Content-Type: application/json"), QStringLiteral("-H"),
               QStringLiteral("X-Empty:"), QStringLiteral("--data"), QLatin1Char('@') + bodyFile,
               QStringLiteral("--proxy-config"), QStringLiteral("none")});
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, response);
    ASSERT_EQ(server.receivedRequests().size(), 1);
    const QByteArray request = server.receivedRequests().first();
    EXPECT_TRUE(request.startsWith("PUT /items?x=1 HTTP/1.1\r\nContent-Type: application/json\r\nHost: 127.0.0.1:"));
    EXPECT_TRUE(request.endsWith("Content-Length: 7\r\n\r\n{\"a\":1}"));
    EXPECT_FALSE(request.contains("X-Empty"));
}

TEST(HXCLIFetchCommandTest, WritesTheBodyToTheFileAsItArrives)
{
    // The first half is on disk while the server still holds the second.
    HXTestHTTPServer server;
    ASSERT_TRUE(server.listen());
    QByteArray body(4 * 1024 * 1024, Qt::Uninitialized);
    for (qsizetype i = 0; i < body.size(); ++i)
        body[i] = char((i * 7 + i / 1021) & 0xff);
    const qsizetype half = body.size() / 2;
    server.addScript(HXTestHTTPScript()
                         .readRequest()
                         .write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n")
                         .write(body.left(half))
                         .pause()
                         .write(body.mid(half))
                         .close());
    QTemporaryDir folder;
    const QString output = folder.filePath(QStringLiteral("large.bin"));
    QProcess process;
    process.start(QStringLiteral(KEA_CLI_PATH),
                  {QStringLiteral("fetch"), server.url().toString(), QStringLiteral("--proxy-config"),
                   QStringLiteral("none"), QStringLiteral("-o"), output});
    ASSERT_TRUE(process.waitForStarted());
    HXTest::waitUntil([&] { return QFileInfo(output).size() >= half; }, 20000);
    EXPECT_EQ(QFileInfo(output).size(), half);
    EXPECT_EQ(process.state(), QProcess::Running);
    server.resume();
    ASSERT_TRUE(process.waitForFinished(30000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    EXPECT_TRUE(HXTest::readFile(output) == body);
}

TEST(HXCLIFetchCommandTest, WritesTheBodyToAFileAndGoesThroughAProxy)
{
    HXTestHTTPServer proxy;
    ASSERT_TRUE(proxy.listen());
    proxy.addResponse("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbody");
    QTemporaryDir folder;
    const QString output = folder.filePath(QStringLiteral("out.bin"));
    const HXCLIRun run = fetch({QStringLiteral("http://origin.test/file"), QStringLiteral("--proxy"),
                                QStringLiteral("127.0.0.1:%1").arg(proxy.port()), QStringLiteral("-o"), output});
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n"));
    EXPECT_EQ(HXTest::readFile(output), QByteArray("body"));
    ASSERT_EQ(proxy.receivedRequests().size(), 1);
    EXPECT_TRUE(proxy.receivedRequests().first().startsWith("GET http://origin.test/file HTTP/1.1\r\n"));
}

TEST(HXCLIFetchCommandTest, LineBreaksInAHeaderOrTheMethodNeverReachTheServer)
{
    HXTestHTTPServer server;
    ASSERT_TRUE(server.listen());
    server.setDefaultScript(HXTestHTTPScript::respond("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
    const QString url = server.url(QStringLiteral("/")).toString();
    const HXCLIRun header = fetch({url, QStringLiteral("-H"), QStringLiteral("X-Token: t\r\nX-Injected: 1"),
                                   QStringLiteral("--proxy-config"), QStringLiteral("none")});
    EXPECT_EQ(header.status, 1);
    EXPECT_TRUE(header.err.contains("The header \"X-Token\"")) << header.err.constData();
    const HXCLIRun method = fetch({url, QStringLiteral("-X"), QStringLiteral("GET / HTTP/1.1\r\n\r\nDELETE"),
                                   QStringLiteral("--proxy-config"), QStringLiteral("none")});
    EXPECT_EQ(method.status, 1);
    EXPECT_TRUE(method.err.contains("The method")) << method.err.constData();
    EXPECT_EQ(server.connectionCount(), 0);
}

TEST(HXCLIFetchCommandTest, FailuresAndUsage)
{
    quint16 closedPort = 0;
    {
        QTcpServer probe;
        ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
        closedPort = probe.serverPort();
    }
    const HXCLIRun refused = fetch({QStringLiteral("http://127.0.0.1:%1/").arg(closedPort),
                                    QStringLiteral("--proxy-config"), QStringLiteral("none")});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.out.isEmpty());
    EXPECT_TRUE(refused.err.startsWith("kea-cli: fetch: "));
    EXPECT_EQ(refused.err.count('\n'), 1);

    HXTestHTTPServer silent;
    ASSERT_TRUE(silent.listen());
    silent.addScript(HXTestHTTPScript().readRequest().hang());
    const HXCLIRun timedOut = fetch({silent.url().toString(), QStringLiteral("--timeout"), QStringLiteral("0.3"),
                                     QStringLiteral("--proxy-config"), QStringLiteral("none")});
    EXPECT_EQ(timedOut.status, 1);
    EXPECT_EQ(timedOut.err, QByteArray("kea-cli: fetch: The request timed out\n"));

    EXPECT_EQ(fetch({}).status, 2);
    EXPECT_EQ(fetch({QStringLiteral("http://a.test/"), QStringLiteral("-H"), QStringLiteral("NoColon")}).status, 2);
    EXPECT_EQ(
        fetch({QStringLiteral("http://a.test/"), QStringLiteral("--proxy-config"), QStringLiteral("bogus")}).status, 2);
    EXPECT_EQ(
        fetch({QStringLiteral("http://a.test/"), QStringLiteral("--data"), QStringLiteral("@/nonexistent")}).status, 2);
}

TEST(HXCLIFetchCommandTest, OtherEnginesPrintARebuiltHead)
{
    HXTestHTTPServer server;
    ASSERT_TRUE(server.listen());
    server.setDefaultScript(
        HXTestHTTPScript::respond("HTTP/1.1 201 Created\r\nX-Thing: a\r\nContent-Length: 5\r\n\r\nhello"));
    const QList<std::tuple<QString, QByteArray, QByteArray>> engines = {
        {QStringLiteral("libcurl"), "libcurl", "HTTP/1.1 201 Created\r\n"},
        {QStringLiteral("qt"), "Qt Network", "HTTP/1.1 201 CREATED\r\n"}};
    for (const auto &[option, name, statusLine] : engines) {
        const HXCLIRun run =
            fetch({server.url().toString(), QStringLiteral("--engine"), option, QStringLiteral("--verbose"),
                   QStringLiteral("--proxy-config"), QStringLiteral("none")});
        EXPECT_EQ(run.status, 0) << run.err.toStdString();
        EXPECT_EQ(run.err, QByteArray("kea-cli: fetch: engine " + name + '\n'));
        EXPECT_EQ(run.out, QByteArray(statusLine + "X-Thing: a\r\nContent-Length: 5\r\n\r\nhello"));
    }
    EXPECT_EQ(fetch({server.url().toString(), QStringLiteral("--engine"), QStringLiteral("curl")}).status, 2);
}

} // namespace
