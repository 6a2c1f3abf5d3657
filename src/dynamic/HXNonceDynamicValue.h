#pragma once

#include "HXDynamicValue.h"

// A random string drawn from the chosen character classes with a
// cryptographically strong source. Within one evaluation pass an equal nonce
// value gives the same text everywhere (the context caches it).
class HXNonceDynamicValue : public HXDynamicValue
{
public:
    static constexpr qint64 maximumLength = 4096;

    static QString staticClassName() { return QStringLiteral("HXNonceDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    qint64 length() const { return integerValue(QStringLiteral("length")); }
    void setLength(qint64 length) { setValue(QStringLiteral("length"), length); }
    bool useUppercaseLetters() const { return boolValue(QStringLiteral("useUppercaseLetters")); }
    void setUseUppercaseLetters(bool use) { setValue(QStringLiteral("useUppercaseLetters"), use); }
    bool useLowercaseLetters() const { return boolValue(QStringLiteral("useLowercaseLetters")); }
    void setUseLowercaseLetters(bool use) { setValue(QStringLiteral("useLowercaseLetters"), use); }
    bool useDigits() const { return boolValue(QStringLiteral("useDigits")); }
    void setUseDigits(bool use) { setValue(QStringLiteral("useDigits"), use); }
    bool useHexDigits() const { return boolValue(QStringLiteral("useHexDigits")); }
    void setUseHexDigits(bool use) { setValue(QStringLiteral("useHexDigits"), use); }
    bool useASCIISymbols() const { return boolValue(QStringLiteral("useASCIISymbols")); }
    void setUseASCIISymbols(bool use) { setValue(QStringLiteral("useASCIISymbols"), use); }

    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
    QString displayString() const override;

    // The characters to draw from, ascending by code, each once. The classes
    // are deliberately one short of complete, as stored documents expect:
    // digits "0"-"8", upper-case "A"-"Y", lower-case "a"-"y", hex digits
    // "0"-"8" and "A"-"E"; symbols are the 32 printable ASCII characters that
    // are neither letters, digits nor the blank.
    static QByteArray alphabet(bool uppercaseLetters, bool lowercaseLetters, bool digits, bool hexDigits,
                               bool asciiSymbols);
    // `length` characters (clamped to 1...4096) drawn uniformly from
    // `alphabet`; empty for an empty alphabet, nothing if the random source
    // fails.
    static std::optional<QString> randomString(qint64 length, const QByteArray &alphabet);
};
