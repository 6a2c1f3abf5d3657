#pragma once

#include "HXManagedObject.h"

class HXEnvironmentVariableValue;
class HXManagedObjectContext;

// A variable of the document's environments; dynamic values refer to it by `uuid`.
class HXEnvironmentVariable : public HXManagedObject
{
public:
    static QString staticEntityName() { return QStringLiteral("HXEnvironmentVariable"); }

    QString name() const;
    void setName(const QString &value);
    QString uuid() const;
    void setUuid(const QString &value);
    QList<HXEnvironmentVariableValue *> values() const;

    // The variable with this uuid in the store, or null.
    static HXEnvironmentVariable *environmentVariableWithUUID(const QString &uuid, HXManagedObjectContext *context);

protected:
    void awakeFromInsert() override;
};
