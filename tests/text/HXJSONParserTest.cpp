#include "HXJSONParser.h"
#include "HXJSONArray.h"
#include "HXJSONDict.h"
#include "HXJSONDictKey.h"
#include "HXJSONOutput.h"
#include "HXJSONPrimitive.h"
#include "HXJSONString.h"
#include "HXJSONTestText.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

QString print(const QString &text, const std::function<void(HXJSONParser &)> &configure = {})
{
    return HXJSONParser::prettyPrintJSONString(text, configure);
}

void prettyTwoSpaces(HXJSONParser &parser)
{
    parser.printer().setNewlines(true);
    parser.printer().setIndentString(QStringLiteral("  "));
}

} // namespace

TEST(HXJSONParserTest, BuildsTheTreeWithRangesAndPlainValues)
{
    const QString text = QStringLiteral(R"({"a":1, "b":[true,null]})");
    HXJSONParser parser(text);
    const auto root = std::dynamic_pointer_cast<HXJSONDict>(parser.parseWithError());
    ASSERT_TRUE(root);
    EXPECT_EQ(root->range(), (HXJSONRange{0, text.size()}));
    EXPECT_EQ(root->tokenRange(), (HXJSONRange{0, HXJSONRange::NotFound}));

    const auto items = root->items();
    ASSERT_EQ(items.size(), 4);
    const auto keyA = std::dynamic_pointer_cast<HXJSONDictKey>(items[0]);
    const auto one = std::dynamic_pointer_cast<HXJSONPrimitive>(items[1]);
    const auto keyB = std::dynamic_pointer_cast<HXJSONDictKey>(items[2]);
    const auto array = std::dynamic_pointer_cast<HXJSONArray>(items[3]);
    ASSERT_TRUE(keyA && one && keyB && array);
    EXPECT_EQ(keyA->value(), u"a");
    EXPECT_EQ(keyA->range(), (HXJSONRange{2, 1})); // between the quotes
    EXPECT_EQ(keyA->tokenRange(), (HXJSONRange{1, 1}));
    EXPECT_EQ(one->primitiveType(), HXJSONPrimitive::Number);
    EXPECT_EQ(one->range(), (HXJSONRange{5, 1}));
    EXPECT_EQ(array->range(), (HXJSONRange{12, 11}));
    EXPECT_EQ(array->tokenRange(), (HXJSONRange{4, HXJSONRange::NotFound}));

    const auto elements = array->items();
    ASSERT_EQ(elements.size(), 2);
    EXPECT_EQ(std::dynamic_pointer_cast<HXJSONPrimitive>(elements[0])->primitiveType(), HXJSONPrimitive::True);
    EXPECT_EQ(std::dynamic_pointer_cast<HXJSONPrimitive>(elements[1])->primitiveType(), HXJSONPrimitive::Null);

    const QVariantMap plain = root->cfObject().toMap();
    EXPECT_EQ(plain.value(QStringLiteral("a")), QVariant(qlonglong(1)));
    const QVariantList list = plain.value(QStringLiteral("b")).toList();
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list[0], QVariant(true));
    EXPECT_EQ(list[1].metaType(), QMetaType::fromType<std::nullptr_t>());
}

TEST(HXJSONParserTest, RangesCountUTF16UnitsOfTheText)
{
    // é is one unit (two bytes), the emoji two units (four bytes).
    const QString text = QStringLiteral(u"[\"é\U0001F600\", \"x\", 12]");
    HXJSONParser parser(text);
    const auto root = std::dynamic_pointer_cast<HXJSONArray>(parser.parseWithError());
    ASSERT_TRUE(root);
    const auto items = root->items();
    ASSERT_EQ(items.size(), 3);
    EXPECT_EQ(items[0]->range(), (HXJSONRange{2, 3}));
    EXPECT_EQ(text.mid(items[1]->range().location, 1), u"x");
    EXPECT_EQ(text.mid(items[2]->range().location, 2), u"12");
    EXPECT_EQ(items[0]->cfObject().toString(), QStringLiteral(u"é\U0001F600"));
    EXPECT_EQ(root->range().length, text.size());
}

