#pragma once

#include "HXDynamicValue.h"

// The message digest (MD2 ... SHA-512) of its input's bytes, as upper-case
// hexadecimal.
class HXHashDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXHashDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    // 0 MD2, 1 MD4, 2 MD5, 3 SHA1, 4 SHA224, 5 SHA256, 6 SHA384, 7 SHA512
    // (HXDataAdditions::Digest). A new value is MD2.
    quint32 hashType() const { return quint32(integerValue(QStringLiteral("hashType"))); }
    void setHashType(quint32 hashType) { setValue(QStringLiteral("hashType"), qint64(hashType)); }
    QString input() const { return stringValue(QStringLiteral("input")); } // an archived dynamic string
    void setInput(const QString &input) { setValue(QStringLiteral("input"), input); }

    // The digest of the input evaluated as bytes in the current encoding. A
    // hashType of 8 or more (never offered by the editor) gives the input's
    // stored text unevaluated, as older documents expect.
    HXDynamicResult evaluate() override;
    // The label and the input's display string in parentheses: "SHA256(abc)".
    QString displayString() const override;

    std::optional<QVariantList> contentObjectsFor(const QString &property) const override;
    std::optional<QString> localizedStringFor(const QString &property, const QVariant &object) const override;
};
