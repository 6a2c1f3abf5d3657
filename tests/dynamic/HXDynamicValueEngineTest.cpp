#include "HXDynamicTestKinds.h"

#include "HXDynamicValueContext.h"
#include "HXDynamicValueEngine.h"
#include "HXRequestEvaluationContext.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace HXDynamicTest;

namespace {

class HXDynamicValueEngineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        registerTestKinds();
        evaluationCount() = 0;
    }
};

std::shared_ptr<BytesValue> bytes(const QByteArray &blob)
{
    auto value = HXDynamicValue::make<BytesValue>();
    value->setBlob(blob);
    return value;
}

QString evaluate(const HXDynamicString &string, HXStringEncoding encoding = HXStringEncoding::UTF8)
{
    return HXDynamicValueEngine::evaluateAttributedStringAsString(string, encoding);
}

} // namespace

TEST_F(HXDynamicValueEngineTest, EqualValuesAreEvaluatedOncePerContext)
{
    // Two separate but equal tokens in one string share one cache entry, and
    // string and byte evaluations in the same context share it too.
    const HXDynamicString string =
        dynamicString({echo(QStringLiteral("n")), QStringLiteral("|"), echo(QStringLiteral("n"))});
    HXDynamicValueContext::context(nullptr, [&] {
        EXPECT_EQ(evaluate(string), QStringLiteral("<n>|<n>"));
        EXPECT_EQ(HXDynamicValueEngine::evaluateAttributedStringAsData(string, HXStringEncoding::UTF16LE),
                  QByteArray("<\0n\0>\0|\0<\0n\0>\0", 14));
        EXPECT_EQ(HXDynamicValueContext::currentContext()->cachedValues().size(), 1);
    });
    EXPECT_EQ(evaluationCount(), 1);
    EXPECT_FALSE(HXDynamicValueContext::currentContext());

    // Without a current context every value gets a short-lived context of its own.
    EXPECT_EQ(evaluate(string), QStringLiteral("<n>|<n>"));
    EXPECT_EQ(evaluationCount(), 3);
}

TEST_F(HXDynamicValueEngineTest, NothingIsCachedAsAnExplicitMarker)
{
    auto empty = bytes(QByteArray());
    HXDynamicValueContext::context(nullptr, [&] {
        EXPECT_TRUE(
            HXDynamicValueEngine::evaluateDynamicValue(empty, HXDynamicResultClass::String, HXStringEncoding::UTF8)
                .isNull());
        EXPECT_TRUE(
            HXDynamicValueEngine::evaluateDynamicValue(empty, HXDynamicResultClass::Data, HXStringEncoding::UTF8)
                .isNull());
        auto &cache = HXDynamicValueContext::currentContext()->cachedValues();
        ASSERT_TRUE(cache.contains(empty->uniqueIdentifier()));
        EXPECT_TRUE(cache.value(empty->uniqueIdentifier()).isNull());
    });
    EXPECT_EQ(evaluationCount(), 1);
    EXPECT_TRUE(
        HXDynamicValueEngine::evaluateDynamicValue(nullptr, HXDynamicResultClass::String, HXStringEncoding::UTF8)
            .isNull());
}

TEST_F(HXDynamicValueEngineTest, AValueThatNeedsItselfGetsNothingInside)
{
    SelfValue::innerWasNothing = false;
    auto value = HXDynamicValue::make<SelfValue>();
    EXPECT_EQ(evaluate(dynamicString({QStringLiteral("a"), value, QStringLiteral("b")})), QStringLiteral("a[]b"));
    EXPECT_TRUE(SelfValue::innerWasNothing);
    EXPECT_EQ(evaluationCount(), 1);

    // The guard list is empty again afterwards, also inside a longer context.
    HXDynamicValueContext::context(nullptr, [&] {
        evaluate(dynamicString({value}));
        EXPECT_TRUE(HXDynamicValueContext::currentContext()->currentDynamicValues().isEmpty());
    });
}

TEST_F(HXDynamicValueEngineTest, ConversionBetweenStringsAndBytes)
{
    // Bytes that are not UTF-8 give nothing as a string; the text around stays.
    const HXDynamicString invalid = dynamicString({QStringLiteral("a"), bytes("\xff\xfe\xfd"), QStringLiteral("b")});
    EXPECT_EQ(evaluate(invalid), QStringLiteral("ab"));
    // ... and pass through unchanged as bytes.
    EXPECT_EQ(HXDynamicValueEngine::evaluateAttributedStringAsData(invalid, HXStringEncoding::UTF8),
              QByteArray("a\xff\xfe\xfd"
                         "b"));
    // The same bytes are valid Latin-1.
    EXPECT_EQ(evaluate(invalid, HXStringEncoding::ISOLatin1), QStringLiteral("a\u00ff\u00fe\u00fdb"));

    // Lossy ASCII: a replacement byte, in text runs and in token results.
    const HXDynamicString accented = dynamicString({QStringLiteral("caf\u00e9 "), echo(QStringLiteral("\u00fc"))});
    EXPECT_EQ(HXDynamicValueEngine::evaluateAttributedStringAsData(accented, HXStringEncoding::ASCII),
              QByteArray("caf? <?>"));
    EXPECT_EQ(HXDynamicValueEngine::evaluateAttributedStringAsData(accented, HXStringEncoding::ISOLatin1),
              QByteArray("caf\xe9 <\xfc>"));

    // The empty string evaluates to empty text and empty bytes.
    EXPECT_EQ(evaluate(HXDynamicString()), QString());
    EXPECT_TRUE(HXDynamicValueEngine::evaluateStringAsData(QString(), HXStringEncoding::UTF8).isEmpty());
}