TEST(HXJSONParserTest, PrintsWithDefaultAndPrettySettings)
{
    const QString text = QStringLiteral("{ \"a\" : 1,\n \"b\": [true, null, \"x\\/y\\u00e9\"], \"c\": {}, \"d\": [] }");
    EXPECT_EQ(print(text), QString::fromUtf8(HXJSONWithoutWhitespace(text.toUtf8())));
    EXPECT_EQ(print(text, prettyTwoSpaces), QStringLiteral("{\n"
                                                           "  \"a\":1,\n"
                                                           "  \"b\":[\n"
                                                           "    true,\n"
                                                           "    null,\n"
                                                           "    \"x\\/y\\u00e9\"\n"
                                                           "  ],\n"
                                                           "  \"c\":{},\n"
                                                           "  \"d\":[]\n"
                                                           "}"));
    // Separators and an indent without newlines, as configured.
    EXPECT_EQ(print(QStringLiteral("[1,{\"k\":2}]"),
                    [](HXJSONParser &parser) {
                        parser.printer().setIndentString(QStringLiteral("."));
                        parser.printer().setObjectSeparator(QStringLiteral(", "));
                        parser.printer().setKeyValueSeparator(QStringLiteral(" = "));
                    }),
              QStringLiteral("[.1, .{..\"k\" = 2.}]"));
    // An item printed at a deeper level indents relative to that level.
    HXJSONParser parser(QStringLiteral("[1]"));
    prettyTwoSpaces(parser);
    EXPECT_EQ(parser.jsonStringForItem(*parser.parseWithError(), 2), QStringLiteral("[\n      1\n    ]"));
}

TEST(HXJSONParserTest, SortsMembersByKeyKeepingValuesWithTheirKeys)
{
    const QString text = QStringLiteral(R"({"b":[2,{"z":1,"y":2}],"a":"first","B":null,"a":"second"})");
    EXPECT_EQ(print(text, [](HXJSONParser &parser) { parser.printer().setSortDictKeys(true); }),
              QStringLiteral(R"({"B":null,"a":"first","a":"second","b":[2,{"y":2,"z":1}]})"));
    // Without sorting the text order stays; the later duplicate wins in the plain value.
    HXJSONParser parser(text);
    EXPECT_EQ(parser.parseWithError()->cfObject().toMap().value(QStringLiteral("a")),
              QVariant(QStringLiteral("second")));
}

TEST(HXJSONParserTest, StringOptionsReescapeValuesButNeverKeys)
{
    const QString text = QStringLiteral(u"{\"k\\u00e9/\":\"é\u0080/\\u00e9\\n\\/\"}");
    auto withOptions = [&](uint options) {
        return print(text, [options](HXJSONParser &parser) { parser.printer().setStringOptions(options); });
    };
    EXPECT_EQ(withOptions(0), text);
    EXPECT_EQ(withOptions(0x01), QStringLiteral(u"{\"k\\u00e9/\":\"\\u00e9\u0080\\/\\u00e9\\n\\/\"}"));
    EXPECT_EQ(withOptions(0x22), QStringLiteral(u"{\"k\\u00e9/\":\"é\u0080/é\\n/\"}"));
    EXPECT_EQ(withOptions(0x12), QStringLiteral(u"{\"k\\u00e9/\":\"é\u0080\\/é\\n\\/\"}"));
    EXPECT_EQ(withOptions(0x21), QStringLiteral(u"{\"k\\u00e9/\":\"\\u00e9\u0080/\\u00e9\\n/\"}"));

    HXJSONParser parser(text);
    const auto root = std::dynamic_pointer_cast<HXJSONDict>(parser.parseWithError());
    ASSERT_TRUE(root);
    EXPECT_EQ(root->items()[0]->cfObject().toString(), QStringLiteral("k\\u00e9/"));
    EXPECT_EQ(root->cfObject().toMap().firstKey(), QStringLiteral("k\\u00e9/"));
    EXPECT_EQ(root->items()[1]->cfObject().toString(), QStringLiteral(u"é\u0080/é\n/"));
}

