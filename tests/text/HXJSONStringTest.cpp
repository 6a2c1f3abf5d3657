#include "HXJSONString.h"
#include "HXJSONPrintingPreferences.h"
#include "HXUserDefaults.h"
#include "HXXMLString.h"

#include <gtest/gtest.h>

TEST(HXJSONStringTest, EscapesExactly)
{
    const QString text = QStringLiteral(u"a\"b\\c/d\b\t\n\f\r\x01 é\u0080\u0081\U0001F600");
    EXPECT_EQ(HXJSONString::escapeJSONStringWithRange(text, {0, text.size()}, false, false),
              QStringLiteral(u"a\\\"b\\\\c/d\\b\\t\\n\\f\\r\x01 é\u0080\u0081\U0001F600"));
    EXPECT_EQ(HXJSONString::escapeJSONStringWithRange(text, {0, text.size()}, true, true),
              QStringLiteral(u"a\\\"b\\\\c\\/d\\b\\t\\n\\f\\r\x01 \\u00e9\u0080\\u0081\\ud83d\\ude00"));
    // Only the range is escaped.
    EXPECT_EQ(HXJSONString::escapeJSONStringWithRange(QStringLiteral("x/y\"z"), {1, 3}, false, true),
              QStringLiteral("\\/y\\\""));
}

TEST(HXJSONStringTest, UnescapesExactlyAndRejectsUnknownEscapes)
{
    auto unescape = [](const QString &text) {
        return HXJSONString::unescapedJSONStringWithRange(text, {0, text.size()});
    };
    EXPECT_EQ(unescape(QStringLiteral(R"(a\"\/\\\b\f\n\r\tz)")), QStringLiteral("a\"/\\\b\f\n\r\tz"));
    EXPECT_EQ(unescape(QStringLiteral(R"(\u00E9\u00e9\ud83d\ude00)")), QStringLiteral(u"éé\U0001F600"));
    // A lone surrogate stays one unit; a lenient scan stops at the first non-hex digit.
    EXPECT_EQ(unescape(QStringLiteral(R"(\uDBFFx)"))->size(), 2);
    EXPECT_EQ(unescape(QStringLiteral(R"(\u41zzB)")), QStringLiteral("AB"));
    EXPECT_EQ(unescape(QStringLiteral(R"(\u4)")), QStringLiteral("\x04"));
    EXPECT_EQ(unescape(QStringLiteral(R"(plain)")), QStringLiteral("plain"));
    EXPECT_FALSE(unescape(QStringLiteral(R"(bad\x)")));
    EXPECT_FALSE(unescape(QStringLiteral(R"(end\)")));
    EXPECT_EQ(HXJSONString::unescapedJSONStringWithRange(QStringLiteral(R"("a\nb")"), {1, 4}), QStringLiteral("a\nb"));
}

TEST(HXJSONStringTest, PrettyPrintsWithTheJSONSettings)
{
    const QString text = QStringLiteral(u"{\"b\":\"\\u00e9/\",\"a\":[1,{}]}");
    HXJSONPrintingSettings settings;
    EXPECT_EQ(HXJSONString::stringByPrettyPrintingJSON(text, settings),
              QStringLiteral(u"{\n  \"b\": \"é/\",\n  \"a\": [\n    1,\n    {}\n  ]\n}"));

    settings.sortKeys = true;
    settings.indentWithSpaces = false;
    settings.escapeForwardSlashes = true;
    settings.escapeUnicodeCharacters = true;
    EXPECT_EQ(HXJSONString::stringByPrettyPrintingJSON(text, settings),
              QStringLiteral("{\n\t\"a\": [\n\t\t1,\n\t\t{}\n\t],\n\t\"b\": \"\\u00e9\\/\"\n}"));

    settings.prettyPrint = false;
    EXPECT_EQ(HXJSONString::stringByPrettyPrintingJSON(text, settings),
              QStringLiteral("{\"a\":[1,{}],\"b\":\"\\u00e9\\/\"}"));
    EXPECT_TRUE(HXJSONString::stringByPrettyPrintingJSON(QStringLiteral(" "), settings).isNull());
}

TEST(HXJSONStringTest, ReadsTheUserDefaults)
{
    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    const QString text = QStringLiteral("{\"b\":1,\"a\":2}");
    EXPECT_EQ(HXJSONString::stringByPrettyPrintingJSON(text, HXJSONPrintingPreferences::standardSettings()),
              QStringLiteral("{\n  \"b\": 1,\n  \"a\": 2\n}"));

    defaults.setBool(true, QStringLiteral("HXUserDefaultJSONSortKeys"));
    defaults.setInteger(4, QStringLiteral("HXUserDefaultJSONIndentSize"));
    EXPECT_EQ(HXJSONString::stringByPrettyPrintingJSON(text, HXJSONPrintingPreferences::standardSettings()),
              QStringLiteral("{\n    \"a\": 2,\n    \"b\": 1\n}"));
    defaults.setBool(false, QStringLiteral("HXUserDefaultJSONPrettyPrint"));
    EXPECT_EQ(HXJSONString::stringByPrettyPrintingJSON(text, HXJSONPrintingPreferences::standardSettings()),
              QStringLiteral("{\"a\":2,\"b\":1}"));

    defaults.removeObjectForKey(QStringLiteral("HXUserDefaultJSONSortKeys"));
    defaults.removeObjectForKey(QStringLiteral("HXUserDefaultJSONIndentSize"));
    defaults.removeObjectForKey(QStringLiteral("HXUserDefaultJSONPrettyPrint"));
}

TEST(HXJSONStringTest, PrettyPrintsXMLOrGivesTheTextBack)
{
    EXPECT_EQ(HXXMLString::stringByPrettyPrintingXML(QStringLiteral(u"<a x=\"1\"><b>é</b>  <c/></a>")),
              QStringLiteral(u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a x=\"1\">\n  <b>é</b>\n  <c/>\n</a>\n"));
    for (const QString &text : {QStringLiteral("{\"a\":1}"), QStringLiteral("<a><b></a>"), QString()})
        EXPECT_EQ(HXXMLString::stringByPrettyPrintingXML(text), text);

    EXPECT_EQ(HXXMLString::prettyPrintXML("<a><b/></a>", "\t"),
              QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>\n\t<b/>\n</a>\n"));
    // External entities are never fetched.
    const QByteArray entity = "<!DOCTYPE a [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><a>&e;</a>";
    const std::optional<QByteArray> printed = HXXMLString::prettyPrintXML(entity);
    ASSERT_TRUE(printed);
    EXPECT_FALSE(printed->contains("root:"));
}
