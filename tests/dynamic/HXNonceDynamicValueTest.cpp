#include "HXNonceDynamicValue.h"
#include "HXEncodingValueTestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

using namespace HXEncodingValueTest;

namespace {

QByteArray range(char first, char last)
{
    QByteArray bytes;
    for (char c = first; c <= last; ++c)
        bytes.append(c);
    return bytes;
}

std::shared_ptr<HXNonceDynamicValue> nonce(qint64 length, bool upper, bool lower, bool digits, bool hex, bool symbols)
{
    auto value = HXDynamicValue::make<HXNonceDynamicValue>();
    value->setLength(length);
    value->setUseUppercaseLetters(upper);
    value->setUseLowercaseLetters(lower);
    value->setUseDigits(digits);
    value->setUseHexDigits(hex);
    value->setUseASCIISymbols(symbols);
    return value;
}

} // namespace

TEST(HXNonceDynamicValue, AlphabetsAreOneShortOfTheFullClassesAndOrderedByCode)
{
    EXPECT_EQ(HXNonceDynamicValue::alphabet(false, false, true, false, false), range('0', '8'));
    EXPECT_EQ(HXNonceDynamicValue::alphabet(true, false, false, false, false), range('A', 'Y'));
    EXPECT_EQ(HXNonceDynamicValue::alphabet(false, true, false, false, false), range('a', 'y'));
    EXPECT_EQ(HXNonceDynamicValue::alphabet(false, false, false, true, false), range('0', '8') + range('A', 'E'));
    EXPECT_EQ(HXNonceDynamicValue::alphabet(false, false, false, false, true),
              range('!', '/') + range(':', '@') + range('[', '`') + range('{', '~'));
    // Overlapping classes add nothing twice; the default is 9 + 25 + 25.
    EXPECT_EQ(HXNonceDynamicValue::alphabet(true, true, true, false, false),
              range('0', '8') + range('A', 'Y') + range('a', 'y'));
    EXPECT_EQ(HXNonceDynamicValue::alphabet(true, false, true, true, false), range('0', '8') + range('A', 'Y'));
    EXPECT_EQ(HXNonceDynamicValue::alphabet(true, true, true, true, true).size(), 9 + 25 + 25 + 32);
    EXPECT_TRUE(HXNonceDynamicValue::alphabet(false, false, false, false, false).isEmpty());
}

TEST(HXNonceDynamicValue, DefaultsAndLengthClamping)
{
    auto value = HXDynamicValue::make<HXNonceDynamicValue>();
    EXPECT_EQ(value->length(), 32);
    EXPECT_TRUE(value->useUppercaseLetters() && value->useLowercaseLetters() && value->useDigits());
    EXPECT_FALSE(value->useHexDigits() || value->useASCIISymbols());
    EXPECT_EQ(value->displayString(), QStringLiteral("Nonce"));
    EXPECT_EQ(evaluatedString(value).size(), 32);

    for (const auto &[length, expected] : {std::pair<qint64, qsizetype>{0, 1},
                                           {-5, 1},
                                           {1, 1},
                                           {4096, 4096},
                                           {10000, 4096},
                                           {std::numeric_limits<qint64>::max(), 4096}}) {
        value->setLength(length);
        EXPECT_EQ(evaluatedString(value).size(), expected) << length;
    }
    EXPECT_EQ(evaluatedString(nonce(10, false, false, false, false, false)), QString());
}

// Draws a large sample for each class and checks that every allowed
// character appears, that nothing else ever does, and that the counts are
// uniform (a chi-square bound far beyond chance, which a modulo bias of a
// byte-sized draw or an off-by-one in the alphabet would exceed).
TEST(HXNonceDynamicValue, DrawsUniformlyFromExactlyTheAlphabet)
{
    const std::array<std::array<bool, 5>, 6> classes = {{
        {false, false, true, false, false}, // digits only: never "9"
        {false, false, false, true, false}, // hex: 14 characters
        {true, false, false, false, false},
        {false, true, false, false, false},
        {false, false, false, false, true},
        {true, true, true, true, true},
    }};
    for (const auto &c : classes) {
        const QByteArray alphabet = HXNonceDynamicValue::alphabet(c[0], c[1], c[2], c[3], c[4]);
        SCOPED_TRACE(alphabet.constData());
        std::array<qint64, 128> counts{};
        qint64 total = 0;
        const int perCharacter = 2000;
        const qsizetype wanted = alphabet.size() * perCharacter;
        while (total < wanted) {
            const QString text = HXNonceDynamicValue::randomString(4096, alphabet).value_or(QString());
            ASSERT_EQ(text.size(), 4096);
            for (const QChar ch : text) {
                ASSERT_LT(ch.unicode(), 128);
                ++counts[ch.unicode()];
            }
            total += text.size();
        }
        double chiSquare = 0;
        const double expected = double(total) / double(alphabet.size());
        for (int code = 0; code < 128; ++code) {
            const bool allowed = alphabet.contains(char(code));
            if (!allowed) {
                EXPECT_EQ(counts[code], 0) << "character " << code;
                continue;
            }
            EXPECT_GT(counts[code], 0) << "character " << code;
            chiSquare += (counts[code] - expected) * (counts[code] - expected) / expected;
        }
        // Degrees of freedom n-1; mean n-1, deviation sqrt(2(n-1)). Ten
        // deviations above the mean essentially never happens by chance.
        const double freedom = double(alphabet.size() - 1);
        EXPECT_LT(chiSquare, freedom + 10 * std::sqrt(2 * freedom));
    }
}

TEST(HXNonceDynamicValue, OneTextPerPassDifferentAcrossPasses)
{
    auto value = HXDynamicValue::make<HXNonceDynamicValue>();
    const QString twice = archived({HXDynamicValuePtr(value), QStringLiteral(" "), value->copy()});
    const auto pass = [&twice] {
        QStringList texts;
        inPass(HXStringEncoding::UTF8,
               [&] { texts = HXDynamicValueEngine::evaluateStringAsString(twice).split(u' '); });
        return texts;
    };
    const QStringList first = pass();
    ASSERT_EQ(first.size(), 2);
    EXPECT_EQ(first.at(0).size(), 32);
    EXPECT_EQ(first.at(0), first.at(1));
    const QStringList second = pass();
    ASSERT_EQ(second.size(), 2);
    EXPECT_NE(first.at(0), second.at(0));
}