TEST(HXJSONParserTest, ReescapedStringsMatchTheStringFunctions)
{
    // The printer re-escapes on UTF-8 bytes; it must give what unescaping and
    // escaping the UTF-16 text gives, for every option.
    const QByteArray contents[] = {
        "plain",
        "a/b\\/c",
        "\\\"\\\\\\b\\f\\n\\r\\t",
        "\\u0000\\u001f\\u0020\\u007f",
        "\x01\x1f raw controls",
        "\\u0080\\u0081\\u00e9\\u0800\\uFFFF",
        "\xc2\x80\xc2\x81\xc3\xa9\xe6\x97\xa5\xf0\x9f\x98\x80",
        "\\ud83d\\ude00 pair",
        "\\udbff lone high",
        "\\udc00 lone low",
        "\\u002F\\u005c\\u0022",
        "\xef\xbf\xbf end",
    };
    const uint options[] = {0x11, 0x12, 0x21, 0x22, 0x01, 0x02};
    for (const QByteArray &content : contents) {
        const QString raw = QString::fromUtf8(content);
        const std::optional<QString> value = HXJSONString::unescapedJSONStringWithRange(raw, {0, raw.size()});
        ASSERT_TRUE(value) << content.constData();
        for (const uint option : options) {
            auto parser = HXJSONParser::fromUtf8("[\"" + content + "\"]");
            parser->printer().setStringOptions(option);
            HXJSONOutput output;
            ASSERT_TRUE(parser->printRoot(output));
            const QString expected = QStringLiteral("[\"") +
                                     HXJSONString::escapeJSONStringWithRange(*value, {0, value->size()},
                                                                             (option & 0xF) != 2, (option >> 4) != 2) +
                                     QStringLiteral("\"]");
            EXPECT_EQ(output.takeBytes(), expected.toUtf8()) << content.constData() << " options " << option;
        }
    }
}

TEST(HXJSONParserTest, TopLevelScalarsAndEmptyTexts)
{
    HXJSONParser string(QStringLiteral(" \"a\\tb\" "));
    const auto primitive = std::dynamic_pointer_cast<HXJSONPrimitive>(string.parseWithError());
    ASSERT_TRUE(primitive);
    EXPECT_EQ(primitive->primitiveType(), HXJSONPrimitive::String);
    EXPECT_EQ(primitive->value(), QVariant(QStringLiteral("a\tb")));
    EXPECT_EQ(primitive->range(), (HXJSONRange{2, 4}));
    EXPECT_EQ(string.stringForItem(*primitive), QStringLiteral("\"a\\tb\""));

    struct Case
    {
        const char *text;
        HXJSONPrimitive::PrimitiveType type;
        QVariant value;
    };
    const Case cases[] = {
        {"-12", HXJSONPrimitive::Number, qlonglong(-12)},
        {"2.5e3", HXJSONPrimitive::Number, 2500.0},
        {"12345678901234567890", HXJSONPrimitive::Number, 12345678901234567890.0},
        {"1e-400", HXJSONPrimitive::Number, 0.0},
        {"1.2.3", HXJSONPrimitive::Number, QVariant()},
        {"false", HXJSONPrimitive::False, false},
        {"nope", HXJSONPrimitive::Null, QVariant::fromValue(nullptr)},
        {"xyz", HXJSONPrimitive::String, QVariant()},
    };
    for (const Case &c : cases) {
        HXJSONParser parser(QString::fromLatin1(c.text));
        const auto item = std::dynamic_pointer_cast<HXJSONPrimitive>(parser.parseWithError());
        ASSERT_TRUE(item) << c.text;
        EXPECT_EQ(item->primitiveType(), c.type) << c.text;
        EXPECT_EQ(item->value(), c.value) << c.text;
        EXPECT_EQ(parser.stringForItem(*item), QString::fromLatin1(c.text));
    }

    HXError error(QStringLiteral("x"), 1, QStringLiteral("stale"));
    HXJSONParser empty(QStringLiteral("  "));
    EXPECT_EQ(empty.parseWithError(&error), nullptr);
    EXPECT_TRUE(error.isNull());
    EXPECT_TRUE(HXJSONParser::prettyPrintJSONString(QStringLiteral("]"), {}).isNull());

    HXJSONParser missing{QString()};
    EXPECT_THROW((void)missing.parseWithError(), std::invalid_argument);
}

