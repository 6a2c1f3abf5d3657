#pragma once

#include "HXManagedObject.h"

class HXEnvironmentVariable;
class HXEnvironmentVariableValue;
class HXManagedObjectContext;

// An environment: a named set of values, one for each variable of the document.
class HXEnvironment : public HXManagedObject
{
public:
    static QString staticEntityName() { return QStringLiteral("HXEnvironment"); }

    QString name() const;
    void setName(const QString &value);
    QList<HXEnvironmentVariableValue *> variablesValues() const;

    // The record of `variable` in this environment, or null (with several,
    // the one with the greatest value text).
    HXEnvironmentVariableValue *valueForVariable(HXEnvironmentVariable *variable) const;

    // Adds an environment named "Default" when the store has none; the new
    // environment or null.
    static HXEnvironment *createDefaultEnvironmentIfNeeded(HXManagedObjectContext *context);
    // One undo step "Add Environment": the environment ("New environment"
    // without a name) with an empty value for every variable.
    static HXEnvironment *addEnvironment(const QString &name, HXManagedObjectContext *context);
    // One undo step "Add Environment Variable": the variable ("Variable"
    // without a name) with `value` in every environment.
    static HXEnvironmentVariable *addEnvironmentVariable(const QString &name, const QString &value,
                                                         HXManagedObjectContext *context);
    // Every environment of the store, by name.
    static QList<HXEnvironment *> environmentsSortedByName(HXManagedObjectContext *context);
};
