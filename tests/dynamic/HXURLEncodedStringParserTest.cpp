#include "HXURLEncodedStringParser.h"
#include "HXDynamicTestKinds.h"
#include "HXDynamicValueEngine.h"

#include <gtest/gtest.h>

namespace {

using Options = HXURLEncodedStringParser::Options;
using Rows = QList<std::pair<QString, QString>>;

Rows rowsOf(const QString &text, const Options &options = {})
{
    Rows rows;
    for (const HXURLEncodedRow &row : HXURLEncodedStringParser::rowsForString(HXDynamicString(text), options))
        rows.append({row.name.string(), row.value.string()});
    return rows;
}

QString textOf(const Rows &rows, const Options &options = {})
{
    QList<HXURLEncodedRow> typed;
    for (const auto &[name, value] : rows)
        typed.append({HXDynamicString(name), HXDynamicString(value), true});
    return HXURLEncodedStringParser::stringForRows(typed, options).string();
}

Rows pairs(std::initializer_list<std::pair<const char16_t *, const char16_t *>> list)
{
    Rows rows;
    for (const auto &[name, value] : list)
        rows.append({QString::fromUtf16(name), QString::fromUtf16(value)});
    return rows;
}

} // namespace

TEST(HXURLEncodedStringParserTest, TextToRows)
{
    EXPECT_EQ(rowsOf(QStringLiteral("a=1&b")), pairs({{u"a", u"1"}, {u"b", u""}}));
    EXPECT_EQ(rowsOf(QStringLiteral("=x")), pairs({{u"", u"x"}}));
    EXPECT_TRUE(rowsOf(QStringLiteral("&&")).isEmpty());
    EXPECT_TRUE(rowsOf(QString()).isEmpty());
    EXPECT_EQ(rowsOf(QStringLiteral("a=1&&b=2")), pairs({{u"a", u"1"}, {u"b", u"2"}}));
    EXPECT_EQ(rowsOf(QStringLiteral("a=b=c&d=")), pairs({{u"a", u"b=c"}, {u"d", u""}}));
    EXPECT_EQ(rowsOf(QStringLiteral("a=%20+b")), pairs({{u"a", u" +b"}}));
    Options plus;
    plus.usePlusForSpaces = true;
    EXPECT_EQ(rowsOf(QStringLiteral("a=%20+b"), plus), pairs({{u"a", u"  b"}}));
    EXPECT_EQ(rowsOf(QStringLiteral("%C3%A9=%E2%82%AC")), pairs({{u"\u00e9", u"\u20ac"}}));
    // Invalid escapes are kept as they are.
    EXPECT_EQ(rowsOf(QStringLiteral("a=%zz&b=%FF")), pairs({{u"a", u"%zz"}, {u"b", u"%FF"}}));
}

TEST(HXURLEncodedStringParserTest, TextToRowsWithPathAndOtherSeparators)
{
    Options withPath;
    withPath.withPath = true;
    EXPECT_TRUE(rowsOf(QStringLiteral("http://h/p"), withPath).isEmpty());
    EXPECT_TRUE(rowsOf(QStringLiteral("http://h/p?"), withPath).isEmpty());
    EXPECT_EQ(rowsOf(QStringLiteral("http://h/p?a=1&b=?"), withPath), pairs({{u"a", u"1"}, {u"b", u"?"}}));

    Options custom;
    custom.objectsSeparator = QStringLiteral(";");
    custom.valueSeparator = QStringLiteral(":");
    custom.addEmptyRowIfNecessary = true;
    EXPECT_EQ(rowsOf(QStringLiteral("a:1;b:2&c"), custom), pairs({{u"a", u"1"}, {u"b", u"2&c"}, {u"", u""}}));
}

TEST(HXURLEncodedStringParserTest, RowsToText)
{
    Options withURL;
    withURL.pathFromURLValue = QVariant::fromValue(HXDynamicString(QStringLiteral("http://h")));
    EXPECT_EQ(textOf(pairs({{u"a", u"1"}, {u"b", u""}}), withURL), QStringLiteral("http://h/?a=1&b="));
    withURL.pathFromURLValue = QVariant::fromValue(HXDynamicString(QStringLiteral("http://h/p?old=1")));
    EXPECT_EQ(textOf(pairs({{u"a", u"1"}}), withURL), QStringLiteral("http://h/p?a=1"));
    // No rows: just the URL's front part.
    EXPECT_EQ(textOf({}, withURL), QStringLiteral("http://h/p"));

    EXPECT_EQ(textOf(pairs({{u"a b", u"&="}, {u"", u""}, {u"", u"v"}})), QStringLiteral("a%20b=%26%3D&=v"));
    Options plus;
    plus.usePlusForSpaces = true;
    EXPECT_EQ(textOf(pairs({{u"a b", u"c d"}}), plus), QStringLiteral("a+b=c+d"));
}

