#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXDynamicValueContext.h"
#include "HXEncodingValueTestSupport.h"

#include <gtest/gtest.h>

using namespace HXEncodingValueTest;

namespace {

HXDynamicKeyValueRow row(const QString &name, const QString &value, bool enabled = true)
{
    return HXDynamicKeyValueRow{name, value, enabled};
}

std::shared_ptr<HXBodyFormKeyValueDynamicValue> form(const HXDynamicKeyValueRows &rows)
{
    auto value = HXDynamicValue::make<HXBodyFormKeyValueDynamicValue>();
    value->setKeyValues(rows);
    return value;
}

} // namespace

TEST(HXBodyFormKeyValueDynamicValue, EncodesEnabledRowsInOrder)
{
    // Empty value, empty name, rows that evaluate to nothing, a disabled row,
    // reserved and non-ASCII characters.
    auto nothing = HXDynamicValue::make<HXBase64EncodingDynamicValue>(); // encodes "" to ""
    auto body = form({row(QString(), QString()), row(QStringLiteral("n"), QString()),
                      row(QString(), QStringLiteral("v")), row(archived({HXDynamicValuePtr(nothing)}), QString()),
                      row(QStringLiteral("off"), QStringLiteral("1"), false),
                      row(QStringLiteral("k\u00e9y"), QStringLiteral("=+%/ [x]"))});
    EXPECT_EQ(evaluatedString(body), QStringLiteral("n=&=v&k%C3%A9y=%3D%2B%25%2F+[x]"));
}

TEST(HXBodyFormKeyValueDynamicValue, UsesTheContextEncodingAndTokens)
{
    auto inner = HXDynamicValue::make<HXBase64EncodingDynamicValue>();
    inner->setMode(1);
    inner->setInput(QStringLiteral("w6k=")); // UTF-8 of "é"
    auto body = form({row(QStringLiteral("\u00e9"), archived({QStringLiteral("<"), HXDynamicValuePtr(inner)}))});
    EXPECT_EQ(evaluatedString(body), QStringLiteral("%C3%A9=%3C%C3%A9"));

    QString latin1;
    auto context = std::make_shared<HXDynamicValueContext>();
    context->setCurrentStringEncoding(HXStringEncoding::ISOLatin1);
    context->executeWithBlock([&] { latin1 = HXDynamicValueEngine::evaluateStringAsString(body->archivedString()); });
    // The name is text, encoded in Latin-1; the token's bytes (C3 A9) read
    // as Latin-1 are two characters, each encoded again.
    EXPECT_EQ(latin1, QStringLiteral("%E9=%3C%C3%A9"));
}

TEST(HXBodyFormKeyValueDynamicValue, EmptinessAndDisabledRows)
{
    EXPECT_TRUE(form({})->isEmpty());
    EXPECT_TRUE(form({row(QString(), QString()), row(QString(), QString(), false)})->isEmpty());
    EXPECT_EQ(evaluatedString(form({row(QString(), QString())})), QString());
    EXPECT_FALSE(form({row(QString(), QString()), row(QStringLiteral("x"), QString(), false)})->isEmpty());

    EXPECT_FALSE(form({row(QStringLiteral("a"), QStringLiteral("1")), row(QString(), QString(), false)})
                     ->hasAnyNotEmptyDisabledKeyValue());
    EXPECT_TRUE(form({row(QString(), QStringLiteral("v"), false)})->hasAnyNotEmptyDisabledKeyValue());
    EXPECT_EQ(form({})->displayString(), QStringLiteral("Body Key-Value"));
}
