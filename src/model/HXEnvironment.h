#pragma once

#include "HXManagedObject.h"

class HXEnvironmentVariableValue;

// An environment: a named set of values, one for each variable of the document.
class HXEnvironment : public HXManagedObject
{
public:
    static QString staticEntityName() { return QStringLiteral("HXEnvironment"); }

    QString name() const;
    void setName(const QString &value);
    QList<HXEnvironmentVariableValue *> variablesValues() const;
};
