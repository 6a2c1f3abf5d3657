#include "HXTestSupport.h"

#include "HXCLITestRunner.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

// Runs kea-cli as a separate process with its own settings and data folder,
// which later runs share, as two invocations on one machine do.
class CLISendCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        echo.setProcessEnvironment(environment());
        echo.start(QStringLiteral(KEA_CLI_PATH),
                   {QStringLiteral("echo"), QStringLiteral("--port"), QStringLiteral("0")});
        ASSERT_TRUE(echo.waitForReadyRead(10000));
        const QRegularExpressionMatch match =
            QRegularExpression(QStringLiteral(":(\\d+)")).match(QString::fromUtf8(echo.readLine()));
        ASSERT_TRUE(match.hasMatch());
        port = match.captured(1);
        document = folder.filePath(QStringLiteral("demo.kea"));
        ASSERT_EQ(run({QStringLiteral("demo"), document, QStringLiteral("--port"), port}).status, 0);
    }
    void TearDown() override
    {
        echo.kill();
        echo.waitForFinished(5000);
    }
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), folder.filePath(QStringLiteral("data")));
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), folder.filePath(QStringLiteral("config")));
        return env;
    }
    HXCLIRun run(const QStringList &arguments) { return HXRunCLI(arguments, QByteArray(), environment()); }

    QTemporaryDir folder;
    QProcess echo;
    QString port;
    QString document;
};

TEST_F(CLISendCommandTest, ALaterRunUsesTheResponseOfAnEarlierOne)
{
    // Before any login the profile has no token to send.
    HXCLIRun first = run({QStringLiteral("send"), document, QStringLiteral("Profile")});
    EXPECT_EQ(first.status, 0);
    EXPECT_TRUE(first.out.contains("HTTP/1.1 401")) << first.out.constData();

    HXCLIRun login = run({QStringLiteral("send"), document, QStringLiteral("Accounts/Log in")});
    EXPECT_EQ(login.status, 0) << login.err.constData();
    const QRegularExpressionMatch token =
        QRegularExpression(QStringLiteral("\"token\": \"([^\"]+)\"")).match(QString::fromUtf8(login.out));
    ASSERT_TRUE(token.hasMatch()) << login.out.constData();

    HXCLIRun profile = run({QStringLiteral("send"), document, QStringLiteral("Profile"), QStringLiteral("--verbose")});
    EXPECT_EQ(profile.status, 0);
    EXPECT_TRUE(profile.out.contains(QByteArray(QByteArray("> Authorization: Bearer ") + token.captured(1).toUtf8())))
        << profile.out.constData();
    EXPECT_TRUE(profile.out.contains("\"authenticated\": true"));

    // Another environment logs in another user, whose token then travels.
    HXCLIRun staging = run({QStringLiteral("send"), document, QStringLiteral("Log in"), QStringLiteral("Profile"),
                            QStringLiteral("--env"), QStringLiteral("Staging")});
    EXPECT_TRUE(staging.out.contains("\"user\": \"staging-tester\"")) << staging.out.constData();
    EXPECT_FALSE(staging.out.contains(token.captured(1).toUtf8()));

    HXCLIRun stored = run({QStringLiteral("responses"), document, QStringLiteral("Log in")});
    EXPECT_EQ(stored.status, 0);
    EXPECT_EQ(stored.out.count("200 OK"), 2);
}

