#include "HXTestSupport.h"

#include "HXCLITestRunner.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class CLIDocumentCommandsTest : public ::testing::Test
{
protected:
    QTemporaryDir folder;
    QString path(const QString &name) const { return folder.filePath(name); }
};

TEST_F(CLIDocumentCommandsTest, NewCreatesAnEmptyDocumentAndNeverOverwrites)
{
    const QString file = path(QStringLiteral("empty.kea"));
    HXCLIRun created = HXRunCLI({QStringLiteral("new"), file});
    EXPECT_EQ(created.status, 0) << created.err.constData();
    HXCLIRun listed = HXRunCLI({QStringLiteral("list"), file});
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.out, QByteArray());

    const QByteArray before = HXTest::readFile(file);
    HXCLIRun again = HXRunCLI({QStringLiteral("new"), file});
    EXPECT_EQ(again.status, 2);
    EXPECT_TRUE(again.err.contains("already exists"));
    EXPECT_EQ(HXTest::readFile(file), before);
}

TEST_F(CLIDocumentCommandsTest, ListPrintsTheTreeInOrder)
{
    const QString file = path(QStringLiteral("demo.kea"));
    ASSERT_EQ(HXRunCLI({QStringLiteral("demo"), file}).status, 0);
    HXCLIRun listed = HXRunCLI({QStringLiteral("list"), file});
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.out, QByteArray("Accounts/\n"
                                     "  Log in\n"
                                     "  Profile\n"
                                     "Forms/\n"
                                     "  Post a form\n"
                                     "  Upload a file\n"
                                     "Redirect chain\n"
                                     "Not found\n"));
}

TEST_F(CLIDocumentCommandsTest, BadFilesGiveOneLineAndStatusTwoAndStayUntouched)
{
    const QString demo = path(QStringLiteral("demo.kea"));
    ASSERT_EQ(HXRunCLI({QStringLiteral("demo"), demo}).status, 0);
    const QByteArray good = HXTest::readFile(demo);

    const QString truncated = path(QStringLiteral("truncated.kea"));
    ASSERT_TRUE(HXTest::writeFile(truncated, good.left(good.size() / 2)));
    const QString foreign = path(QStringLiteral("foreign.kea"));
    ASSERT_TRUE(HXTest::writeFile(foreign, "{\"not\": \"xml\"}"));
    const QString missing = path(QStringLiteral("missing.kea"));

    for (const QString &file : {truncated, foreign, missing}) {
        const QByteArray before = HXTest::readFile(file);
        const QDateTime modified = QFileInfo(file).lastModified();
        HXCLIRun run = HXRunCLI({QStringLiteral("list"), file});
        EXPECT_EQ(run.status, 2) << file.toStdString();
        EXPECT_TRUE(run.out.isEmpty());
        EXPECT_EQ(run.err.count('\n'), 1) << run.err.constData();
        EXPECT_TRUE(run.err.contains(file.toUtf8())) << run.err.constData();
        EXPECT_EQ(HXTest::readFile(file), before);
        EXPECT_EQ(QFileInfo(file).lastModified(), modified);
    }
    EXPECT_FALSE(QFileInfo::exists(missing));
}

TEST_F(CLIDocumentCommandsTest, UsageErrorsAndHelp)
{
    EXPECT_EQ(HXRunCLI({QStringLiteral("list")}).status, 2);
    EXPECT_EQ(HXRunCLI({QStringLiteral("no-such-command")}).status, 2);
    HXCLIRun help = HXRunCLI({QStringLiteral("--help")});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.out.contains("list FILE"));
    HXCLIRun version = HXRunCLI({QStringLiteral("--version")});
    EXPECT_TRUE(version.out.startsWith("kea-cli "));
}

} // namespace