TEST(HXURLEncodedStringParserTest, RoundTripsRowsThroughText)
{
    const Rows rows = pairs({{u"q", u"a b&c=d"}, {u"\u00e9t\u00e9", u"100%"}, {u"x[]", u"[1]"}, {u"e", u""}});
    for (const bool plus : {false, true}) {
        Options options;
        options.usePlusForSpaces = plus;
        EXPECT_EQ(rowsOf(textOf(rows, options), options), rows) << plus;
    }
}

TEST(HXURLEncodedStringParserTest, GenericRowsHonourTransformerAndEnabledKey)
{
    HXDynamicTest::registerTestKinds();
    auto marker = HXDynamicTest::echo(QStringLiteral("m"));
    HXDynamicString value(QStringLiteral("v "));
    value.appendDynamicValue(marker);

    Options options;
    options.valueTransformer = HXURLEncodedStringParser::archivedStringTransformer();
    options.enabledKey = QStringLiteral("enabled");
    const QList<QVariantMap> rows = {
        {{QStringLiteral("name"), QStringLiteral("a")},
         {QStringLiteral("value"), HXDynamicValueEngine::archiveAttributedString(value)},
         {QStringLiteral("enabled"), true}},
        {{QStringLiteral("name"), QStringLiteral("off")},
         {QStringLiteral("value"), QStringLiteral("1")},
         {QStringLiteral("enabled"), false}},
        {{QStringLiteral("name"), QStringLiteral("b")}, {QStringLiteral("value"), QStringLiteral("2")}},
    };
    const QVariant text = HXURLEncodedStringParser::attributesStringValueForArray(rows, options);
    ASSERT_EQ(text.typeId(), QMetaType::QString);
    const HXDynamicString written = HXDynamicValueEngine::unarchiveAttributedString(text.toString());
    EXPECT_EQ(written.string(), QStringLiteral("a=v%20\uFFFC&b=2"));
    ASSERT_TRUE(written.attachmentAt(6));
    EXPECT_TRUE(written.attachmentAt(6)->dynamicValue()->isEqual(*marker));

    // Back to rows: the token is still one intact character in the value.
    options.addEmptyRowIfNecessary = true;
    const QList<QVariantMap> back = HXURLEncodedStringParser::arrayForAttributesStringValue(text, options);
    ASSERT_EQ(back.size(), 3);
    EXPECT_EQ(back[0].value(QStringLiteral("value")).toString(), HXDynamicValueEngine::archiveAttributedString(value));
    EXPECT_EQ(back[1].value(QStringLiteral("name")).toString(), QStringLiteral("b"));
    EXPECT_EQ(back[2].value(QStringLiteral("name")).toString(), QString());
    EXPECT_EQ(back[2].value(QStringLiteral("value")).toString(), QString());
}

TEST(HXURLEncodedStringParserTest, URLColouring)
{
    using Marks = QList<std::tuple<int, qsizetype, qsizetype>>;
    // One parser for all three: colouring reads the current text every time.
    HXURLEncodedStringParser parser;
    QString current;
    parser.setStringBlock([&] { return HXDynamicString(current); });
    const auto marksFor = [&](const QString &text) {
        current = text;
        Marks marks;
        parser.applyAttributesInRange({0, text.size()}, [&](int style, HXTextRange range) {
            marks.append({style, range.location, range.length});
        });
        return marks;
    };
    EXPECT_EQ(marksFor(QStringLiteral("https://example.com/a/b?x=1")),
              (Marks{{0, 0, 27}, {272, 0, 5}, {32, 5, 3}, {48, 8, 11}, {67, 19, 4}}));
    EXPECT_EQ(marksFor(QStringLiteral("http://h")), (Marks{{0, 0, 8}, {16, 0, 4}, {32, 4, 3}, {48, 7, 1}}));
    EXPECT_EQ(marksFor(QStringLiteral("ftp://h")), (Marks{{0, 0, 7}}));
}
