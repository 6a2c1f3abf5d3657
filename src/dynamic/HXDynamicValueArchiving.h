#pragma once

#include <QString>

#include <functional>

class HXDynamicValue;
class HXManagedObject;

// Model classes whose objects a dynamic value may refer to. A value stores
// what archivedValueForObject returns (the object's uuid) in place of the
// object, and finds the object again with objectForArchivedValue, which looks
// through the open documents front to back; the first document holding it
// wins, none gives null.
//
// Known classes: "HXRequest" and "HXEnvironmentVariable".
class HXDynamicValueArchiving
{
public:
    // Whether `className` archives objects by reference.
    static bool conformsToProtocol(const QString &className);
    // The stored form of `object` (its uuid); empty for a null object or an
    // unknown class.
    static QString archivedValueForObject(const QString &className, const HXDynamicValue &value,
                                          HXManagedObject *object);
    // The object of class `className` with that stored form in the open
    // documents, or null.
    static HXManagedObject *objectForArchivedValue(const QString &className, const HXDynamicValue &value,
                                                   const QString &archived);
};
