#pragma once

#include "HXResponseDynamicValue.h"

// The value of one header of the referenced request's latest response, looked up without regard to case.
class HXResponseHeaderDynamicValue : public HXResponseDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXResponseHeaderDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }

    QString header() const { return stringValue(QStringLiteral("header")); }
    void setHeader(const QString &archived) { setValue(QStringLiteral("header"), archived); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;
    HXDynamicResult evaluate() override;
    QString displayString() const override;
};
