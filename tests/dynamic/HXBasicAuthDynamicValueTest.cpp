#include "HXBasicAuthDynamicValue.h"
#include "HXEncodingValueTestSupport.h"

#include <gtest/gtest.h>

using namespace HXEncodingValueTest;

TEST(HXBasicAuthDynamicValue, EncodesCredentials)
{
    auto value = HXDynamicValue::make<HXBasicAuthDynamicValue>();
    EXPECT_EQ(value->charset(), QStringLiteral("US-ASCII"));
    value->setUsername(QStringLiteral("user"));
    value->setPassword(QStringLiteral("pass"));
    EXPECT_EQ(evaluatedString(value), QStringLiteral("Basic dXNlcjpwYXNz"));

    // The credentials may hold tokens.
    auto encoded = HXDynamicValue::make<HXBase64EncodingDynamicValue>();
    encoded->setMode(1);
    encoded->setInput(QStringLiteral("c2VjcmV0"));
    value->setPassword(archived({HXDynamicValuePtr(encoded), QStringLiteral("!")}));
    EXPECT_EQ(evaluatedString(value), QStringLiteral("Basic dXNlcjpzZWNyZXQh"));
}

TEST(HXBasicAuthDynamicValue, UnencodableCharacterEmptiesTheCredentials)
{
    auto value = HXDynamicValue::make<HXBasicAuthDynamicValue>();
    value->setUsername(QStringLiteral("J\u00fcrgen"));
    value->setPassword(QStringLiteral("pw"));
    EXPECT_EQ(evaluatedString(value), QStringLiteral("Basic "));
    value->setCharset(QStringLiteral("ISO-8859-1"));
    EXPECT_EQ(evaluatedString(value), QStringLiteral("Basic SvxyZ2VuOnB3"));
    value->setCharset(QStringLiteral("UTF-8"));
    EXPECT_EQ(evaluatedString(value), QStringLiteral("Basic SsO8cmdlbjpwdw=="));
    value->setCharset(QString()); // no name means UTF-8
    EXPECT_EQ(evaluatedString(value), QStringLiteral("Basic SsO8cmdlbjpwdw=="));
}

TEST(HXBasicAuthDynamicValue, DisplayAndDefaultHeaderValue)
{
    auto value = HXDynamicValue::make<HXBasicAuthDynamicValue>();
    EXPECT_EQ(value->displayString(), QStringLiteral("HTTP Basic Auth"));
    value->setUsername(QStringLiteral("alice"));
    EXPECT_EQ(value->displayString(), QStringLiteral("HTTP Basic Auth: alice"));

    const QString stored = HXBasicAuthDynamicValue::archivedDefaultAuthorizationHeaderValue();
    const auto fresh = std::dynamic_pointer_cast<HXBasicAuthDynamicValue>(
        HXDynamicValueEngine::unarchiveAttributedString(stored).onlyDynamicValue());
    ASSERT_TRUE(fresh);
    EXPECT_TRUE(fresh->isEqual(*HXDynamicValue::make<HXBasicAuthDynamicValue>()));
    EXPECT_EQ(HXDynamicValueEngine::evaluateStringAsString(stored), QStringLiteral("Basic Og=="));
}
