#pragma once

#include "HXDynamicValue.h"

#include <utility>

// A form body (application/x-www-form-urlencoded) built from a table of
// rows: each enabled row with a name or a value gives "name=value", names
// and values percent-encoded in the current string encoding with spaces as
// "+", joined by "&".
class HXBodyFormKeyValueDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXBodyFormKeyValueDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    // Rows of archived dynamic strings (name, value) and an enabled flag.
    HXDynamicKeyValueRows keyValues() const { return keyValueRowsValue(QStringLiteral("keyValues")); }
    void setKeyValues(const HXDynamicKeyValueRows &rows)
    {
        setValue(QStringLiteral("keyValues"), QVariant::fromValue(rows));
    }

    HXDynamicResult evaluate() override;
    QString displayString() const override;

    // True when no row (enabled or not) has a name or a value.
    bool isEmpty() const;
    // True when some disabled row has a name or a value.
    bool hasAnyNotEmptyDisabledKeyValue() const;

    // The body for evaluated (name, value) pairs, in order; pairs whose name
    // and value are both empty are left out.
    static QString formBody(const QList<std::pair<QString, QString>> &fields, HXStringEncoding encoding);
};
