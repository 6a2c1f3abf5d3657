#pragma once

#include "HXResponseDynamicValue.h"

// The body bytes of the referenced request's latest response, as they are.
class HXResponseRawBodyDynamicValue : public HXResponseDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXResponseRawBodyDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }

    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;
    HXDynamicResult evaluate() override;
    QString displayString() const override;
};
