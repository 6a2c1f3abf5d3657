#pragma once

#include "HXDynamicValue.h"

#include <optional>

class HXRequest;

// What the two Amazon S3 (signature version 2) tokens share: the access key
// id and the secret as archived dynamic strings, and an evaluation that signs
// the request being evaluated with both evaluated. A subclass says what the
// signature is written into. Yields nothing outside request evaluation.
class HXAmazonS3DynamicValue : public HXDynamicValue
{
public:
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    // Archived dynamic strings. (The secret's property name is historical.)
    QString accessKeyId() const { return stringValue(QStringLiteral("accessKeyId")); }
    void setAccessKeyId(const QString &value) { setValue(QStringLiteral("accessKeyId"), value); }
    QString secretAccessKeyId() const { return stringValue(QStringLiteral("secretAccessKeyId")); }
    void setSecretAccessKeyId(const QString &value) { setValue(QStringLiteral("secretAccessKeyId"), value); }

    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
    QString displayString() const override;

protected:
    // The token's text for `request` signed with the evaluated key id and
    // secret, or none.
    virtual std::optional<QString> signedText(HXRequest *request, const QString &accessKeyId,
                                              const QString &secretAccessKeyId) const = 0;
};