TEST(HXJSONParserTest, MalformedTextGivesTheTreeOfItsWellFormedPrefix)
{
    // Unclosed containers stay open and run to the end of the text.
    HXJSONParser parser(QStringLiteral(R"({"a":[1,2,{"b":tru)"));
    const auto root = std::dynamic_pointer_cast<HXJSONDict>(parser.parseWithError());
    ASSERT_TRUE(root);
    EXPECT_FALSE(parser.isWellFormed());
    EXPECT_EQ(root->range(), (HXJSONRange{0, 18}));
    EXPECT_EQ(parser.stringForItem(*root), QStringLiteral(R"({"a":[1,2,{"b":tru}]})"));

    // Text after the first container does not replace it as the root.
    HXJSONParser trailing(QStringLiteral("[1] [2] x"));
    EXPECT_EQ(trailing.stringForItem(*trailing.parseWithError()), QStringLiteral("[1]"));
    EXPECT_FALSE(trailing.isWellFormed());

    // An invalid character ends tokenizing; what came before remains.
    HXJSONParser stopped(QStringLiteral("[1,\"a\",\x01 2]"));
    EXPECT_EQ(stopped.stringForItem(*stopped.parseWithError()), QStringLiteral("[1,\"a\"]"));

    HXJSONParser good(QStringLiteral(" {\"a\": [1]} "));
    (void)good.parseWithError();
    EXPECT_TRUE(good.isWellFormed());
}

TEST(HXJSONParserTest, EveryPrefixOfADocumentParsesSafely)
{
    const QByteArray text = R"({"name":"k\u00e9a \"x\"","list":[1,-2.5e3,true,false,null,{"n":[]}],"e":{},"z":"é"})";
    for (qsizetype split = 0; split <= text.size(); ++split) {
        const QByteArray prefix = text.left(split);
        auto parser = HXJSONParser::fromUtf8(prefix);
        const auto root = parser->parseWithError();
        const QString string = parser->string();
        if (root) {
            const HXJSONRange range = root->range();
            EXPECT_GE(range.location, 0);
            EXPECT_LE(range.end(), string.size()) << split;
            HXJSONOutput output;
            ASSERT_TRUE(parser->printRoot(output));
            const QByteArray printed = output.takeBytes();
            if (parser->isWellFormed()) {
                EXPECT_EQ(printed, HXJSONWithoutWhitespace(prefix)) << split;
            }
            (void)root->cfObject();
        }
    }
}

TEST(HXJSONParserTest, GrowsTheTokenBufferForLargeTexts)
{
    QByteArray text = "[";
    for (int i = 0; i < 150000; ++i)
        text += (i ? "," : "") + QByteArray::number(i);
    text += "]";
    auto parser = HXJSONParser::fromUtf8(text);
    const auto root = std::dynamic_pointer_cast<HXJSONArray>(parser->parseWithError());
    ASSERT_TRUE(root);
    const QVariantList list = root->cfObject().toList();
    ASSERT_EQ(list.size(), 150000);
    EXPECT_EQ(list.last(), QVariant(qlonglong(149999)));
    HXJSONOutput output;
    ASSERT_TRUE(parser->printRoot(output));
    EXPECT_EQ(output.takeBytes(), text);
}

