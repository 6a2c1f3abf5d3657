#pragma once

#include "HXDynamicValue.h"

// Base64-encodes the bytes of its input into text (mode 0), or decodes the
// text of its input into bytes (any other mode), so a decoded value can feed
// a body without passing through text.
class HXBase64EncodingDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXBase64EncodingDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    QString input() const { return stringValue(QStringLiteral("input")); } // an archived dynamic string
    void setInput(const QString &input) { setValue(QStringLiteral("input"), input); }
    quint32 mode() const { return quint32(integerValue(QStringLiteral("mode"))); } // 0 encode, other decode
    void setMode(quint32 mode) { setValue(QStringLiteral("mode"), qint64(mode)); }

    HXDynamicResult evaluate() override;
    // "Base64 Encode" or "Base64 Decode", then ": " and the input's display string.
    QString displayString() const override;

    std::optional<QVariantList> contentObjectsFor(const QString &property) const override;
    std::optional<QString> localizedStringFor(const QString &property, const QVariant &object) const override;
};
