#pragma once

#include "HXDynamicValue.h"

class HXEnvironmentVariable;

// The value of an environment variable in the document's current
// environment, itself evaluated as a dynamic string (so values may hold
// further tokens). Refers to the variable by its uuid.
class HXEnvironmentVariableDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXEnvironmentVariableDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }

    HXEnvironmentVariable *environmentVariable() const;
    void setEnvironmentVariable(HXEnvironmentVariable *variable);

    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;
    HXDynamicResult evaluate() override;
    // The variable's name, or "Environment Variable" without one.
    QString displayString() const override;
    // The short title of the token.
    static QString tokenTitle();
    // The document's variables by name, labelled by their names.
    std::optional<QVariantList> contentObjectsFor(const QString &property) const override;
    std::optional<QString> localizedStringFor(const QString &property, const QVariant &object) const override;
    // The variable's name, or "(Not specified)".
    QString secondaryText() const;
};
