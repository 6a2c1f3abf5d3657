#pragma once

#include "HXResponseDynamicValue.h"

// The length of the referenced request's latest response: its Content-Length header as it stands, or else the number of
// body bytes.
class HXResponseBodyLengthDynamicValue : public HXResponseDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXResponseBodyLengthDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }

    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;
    HXDynamicResult evaluate() override;
    QString displayString() const override;
};