TEST(HXJSONParserTest, DeepNestingFallsBackToVerbatimText)
{
    const int depth = 100000;
    const int limit = HXJSONParser::maximumNestingDepth;
    const QByteArray text = QByteArray(depth, '[') + QByteArray(depth, ']');
    auto parser = HXJSONParser::fromUtf8(text);
    const auto root = parser->parseWithError();
    ASSERT_TRUE(root);
    EXPECT_TRUE(parser->isWellFormed());
    HXJSONOutput compact;
    ASSERT_TRUE(parser->printRoot(compact));
    EXPECT_EQ(compact.takeBytes(), text);

    // The tree stops at the limit; the rest is one verbatim item.
    std::shared_ptr<HXJSONItem> item = root;
    int levels = 0;
    while (const auto array = std::dynamic_pointer_cast<HXJSONArray>(item)) {
        ASSERT_EQ(array->items().size(), 1);
        item = array->items().first();
        ++levels;
    }
    EXPECT_EQ(levels, limit);
    const auto verbatim = std::dynamic_pointer_cast<HXJSONPrimitive>(item);
    ASSERT_TRUE(verbatim);
    EXPECT_FALSE(verbatim->value().isValid());
    EXPECT_EQ(verbatim->range(), (HXJSONRange{limit, 2 * (depth - limit)}));

    parser->printer().setNewlines(true);
    parser->printer().setIndentString(QStringLiteral(" "));
    HXJSONOutput pretty;
    ASSERT_TRUE(parser->printRoot(pretty));
    const QByteArray printed = pretty.takeBytes();
    EXPECT_EQ(printed.count('\n'), 2 * limit);
    EXPECT_TRUE(printed.startsWith("[\n ["));
    EXPECT_EQ(HXJSONWithoutWhitespace(printed), text);
    (void)root->cfObject();

    // Brackets inside strings (after escaped quotes and backslashes too) do
    // not count; objects nest too.
    QByteArray mixed;
    for (int i = 0; i < limit + 5; ++i)
        mixed += "{\"k]\\\"[\":[\"[{\\\\\",";
    mixed += "1";
    for (int i = 0; i < limit + 5; ++i)
        mixed += "]}";
    auto mixedParser = HXJSONParser::fromUtf8(mixed);
    ASSERT_TRUE(mixedParser->parseWithError());
    EXPECT_TRUE(mixedParser->isWellFormed());
    HXJSONOutput mixedOutput;
    ASSERT_TRUE(mixedParser->printRoot(mixedOutput));
    EXPECT_EQ(mixedOutput.takeBytes(), mixed);
    item = mixedParser->root();
    levels = 0;
    for (;;) {
        QList<std::shared_ptr<HXJSONItem>> children;
        if (const auto dict = std::dynamic_pointer_cast<HXJSONDict>(item))
            children = dict->items();
        else if (const auto array = std::dynamic_pointer_cast<HXJSONArray>(item))
            children = array->items();
        else
            break;
        item = children.last();
        ++levels;
    }
    EXPECT_EQ(levels, limit);

    // Quotes inside an unquoted token do not start a string for the
    // tokenizer, so they must not hide the brackets after them either.
    const QByteArray quoted = "[a\"" + QByteArray(",[").repeated(depth) + QByteArray(depth + 1, ']');
    auto quotedParser = HXJSONParser::fromUtf8(quoted);
    item = quotedParser->parseWithError();
    levels = 0;
    while (const auto array = std::dynamic_pointer_cast<HXJSONArray>(item)) {
        item = array->items().last();
        ++levels;
    }
    EXPECT_EQ(levels, limit);

    // The opening brackets of a truncated body: unclosed containers close.
    auto unclosed = HXJSONParser::fromUtf8(QByteArray(depth, '['));
    ASSERT_TRUE(unclosed->parseWithError());
    EXPECT_FALSE(unclosed->isWellFormed());
    HXJSONOutput output;
    ASSERT_TRUE(unclosed->printRoot(output));
    EXPECT_EQ(output.takeBytes(), QByteArray(depth, '[') + QByteArray(limit, ']'));
}

TEST(HXJSONParserTest, InvalidUTF8AndEmbeddedNulAreContained)
{
    auto parser = HXJSONParser::fromUtf8(QByteArray("[\"a\xff\xfe\", 1]", 10));
    const auto root = parser->parseWithError();
    ASSERT_TRUE(root);
    const QString text = parser->string();
    EXPECT_LE(root->range().end(), text.size());
    EXPECT_EQ(root->cfObject().toList().size(), 2);

    auto nul = HXJSONParser::fromUtf8(QByteArray("[1,\0 2]", 7));
    EXPECT_EQ(nul->stringForItem(*nul->parseWithError()), QStringLiteral("[1]"));
    EXPECT_FALSE(nul->isWellFormed());
}
