#include "HXShellQuoting.h"
#include "HXCodeGenerator.h"

#include <QProcess>

#include <gtest/gtest.h>

namespace {

QByteArray runBash(const QByteArray &script)
{
    QProcess bash;
    bash.start(QStringLiteral("bash"), {QStringLiteral("-c"), QString::fromLatin1(script)});
    bash.waitForFinished(10000);
    return bash.readAllStandardOutput();
}

// Every word is given to the real shell: what it hands to printf must be the
// bytes themselves.
TEST(ShellQuotingTest, TheShellReadsBackEveryByte)
{
    QByteArray allBytes;
    for (int byte = 1; byte < 256; ++byte)
        allBytes += char(byte);
    const QList<QByteArray> samples = {
        "plain",
        "",
        "two words",
        "it's",
        "'",
        "''",
        "\"$HOME\" `id` $(id) \\ !x",
        "%s %% %d",
        "tab\there",
        "line\nbreak\r\n",
        "\x1b[31mred",
        "caf\xc3\xa9",
        "\xff\xfe raw",
        "-n",
        allBytes,
    };
    for (const QByteArray &sample : samples) {
        SCOPED_TRACE(sample.toHex().toStdString());
        EXPECT_EQ(runBash("printf %s " + HXShellQuoting::quote(sample)), sample);
        EXPECT_EQ(runBash("printf " + HXShellQuoting::printfFormat(sample)), sample);
    }
    const QByteArray withNul("a\0b\0\xff", 5);
    EXPECT_EQ(runBash("printf " + HXShellQuoting::printfFormat(withNul)), withNul);
}

TEST(CodeGeneratorTest, CurlFollowsTheSettings)
{
    HXCodeRequest request;
    request.name = QStringLiteral("Make\nitem");
    request.method = "PATCH";
    request.url = "http://h/x";
    request.headers = {{"A", "1"}, {"Content-Type", "text/plain"}};
    request.body = "b";
    struct Row
    {
        HXCodeOptions options;
        QByteArray expected;
    };
    const QList<Row> rows = {
        {{false, false, false, false}, "curl -X PATCH -H 'A: 1' -H 'Content-Type: text/plain' -d b http://h/x\n"},
        {{true, true, false, false},
         "curl --verbose --request PATCH --header 'A: 1' --header 'Content-Type: text/plain' --data b http://h/x\n"},
        {{false, false, true, true},
         "# Make item\ncurl \\\n     -X PATCH \\\n     -H 'A: 1' \\\n     -H 'Content-Type: text/plain' \\\n     "
         "-d b \\\n     http://h/x\n"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(HXCodeGenerator::generate(HXCodeGenerator::Language::Curl, request, row.options), row.expected);
}

} // namespace
