#include "HXBodyFormatter.h"
#include "HXLargeTextView.h"

#include <gtest/gtest.h>

namespace {

TEST(ResponseBodyTest, FormatsByKindAndFallsBackToTheText)
{
    struct Case
    {
        const char *name;
        QByteArray body;
        HXResponse::BodyTextType type;
        HXStringEncoding encoding;
        const char *expected;
        bool formatted;
    };
    const QList<Case> cases = {
        {"JSON", R"({"a":[1,2]})", HXResponse::BodyTextTypeJSON, HXStringEncoding::UTF8,
         "{\n  \"a\": [\n    1,\n    2\n  ]\n}", true},
        {"broken JSON is shown as received", R"({"a":)", HXResponse::BodyTextTypeJSON, HXStringEncoding::UTF8,
         R"({"a":)", false},
        {"XML", "<a><b>x</b></a>", HXResponse::BodyTextTypeXML, HXStringEncoding::UTF8,
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>\n  <b>x</b>\n</a>\n", true},
        {"text in its charset", "caf\xe9", HXResponse::BodyTextTypeText, HXStringEncoding::ISOLatin1, "café", false},
        {"bytes that do not decode", "caf\xe9", HXResponse::BodyTextTypeText, HXStringEncoding::UTF8, "caf\u00e9",
         false},
        {"empty", "", HXResponse::BodyTextTypeJSON, HXStringEncoding::UTF8, "", false},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.name);
        HXBodyFormatter::Input input;
        input.body = test.body;
        input.type = test.type;
        input.encoding = test.encoding;
        const HXBodyFormatter::Result result = HXBodyFormatter::formatNow(input);
        EXPECT_EQ(result.text, QString::fromUtf8(test.expected));
        EXPECT_EQ(result.formatted, test.formatted);
        EXPECT_EQ(result.jsonTree != nullptr, test.formatted && test.type == HXResponse::BodyTextTypeJSON);
        EXPECT_EQ(qsizetype(result.lineStarts.size()), result.text.count(u'\n') + 1);
    }
}

TEST(ResponseBodyTest, LargeTextViewFindsAndWraps)
{
    qsizetype longest = 0;
    EXPECT_EQ(HXLargeTextView::lineStartsOf(QStringLiteral("ab\n\nabcd"), &longest), (std::vector<qsizetype>{0, 3, 4}));
    EXPECT_EQ(longest, 4);
    EXPECT_EQ(HXLargeTextView::lineStartsOf(QString()), (std::vector<qsizetype>{0}));

    HXLargeTextView view;
    view.resize(300, 100);
    QString text;
    for (int line = 0; line < 1000; ++line)
        text += QStringLiteral("line %1 Needle\n").arg(line);
    view.setText(text);
    EXPECT_EQ(view.lineCount(), 1001);
    ASSERT_TRUE(view.find(QStringLiteral("needle")));
    const qsizetype first = view.matchPosition();
    EXPECT_EQ(text.mid(first, 6), QStringLiteral("Needle"));
    ASSERT_TRUE(view.find(QStringLiteral("needle"), true)) << "backwards from the first wraps to the last";
    EXPECT_EQ(view.matchPosition(), text.lastIndexOf(QStringLiteral("Needle")));
    EXPECT_GT(view.firstVisibleLine(), 900) << "the match was scrolled into view";
    ASSERT_TRUE(view.find(QStringLiteral("needle")));
    EXPECT_EQ(view.matchPosition(), first) << "forwards from the last wraps to the first";
    EXPECT_FALSE(view.find(QStringLiteral("absent")));
    EXPECT_FALSE(view.find(QString()));
}

} // namespace
