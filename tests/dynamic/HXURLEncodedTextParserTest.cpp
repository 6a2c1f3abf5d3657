#include "HXURLEncodedTextParser.h"

#include <gtest/gtest.h>

namespace {

using Marks = QList<std::tuple<int, qsizetype, qsizetype>>;

Marks marksFor(const QString &text)
{
    HXURLEncodedTextParser parser;
    parser.setStringBlock([text] { return HXDynamicString(text); });
    Marks marks;
    parser.applyAttributesInRange({0, text.size()}, [&](int style, HXTextRange range) {
        marks.append({style, range.location, range.length});
    });
    return marks;
}

} // namespace

TEST(HXURLEncodedTextParserTest, KeysAndValuesAlternateOverTheFlatList)
{
    EXPECT_EQ(marksFor(QStringLiteral("a=1&bb=22")),
              (Marks{{0, 0, 9}, {19, 0, 1}, {32, 2, 1}, {19, 4, 2}, {32, 7, 2}}));
    // A pair without "=" adds only a key, so the colours after it swap.
    EXPECT_EQ(marksFor(QStringLiteral("x&a=1")), (Marks{{0, 0, 5}, {19, 0, 1}, {32, 2, 1}, {19, 4, 1}}));
    EXPECT_EQ(marksFor(QString()), (Marks{{0, 0, 0}}));
    // An empty pair between two separators counts too; a trailing "&" adds nothing.
    EXPECT_EQ(marksFor(QStringLiteral("a&&b=")), (Marks{{0, 0, 5}, {19, 0, 1}, {32, 2, 0}, {19, 3, 1}, {32, 5, 0}}));
    EXPECT_EQ(marksFor(QStringLiteral("a=b=c&")), (Marks{{0, 0, 6}, {19, 0, 1}, {32, 2, 3}}));
}

TEST(HXURLEncodedTextParserTest, KeyPathFindsThePairOfARange)
{
    QString text = QStringLiteral("a=1&bb=22");
    HXURLEncodedTextParser parser;
    parser.setStringBlock([&] { return HXDynamicString(text); });
    HXTextRange pair;
    EXPECT_EQ(parser.keyPathForObjectAtRange({5, 0}, &pair), QStringLiteral("pairs.1"));
    EXPECT_EQ(pair, (HXTextRange{4, 5}));
    EXPECT_EQ(parser.keyPathForObjectAtRange({0, 3}, &pair), QStringLiteral("pairs.0"));
    EXPECT_EQ(pair, (HXTextRange{0, 3}));
    EXPECT_EQ(parser.keyPathForObjectAtRange({2, 4}, &pair), QString());

    // Results are kept until the text is invalidated.
    text = QStringLiteral("zzzzzzzzzzzzzzzz");
    EXPECT_EQ(parser.keyPathForObjectAtRange({5, 0}, &pair), QStringLiteral("pairs.1"));
    parser.invalidateString();
    EXPECT_EQ(parser.keyPathForObjectAtRange({5, 0}, &pair), QStringLiteral("pairs.0"));
    EXPECT_EQ(pair, (HXTextRange{0, 16}));
}