TEST_F(HXDynamicValueEngineTest, CurrentEncodingComesFromTheContext)
{
    EXPECT_EQ(HXDynamicValueContext::currentContextStringEncoding(), HXStringEncoding::UTF8);
    const QString stored = QStringLiteral("\u00e9");
    HXDynamicValueContext::context(nullptr, [&] {
        HXDynamicValueContext::currentContext()->setCurrentStringEncoding(HXStringEncoding::ISOLatin1);
        EXPECT_EQ(HXDynamicValueContext::currentContextStringEncoding(), HXStringEncoding::ISOLatin1);
        EXPECT_EQ(HXDynamicValueEngine::evaluateStringAsData(stored), QByteArray("\xe9"));
    });
    EXPECT_EQ(HXDynamicValueEngine::evaluateStringAsData(stored), QByteArray("\xc3\xa9"));
}

TEST_F(HXDynamicValueEngineTest, NestedContextsShareTheOuterOne)
{
    int factoryCalls = 0;
    const HXDynamicValueContextFactory factory = [&] {
        ++factoryCalls;
        return std::make_shared<HXRequestEvaluationContext>();
    };
    HXDynamicValueContext *outer = nullptr;
    HXDynamicValueContext::context(factory, [&] {
        outer = HXDynamicValueContext::currentContext();
        EXPECT_TRUE(HXRequestEvaluationContext::currentRequestEvaluationContext());
        HXDynamicValueContext::context(factory, [&] { EXPECT_EQ(HXDynamicValueContext::currentContext(), outer); });

        // executeWithBlock replaces the current one for its duration.
        HXDynamicValueContext own;
        own.executeWithBlock([&] {
            EXPECT_EQ(HXDynamicValueContext::currentContext(), &own);
            EXPECT_FALSE(HXRequestEvaluationContext::currentRequestEvaluationContext());
        });
        EXPECT_EQ(HXDynamicValueContext::currentContext(), outer);
    });
    EXPECT_EQ(factoryCalls, 1);
    EXPECT_FALSE(HXDynamicValueContext::currentContext());

    // The slot is restored when the work ends with an exception.
    EXPECT_THROW(HXDynamicValueContext::context(nullptr, [] { throw std::runtime_error("x"); }), std::runtime_error);
    EXPECT_FALSE(HXDynamicValueContext::currentContext());
}

TEST_F(HXDynamicValueEngineTest, DefaultFactoryIsUsedWhenNoneIsGiven)
{
    const HXDynamicValueContextFactory saved = HXDynamicValueContext::defaultContextFactory();
    HXRequestEvaluationContext::installDefaultContextFactory();
    bool sawRequestContext = false;
    HXDynamicValueContext::context(
        nullptr, [&] { sawRequestContext = HXRequestEvaluationContext::currentRequestEvaluationContext() != nullptr; });
    HXDynamicValueContext::setDefaultContextFactory(saved);
    EXPECT_TRUE(sawRequestContext);
}

TEST_F(HXDynamicValueEngineTest, DisplayStringsNeverEvaluate)
{
    const HXDynamicString string = dynamicString({QStringLiteral("x "), echo(QStringLiteral("y")), bytes("z")});
    EXPECT_EQ(HXDynamicValueEngine::displayStringFromAttributedString(string), QStringLiteral("x Echo(y)Bytes"));
    EXPECT_EQ(HXDynamicValueEngine::displayStringFromString(HXDynamicValueEngine::archiveAttributedString(string)),
              QStringLiteral("x Echo(y)Bytes"));
    EXPECT_EQ(evaluationCount(), 0);
}

TEST_F(HXDynamicValueEngineTest, ValueConvenienceEvaluation)
{
    auto value = echo(QStringLiteral("\u00e9"));
    EXPECT_EQ(value->evaluatedString(), QStringLiteral("<\u00e9>"));
    EXPECT_EQ(value->evaluatedDataWithStringEncoding(HXStringEncoding::UTF16BE), QByteArray("\0<\0\xe9\0>", 6));
    EXPECT_TRUE(bytes("\xff")->evaluatedStringWithStringEncoding(HXStringEncoding::UTF8).isNull());
}
