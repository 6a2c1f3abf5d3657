#include "HXNonceDynamicValue.h"

#include "HXDynamicValueCatalogue.h"

#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <vector>

void HXNonceDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXNonceDynamicValue>();
}

const QList<HXDynamicProperty> &HXNonceDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("length"), HXDynamicPropertyType::Integer},
        {QStringLiteral("useUppercaseLetters"), HXDynamicPropertyType::Boolean},
        {QStringLiteral("useLowercaseLetters"), HXDynamicPropertyType::Boolean},
        {QStringLiteral("useDigits"), HXDynamicPropertyType::Boolean},
        {QStringLiteral("useHexDigits"), HXDynamicPropertyType::Boolean},
        {QStringLiteral("useASCIISymbols"), HXDynamicPropertyType::Boolean},
    };
    return keys;
}

void HXNonceDynamicValue::registerDefaultValues()
{
    setLength(32);
    setUseUppercaseLetters(true);
    setUseLowercaseLetters(true);
    setUseDigits(true);
    setUseHexDigits(false);
    setUseASCIISymbols(false);
}

QByteArray HXNonceDynamicValue::alphabet(bool uppercaseLetters, bool lowercaseLetters, bool digits, bool hexDigits,
                                         bool asciiSymbols)
{
    std::array<bool, 128> member{};
    const auto addRange = [&member](char start, int count) {
        for (int i = 0; i < count; ++i)
            member[static_cast<unsigned char>(start) + i] = true;
    };
    if (digits)
        addRange('0', 9);
    if (uppercaseLetters)
        addRange('A', 25);
    if (lowercaseLetters)
        addRange('a', 25);
    if (asciiSymbols) {
        addRange('!', 15); // 33...47
        addRange(':', 7);  // 58...64
        addRange('[', 6);  // 91...96
        addRange('{', 4);  // 123...126
    }
    if (hexDigits) {
        addRange('0', 9);
        addRange('A', 5);
    }
    QByteArray result;
    for (int code = 0; code < 128; ++code) {
        if (member[code])
            result.append(char(code));
    }
    return result;
}

std::optional<QString> HXNonceDynamicValue::randomString(qint64 length, const QByteArray &alphabet)
{
    if (alphabet.isEmpty())
        return QString();
    const qint64 count = std::clamp<qint64>(length, 1, maximumLength);
    const auto size = static_cast<quint64>(alphabet.size());
    // Rejection sampling: 32-bit draws at or above the largest multiple of
    // the alphabet size are drawn again, so every character is equally
    // likely.
    const quint64 limit = (quint64(1) << 32) - ((quint64(1) << 32) % size);

    QString result;
    result.reserve(count);
    std::vector<quint32> draws(static_cast<size_t>(count));
    while (result.size() < count) {
        if (RAND_bytes(reinterpret_cast<unsigned char *>(draws.data()), int(draws.size() * sizeof(quint32))) != 1)
            return std::nullopt;
        for (const quint32 r : draws) {
            if (r >= limit)
                continue;
            result.append(QLatin1Char(alphabet.at(qsizetype(r % size))));
            if (result.size() == count)
                break;
        }
    }
    return result;
}

HXDynamicResult HXNonceDynamicValue::evaluate()
{
    const std::optional<QString> nonce =
        randomString(length(), alphabet(useUppercaseLetters(), useLowercaseLetters(), useDigits(), useHexDigits(),
                                        useASCIISymbols()));
    if (!nonce)
        return {};
    return *nonce;
}

QString HXNonceDynamicValue::displayString() const
{
    return localizedName();
}