TEST_F(CLISendCommandTest, SendAllAsksThenSendsInUUIDOrderFollowingRedirects)
{
    // Request names by uuid, from the long listing ("  Name  METHOD url  UUID").
    const HXCLIRun listed = run({QStringLiteral("list"), QStringLiteral("--long"), document});
    QMap<QString, QString> namesByUUID;
    for (const QString &line : QString::fromUtf8(listed.out).split(u'\n', Qt::SkipEmptyParts)) {
        const QStringList parts = line.trimmed().split(QStringLiteral("  "));
        if (parts.size() == 3)
            namesByUUID.insert(parts.at(2), parts.at(0));
    }
    ASSERT_EQ(namesByUUID.size(), 6) << listed.out.constData();
    const QMap<QString, QStringList> statusLines = {
        {QStringLiteral("Log in"), {QStringLiteral("200 OK")}},
        {QStringLiteral("Profile"), {QStringLiteral("200 OK")}},
        {QStringLiteral("Post a form"), {QStringLiteral("200 OK")}},
        {QStringLiteral("Upload a file"), {QStringLiteral("200 OK")}},
        {QStringLiteral("Redirect chain"),
         {QStringLiteral("302 Found"), QStringLiteral("302 Found"), QStringLiteral("302 Found"),
          QStringLiteral("200 OK")}},
        {QStringLiteral("Not found"), {QStringLiteral("404 Not Found")}},
    };
    // The profile carries the login's token only when the login went first.
    const QStringList order = namesByUUID.values(); // QMap: ascending uuid
    QMap<QString, QStringList> expectedLines = statusLines;
    if (order.indexOf(QStringLiteral("Profile")) < order.indexOf(QStringLiteral("Log in")))
        expectedLines[QStringLiteral("Profile")] = {QStringLiteral("401 Unauthorized")};
    QByteArray expected;
    for (const QString &name : order)
        for (const QString &status : expectedLines.value(name))
            expected += (name + QStringLiteral("  HTTP/1.1 ") + status + u'\n').toUtf8();

    HXCLIRun all = run({QStringLiteral("send"), document, QStringLiteral("--all"), QStringLiteral("--quiet")});
    EXPECT_EQ(all.status, 0) << all.err.constData();
    EXPECT_EQ(all.out, expected);
    EXPECT_TRUE(all.err.contains("Send all?\nSend 6 request(s)?")) << all.err.constData();

    HXCLIRun failing = run({QStringLiteral("send"), document, QStringLiteral("Not found"), QStringLiteral("--fail"),
                            QStringLiteral("--quiet")});
    EXPECT_EQ(failing.status, 1);
    EXPECT_EQ(failing.out, QByteArray("Not found  HTTP/1.1 404 Not Found\n"));

    // With the service gone, sending fails with exit status 1 and a message.
    echo.kill();
    echo.waitForFinished(5000);
    HXCLIRun failed = run({QStringLiteral("send"), document, QStringLiteral("Not found")});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.err.contains("Kea can't get a response")) << failed.err.constData();

    EXPECT_EQ(run({QStringLiteral("send"), document}).status, 2);
    EXPECT_EQ(run({QStringLiteral("send"), document, QStringLiteral("No such request")}).status, 2);
    EXPECT_EQ(
        run({QStringLiteral("send"), folder.filePath(QStringLiteral("missing.kea")), QStringLiteral("--all")}).status,
        2);
}

TEST_F(CLISendCommandTest, EachEngineAndTheComparisonOfAll)
{
    // The Qt engine rebuilds the reason phrase; every engine names itself.
    const QList<std::pair<QString, QByteArray>> engines = {{QStringLiteral("own"), "HTTP/1.1 404 Not Found"},
                                                           {QStringLiteral("libcurl"), "HTTP/1.1 404 Not Found"},
                                                           {QStringLiteral("qt"), "HTTP/1.1 404 NOT FOUND"}};
    const QList<QByteArray> names = {"Kea HTTP/1.1", "libcurl", "Qt Network"};
    for (qsizetype i = 0; i < engines.size(); ++i) {
        HXCLIRun sent = run({QStringLiteral("send"), document, QStringLiteral("Not found"), QStringLiteral("--engine"),
                             engines[i].first, QStringLiteral("--verbose")});
        EXPECT_EQ(sent.status, 0) << sent.err.constData();
        EXPECT_TRUE(sent.out.startsWith(QByteArray("== engine: " + names[i] + '\n'))) << sent.out.constData();
        EXPECT_TRUE(sent.out.contains(engines[i].second)) << sent.out.constData();
    }
    EXPECT_EQ(run({QStringLiteral("send"), document, QStringLiteral("Not found"), QStringLiteral("--engine"),
                   QStringLiteral("curl")})
                  .status,
              2);

    // Same status and body everywhere; only the own engine shows its
    // Connection header, which is marked.
    HXCLIRun same = run({QStringLiteral("compare"), document, QStringLiteral("Accounts/Log in")});
    EXPECT_EQ(same.status, 0) << same.out.constData() << same.err.constData();
    const QList<QByteArray> lines = same.out.split('\n');
    ASSERT_GE(lines.size(), 4);
    EXPECT_EQ(lines[0], "== Log in");
    for (const QByteArray &name : names)
        EXPECT_TRUE(lines[1].contains(name));
    EXPECT_TRUE(lines[2].startsWith("  status ")) << lines[2].constData();
    EXPECT_TRUE(same.out.contains("* Connection             | close ")) << same.out.constData();
    EXPECT_TRUE(same.out.contains("\n  body ")) << same.out.constData();

    // The echo differs with the headers each engine sent: a failed comparison.
    HXCLIRun different = run({QStringLiteral("compare"), document, QStringLiteral("Redirect chain")});
    EXPECT_EQ(different.status, 1);
    EXPECT_TRUE(different.out.contains("\n* body ")) << different.out.constData();
    EXPECT_EQ(run({QStringLiteral("compare"), document}).status, 2);
}

