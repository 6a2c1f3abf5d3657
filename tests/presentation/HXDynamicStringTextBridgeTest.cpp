#include "HXDynamicStringTextBridge.h"
#include "HXDynamicString.h"
#include "HXDynamicValueCatalogue.h"

#include <QTextCursor>
#include <QTextDocument>

#include <variant>

#include <gtest/gtest.h>

namespace {

HXTextAttachment token(const QString &className)
{
    return HXTextAttachment::withDynamicValue(HXDynamicValueCatalogue::createValue(className));
}

TEST(DynamicStringTextBridgeTest, RoundTripsTextAndTokens)
{
    const HXTextAttachment timestamp = token(QStringLiteral("HXTimestampDynamicValue"));
    const HXTextAttachment basic = token(QStringLiteral("HXBasicAuthDynamicValue"));
    ASSERT_TRUE(timestamp.isDynamicValue());
    auto build = [](std::initializer_list<std::variant<QString, HXTextAttachment>> parts) {
        HXDynamicString string;
        for (const auto &part : parts) {
            if (std::holds_alternative<QString>(part))
                string.append(std::get<QString>(part));
            else
                string.appendAttachment(std::get<HXTextAttachment>(part));
        }
        return string;
    };
    const QList<std::pair<const char *, HXDynamicString>> cases = {
        {"empty", HXDynamicString()},
        {"plain text", HXDynamicString(QStringLiteral("https://example.com/?q=1"))},
        {"a token alone", build({timestamp})},
        {"tokens at both ends", build({basic, QStringLiteral(" middle "), timestamp})},
        {"equal tokens side by side", build({timestamp, timestamp, QStringLiteral("x"), timestamp})},
        {"lines", build({QStringLiteral("{\n  \"a\": \""), basic, QStringLiteral("\"\n}")})},
        {"a file attachment that is no value", build({HXTextAttachment(QStringLiteral("a.txt"), "data")})},
    };
    for (const auto &[name, string] : cases) {
        SCOPED_TRACE(name);
        QTextDocument document;
        HXDynamicStringTextBridge::setDynamicString(&document, string);
        EXPECT_EQ(document.characterCount() - 1, string.length()) << "a token is one character";
        EXPECT_EQ(HXDynamicStringTextBridge::dynamicString(&document), string);
    }
}

TEST(DynamicStringTextBridgeTest, TypingNextToATokenIsPlainText)
{
    QTextDocument document;
    QTextCursor cursor(&document);
    HXDynamicStringTextBridge::insertAttachment(cursor, token(QStringLiteral("HXTimestampDynamicValue")));
    cursor.insertText(QStringLiteral("after"));
    // A replacement character typed or pasted as text carries no token.
    cursor.insertText(QString(QChar(HXDynamicString::attachmentCharacter)), QTextCharFormat());
    const HXDynamicString string = HXDynamicStringTextBridge::dynamicString(&document);
    EXPECT_EQ(string.string(), QString(QChar(HXDynamicString::attachmentCharacter)) + QStringLiteral("after"));
    EXPECT_EQ(string.attachments().size(), 1);
    EXPECT_FALSE(HXDynamicStringTextBridge::formatForAttachment(string.attachments().first())
                     .stringProperty(HXDynamicStringTextBridge::TokenLabelProperty)
                     .isEmpty());
}

} // namespace
