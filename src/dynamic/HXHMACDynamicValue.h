#pragma once

#include "HXDynamicValue.h"

// The HMAC of its input's bytes under its key's bytes, as Base64 text
// (unlike the digest value, which gives hexadecimal).
class HXHMACDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXHMACDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    // 0 HMAC-MD5, 1 HMAC-SHA1, 2 HMAC-SHA224, 3 HMAC-SHA256, 4 HMAC-SHA384,
    // 5 HMAC-SHA512. A new value is HMAC-MD5.
    quint32 algorithm() const { return quint32(integerValue(QStringLiteral("algorithm"))); }
    void setAlgorithm(quint32 algorithm) { setValue(QStringLiteral("algorithm"), qint64(algorithm)); }
    QString input() const { return stringValue(QStringLiteral("input")); } // archived dynamic string: the message
    void setInput(const QString &input) { setValue(QStringLiteral("input"), input); }
    QString key() const { return stringValue(QStringLiteral("key")); } // archived dynamic string: the secret
    void setKey(const QString &key) { setValue(QStringLiteral("key"), key); }

    // The platform HMAC code of an algorithm number (HXDataAdditions::HMACAlgorithm), -1 when unknown.
    static int platformAlgorithmCode(quint32 algorithm);

    HXDynamicResult evaluate() override;
    // The label and the input's display string in parentheses.
    QString displayString() const override;

    std::optional<QVariantList> contentObjectsFor(const QString &property) const override;
    std::optional<QString> localizedStringFor(const QString &property, const QVariant &object) const override;
};
