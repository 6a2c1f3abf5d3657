#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct Result
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

Result runCli(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(KEA_CLI_PATH), arguments);
    process.waitForFinished(30000);
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace

TEST(HXCLIEvalCommandTest, WritesTheEvaluatedBytes)
{
    EXPECT_EQ(runCli({QStringLiteral("eval"), QStringLiteral("plain text")}).out, QByteArray("plain text"));
    const QString stored = QString::fromUtf8(
        QJsonDocument(QJsonArray{QStringLiteral("a [\u00e9]"), QStringLiteral(" b")}).toJson(QJsonDocument::Compact));
    Result result = runCli({QStringLiteral("eval"), stored});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, QByteArray("a [\xc3\xa9] b"));

    result = runCli({QStringLiteral("eval"), QStringLiteral("--encoding"), QStringLiteral("ISO-8859-1"), stored});
    EXPECT_EQ(result.out, QByteArray("a [\xe9] b"));
    result = runCli({QStringLiteral("eval"), QStringLiteral("--encoding"), QStringLiteral("us-ascii"), stored});
    EXPECT_EQ(result.out, QByteArray("a [?] b"));
    result = runCli({QStringLiteral("eval"), QStringLiteral("--display"), stored});
    EXPECT_EQ(result.out, QByteArray("a [\xc3\xa9] b"));
}

TEST(HXCLIEvalCommandTest, DashesAndUsageErrors)
{
    EXPECT_EQ(runCli({QStringLiteral("eval"), QStringLiteral("--"), QStringLiteral("--x")}).out, QByteArray("--x"));
    EXPECT_EQ(runCli({QStringLiteral("eval"), QStringLiteral("--"), QString()}).out, QByteArray());
    EXPECT_EQ(runCli({QStringLiteral("eval"), QStringLiteral("-")}).out, QByteArray("-"));

    Result result = runCli({QStringLiteral("eval"), QStringLiteral("--x")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.err.contains("--x"));
    EXPECT_EQ(runCli({QStringLiteral("eval")}).exitCode, 2);
    EXPECT_EQ(runCli({QStringLiteral("eval"), QStringLiteral("a"), QStringLiteral("b")}).exitCode, 2);
    result =
        runCli({QStringLiteral("eval"), QStringLiteral("--encoding"), QStringLiteral("klingon"), QStringLiteral("x")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.out.isEmpty());
}
