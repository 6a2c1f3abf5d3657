#pragma once

#include "HXManagedObject.h"

class HXEnvironment;
class HXEnvironmentVariable;

// The value of one variable in one environment (a dynamic string in its stored form).
class HXEnvironmentVariableValue : public HXManagedObject
{
public:
    static QString staticEntityName() { return QStringLiteral("HXEnvironmentVariableValue"); }

    QString value() const;
    void setValue(const QString &value);
    HXEnvironmentVariable *variable() const;
    void setVariable(HXEnvironmentVariable *value);
    HXEnvironment *environment() const;
    void setEnvironment(HXEnvironment *value);
};
