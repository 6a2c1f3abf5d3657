#include "HXTestSupport.h"

#include "HXCLITestRunner.h"

#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class HXCLIFormatCommandTest : public ::testing::Test
{
protected:
    // Runs kea-cli with its own settings file, `input` on standard input.
    HXCLIRun format(const QStringList &arguments, const QByteArray &input = {})
    {
        return HXRunCLI(QStringList{QStringLiteral("--settings"), settingsPath(), QStringLiteral("format")} + arguments,
                        input);
    }
    QString settingsPath() const { return m_dir.filePath(QStringLiteral("settings.ini")); }
    QString filePath(const QString &name) const { return m_dir.filePath(name); }

private:
    QTemporaryDir m_dir;
};

const QByteArray kDocument = "{ \"b\" : [1, \"\\u00e9/\"],\n \"a\": {\"y\":null, \"x\":[]} }";

} // namespace

TEST_F(HXCLIFormatCommandTest, JSONWithTheDefaultsAndWithOptions)
{
    HXCLIRun result = format({QStringLiteral("json")}, kDocument);
    EXPECT_EQ(result.status, 0) << result.err.toStdString();
    EXPECT_EQ(result.out, QByteArray("{\n  \"b\": [\n    1,\n    \"\xc3\xa9/\"\n  ],\n"
                                     "  \"a\": {\n    \"y\": null,\n    \"x\": []\n  }\n}\n"));

    // --compact alone: the text without the whitespace between tokens.
    EXPECT_EQ(format({QStringLiteral("json"), QStringLiteral("--compact"), QStringLiteral("-")}, kDocument).out,
              QByteArray("{\"b\":[1,\"\\u00e9/\"],\"a\":{\"y\":null,\"x\":[]}}\n"));
    EXPECT_EQ(format({QStringLiteral("json"), QStringLiteral("--compact"), QStringLiteral("--sort-keys"),
                      QStringLiteral("--escape-slashes")},
                     kDocument)
                  .out,
              QByteArray("{\"a\":{\"x\":[],\"y\":null},\"b\":[1,\"\xc3\xa9\\/\"]}\n"));

    const QString file = filePath(QStringLiteral("body.json"));
    ASSERT_TRUE(HXTest::writeFile(file, "[\"\xc3\xa9\",{\"k\":1}]"));
    EXPECT_EQ(format({QStringLiteral("json"), QStringLiteral("--tabs"), QStringLiteral("--escape-unicode"), file}).out,
              QByteArray("[\n\t\"\\u00e9\",\n\t{\n\t\t\"k\": 1\n\t}\n]\n"));
    EXPECT_EQ(format({QStringLiteral("json"), QStringLiteral("--indent"), QStringLiteral("0"), file}).out,
              QByteArray("[\n\"\xc3\xa9\",\n{\n\"k\": 1\n}\n]\n"));
}

TEST_F(HXCLIFormatCommandTest, JSONFollowsTheSettingsFile)
{
    ASSERT_TRUE(HXTest::writeFile(settingsPath(), "[General]\nHXUserDefaultJSONSortKeys=true\n"
                                                  "HXUserDefaultJSONIndentSize=3\n"));
    EXPECT_EQ(format({QStringLiteral("json")}, "{\"b\":1,\"a\":2}").out,
              QByteArray("{\n   \"a\": 2,\n   \"b\": 1\n}\n"));
}

TEST_F(HXCLIFormatCommandTest, MalformedInputAndUsageErrors)
{
    HXCLIRun result = format({QStringLiteral("json")}, "[1, {\"a\": tru");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, QByteArray("[\n  1,\n  {\n    \"a\": tru\n  }\n]\n"));
    EXPECT_TRUE(result.err.contains("not well-formed JSON")) << result.err.toStdString();

    result = format({QStringLiteral("json")}, "   ");
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.out.isEmpty());

    const QStringList wrong[] = {
        {},
        {QStringLiteral("yaml")},
        {QStringLiteral("json"), QStringLiteral("--indent")},
        {QStringLiteral("json"), QStringLiteral("--indent"), QStringLiteral("99")},
        {QStringLiteral("json"), QStringLiteral("--indent"), QStringLiteral("2"), QStringLiteral("--tabs")},
        {QStringLiteral("json"), QStringLiteral("--compact"), QStringLiteral("--tabs")},
        {QStringLiteral("json"), QStringLiteral("--bogus")},
        {QStringLiteral("json"), QStringLiteral("a"), QStringLiteral("b")},
        {QStringLiteral("xml"), QStringLiteral("--sort-keys")},
        {QStringLiteral("json"), filePath(QStringLiteral("missing.json"))},
    };
    for (const QStringList &arguments : wrong) {
        result = format(arguments, "[]");
        EXPECT_EQ(result.status, 2) << arguments.join(u' ').toStdString();
        EXPECT_TRUE(result.err.startsWith("kea-cli: ")) << arguments.join(u' ').toStdString();
    }
}

TEST_F(HXCLIFormatCommandTest, XML)
{
    const QByteArray latin1 = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a><b>\xe9</b> <c/></a>";
    HXCLIRun result = format({QStringLiteral("xml")}, latin1);
    EXPECT_EQ(result.status, 0) << result.err.toStdString();
    EXPECT_EQ(result.out,
              QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>\n  <b>\xc3\xa9</b>\n  <c/>\n</a>\n"));
    EXPECT_EQ(format({QStringLiteral("xml"), QStringLiteral("--tabs")}, "<a><b/></a>").out,
              QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>\n\t<b/>\n</a>\n"));
    EXPECT_EQ(format({QStringLiteral("xml"), QStringLiteral("--compact")}, "<a>\n  <b/>\n</a>").out,
              QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a><b/></a>\n"));

    result = format({QStringLiteral("xml")}, "{\"not\": \"xml\"}");
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.err.contains("not well-formed XML"));
}
