#pragma once

#include "HXDynamicProperty.h"

#include <QVariant>

class QCborStreamWriter;
class QCborValue;

// How stored properties of dynamic values are held in memory and written to
// and read from their CBOR form (see HXDynamicPropertyType for each type's
// form). References are resolved by the caller.
class HXDynamicPropertyCoding
{
public:
    static bool isNumberOrBool(const QVariant &value);
    // The value converted to the in-memory form of `type`; invalid when it
    // does not fit.
    static QVariant normalised(const QVariant &value, HXDynamicPropertyType type);
    // Reads one stored property from its CBOR form; invalid when the type
    // does not fit.
    static QVariant decode(const QCborValue &cbor, HXDynamicPropertyType type);
    // Writes one stored property (already normalised) in its CBOR form.
    static void write(QCborStreamWriter &writer, HXDynamicPropertyType type, const QVariant &value);
};
