#pragma once

#include "HXDynamicValue.h"

// A Cookie header value built from a table of enabled rows: "a=1; c=3",
// names and values evaluated as text and written without escaping.
class HXCookieDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXCookieDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }

    HXDynamicKeyValueRows keyValues() const { return keyValueRowsValue(QStringLiteral("keyValues")); }
    void setKeyValues(const HXDynamicKeyValueRows &rows)
    {
        setValue(QStringLiteral("keyValues"), QVariant::fromValue(rows));
    }

    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;
    HXDynamicResult evaluate() override;
    QString displayString() const override;

    // The stored form of a fresh value: the default of a "Cookie" header row.
    static QString archivedDefaultCookieHeaderValue();
};