TEST_F(CLISendCommandTest, RunsThatCreateTheStoresTogetherRecordEveryResponse)
{
    // Copies of the document, so that nothing but the stores is shared.
    constexpr int together = 5;
    std::vector<std::unique_ptr<QProcess>> sends;
    for (int i = 0; i < together; ++i) {
        const QString copy = folder.filePath(QStringLiteral("copy-%1.kea").arg(i));
        ASSERT_TRUE(QFile::copy(document, copy));
        sends.push_back(std::make_unique<QProcess>());
        sends.back()->setProcessEnvironment(environment());
        sends.back()->start(QStringLiteral(KEA_CLI_PATH),
                            {QStringLiteral("send"), copy, QStringLiteral("Not found"), QStringLiteral("--quiet")});
    }
    for (const auto &send : sends) {
        ASSERT_TRUE(send->waitForFinished(60000));
        EXPECT_EQ(send->exitCode(), 0) << send->readAllStandardError().constData();
    }
    HXCLIRun stored = run({QStringLiteral("responses"), document, QStringLiteral("Not found")});
    EXPECT_EQ(stored.out.count("404 Not Found"), together) << stored.out.constData();
    EXPECT_FALSE(QDir(folder.filePath(QStringLiteral("data/Trash"))).exists());
}

TEST_F(CLISendCommandTest, AResponseThatCannotBeRecordedFailsTheRun)
{
    ASSERT_EQ(run({QStringLiteral("send"), document, QStringLiteral("Not found")}).status, 0);
    QDirIterator stores(folder.filePath(QStringLiteral("data")), {QStringLiteral("Responses.sqlite")}, QDir::Files,
                        QDirIterator::Subdirectories);
    ASSERT_TRUE(stores.hasNext());
    const QString store = stores.next();
    for (const QString &suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")})
        QFile::remove(store + suffix);
    // Something that is no database and that SQLite cannot open either.
    ASSERT_TRUE(QDir().mkpath(store));

    HXCLIRun failed = run({QStringLiteral("send"), document, QStringLiteral("Not found")});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.out.contains("404 Not Found"));
    EXPECT_TRUE(failed.err.contains("the responses could not be recorded")) << failed.err.constData();
    EXPECT_TRUE(QFileInfo(store).isDir());
}

} // namespace

TEST_F(CLISendCommandTest, SentHeadersAreLearntAsCompletions)
{
    // The header value sent three times outranks the shipped values.
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(run({QStringLiteral("send"), document, QStringLiteral("Log in")}).status, 0);
    HXCLIRun values = run({QStringLiteral("complete"), QStringLiteral("HXCompletionCategoryHTTPRequestHeadersValue"),
                           QStringLiteral("--filter"), QStringLiteral("content-TYPE"), QStringLiteral("APPLICATION/")});
    EXPECT_EQ(values.status, 0) << values.err.constData();
    EXPECT_TRUE(values.out.startsWith("application/json\t4\tJSON body\n")) << values.out.constData();

    HXCLIRun names = run({QStringLiteral("complete"), QStringLiteral("HXCompletionCategoryHTTPRequestHeaders"),
                          QStringLiteral("content-t")});
    EXPECT_EQ(names.out, "Content-Type\t4\tMedia type of the request body\n");
    EXPECT_EQ(run({QStringLiteral("complete")}).status, 2);
}
