#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>

class HXManagedObject;

// The type of one stored property of a dynamic value. It fixes how the value
// is held in memory (the QVariant type in brackets), how it is written to the
// keyed archive (deterministic CBOR) and what is accepted when reading back.
enum class HXDynamicPropertyType {
    String,       // [QString] CBOR text. Also every "archived dynamic string" property (input, key, ...)
    Integer,      // [qint64] CBOR integer, shortest form. Reading accepts any number or boolean
    Boolean,      // [bool] CBOR true/false. Reading accepts any number or boolean
    Double,       // [double] CBOR 64-bit float. Reading accepts any number or boolean
    Date,         // [QDateTime, UTC] CBOR tag 1 over a float of seconds since 1970
    Data,         // [QByteArray] CBOR byte string
    KeyValueRows, // [HXDynamicKeyValueRows] CBOR array of [name, value, enabled]
    Reference,    // [HXDynamicObjectReference] the referenced object's uuid, as CBOR text (see archivingClass)
};

// One stored property of a dynamic value kind: its key (the property name as
// stored), its type, and for a Reference the model class that archives it by
// reference ("HXRequest" or "HXEnvironmentVariable", see
// HXDynamicValueArchiving.h).
struct HXDynamicProperty
{
    QString key;
    HXDynamicPropertyType type = HXDynamicPropertyType::String;
    QString archivingClass;
};

// One row of a key/value table held by a dynamic value (cookies, form fields).
// Name and value are archived dynamic strings, so they may hold tokens.
struct HXDynamicKeyValueRow
{
    QString name;
    QString value;
    bool enabled = true;

    friend bool operator==(const HXDynamicKeyValueRow &, const HXDynamicKeyValueRow &) = default;
};
using HXDynamicKeyValueRows = QList<HXDynamicKeyValueRow>;

// A model object a dynamic value refers to (a request, an environment
// variable). The object belongs to a document's object context; the value
// does not own it. Archived as the object's uuid.
struct HXDynamicObjectReference
{
    HXManagedObject *object = nullptr;

    friend bool operator==(const HXDynamicObjectReference &, const HXDynamicObjectReference &) = default;
};

// One entry of a choice list (the pop-up menu of an enumerated property): the
// stored object (usually a number) and the label shown for it, empty when the
// kind gives none.
struct HXDynamicChoice
{
    QVariant object;
    QString descriptiveString;
};

Q_DECLARE_METATYPE(HXDynamicKeyValueRow)
Q_DECLARE_METATYPE(HXDynamicObjectReference)
