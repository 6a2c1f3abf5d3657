#pragma once

#include "HXDynamicValue.h"

// Percent-encodes (mode 0) or percent-decodes (any other mode) its input in
// the chosen charset; spaces are never written as "+".
class HXURLEncodingDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXURLEncodingDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    QString input() const { return stringValue(QStringLiteral("input")); } // an archived dynamic string
    void setInput(const QString &input) { setValue(QStringLiteral("input"), input); }
    QString charset() const { return stringValue(QStringLiteral("charset")); } // IANA name; empty means UTF-8
    void setCharset(const QString &charset) { setValue(QStringLiteral("charset"), charset); }
    qint64 mode() const { return integerValue(QStringLiteral("mode")); } // 0 encode, other decode
    void setMode(qint64 mode) { setValue(QStringLiteral("mode"), mode); }

    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
    // "URL-Encode" or "URL-Decode", then ": " and the input's display string.
    QString displayString() const override;

    // Mode: "Encode", "Decode"; Charset: the IANA names offered (no labels).
    std::optional<QVariantList> contentObjectsFor(const QString &property) const override;
    std::optional<QString> localizedStringFor(const QString &property, const QVariant &object) const override;
};
