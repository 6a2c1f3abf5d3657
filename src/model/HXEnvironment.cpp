#include "HXEnvironment.h"

#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableValue.h"
#include "HXManagedObjectContext.h"
#include "HXUndoManager.h"

#include <QCoreApplication>

QString HXEnvironment::name() const
{
    return stringForKey(QStringLiteral("name"));
}

void HXEnvironment::setName(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("name"));
}

QList<HXEnvironmentVariableValue *> HXEnvironment::variablesValues() const
{
    return objectsForKeyAs<HXEnvironmentVariableValue>(QStringLiteral("variablesValues"));
}

namespace {

template <typename T>
QList<T *> fetchSorted(HXManagedObjectContext *context, const QString &entity, const QString &key)
{
    HXFetchRequest fetch(entity);
    fetch.sortBy(key);
    QList<T *> result;
    for (HXManagedObject *object : context->executeFetchRequest(fetch).valueOr({}))
        result.append(static_cast<T *>(object));
    return result;
}

// Runs `change` as one named undo step whose pending changes are processed
// before the step closes.
template <typename Change>
auto undoableStep(HXManagedObjectContext *context, const QString &name, Change change)
{
    HXUndoManager *undo = context->undoManager();
    if (undo != nullptr)
        undo->beginUndoGrouping();
    auto result = change();
    context->processPendingChanges();
    if (undo != nullptr) {
        undo->setActionName(name);
        undo->endUndoGrouping();
    }
    return result;
}

HXEnvironmentVariableValue *insertValue(HXManagedObjectContext *context, HXEnvironment *environment,
                                        HXEnvironmentVariable *variable, const QString &value)
{
    auto *record = context->insertNewObject<HXEnvironmentVariableValue>(QStringLiteral("HXEnvironmentVariableValue"));
    record->setValue(value);
    record->setVariable(variable);
    record->setEnvironment(environment);
    return record;
}

} // namespace

HXEnvironmentVariableValue *HXEnvironment::valueForVariable(HXEnvironmentVariable *variable) const
{
    if (variable == nullptr || managedObjectContext() == nullptr)
        return nullptr;
    HXFetchRequest fetch(QStringLiteral("HXEnvironmentVariableValue"));
    fetch.where(QStringLiteral("environment"), HXFetchRequest::Equal, const_cast<HXEnvironment *>(this))
        .where(QStringLiteral("variable"), HXFetchRequest::Equal, variable)
        .sortBy(QStringLiteral("value"));
    const QList<HXManagedObject *> records = managedObjectContext()->executeFetchRequest(fetch).valueOr({});
    return records.isEmpty() ? nullptr : static_cast<HXEnvironmentVariableValue *>(records.last());
}

QList<HXEnvironment *> HXEnvironment::environmentsSortedByName(HXManagedObjectContext *context)
{
    return fetchSorted<HXEnvironment>(context, QStringLiteral("HXEnvironment"), QStringLiteral("name"));
}

HXEnvironment *HXEnvironment::createDefaultEnvironmentIfNeeded(HXManagedObjectContext *context)
{
    if (context == nullptr || context->countForFetchRequest(HXFetchRequest(QStringLiteral("HXEnvironment"))) > 0)
        return nullptr;
    return addEnvironment(QCoreApplication::translate("HXEnvironment", "Default"), context);
}

HXEnvironment *HXEnvironment::addEnvironment(const QString &name, HXManagedObjectContext *context)
{
    if (context == nullptr)
        return nullptr;
    return undoableStep(context, QCoreApplication::translate("HXEnvironment", "Add Environment"), [&] {
        auto *environment = context->insertNewObject<HXEnvironment>(QStringLiteral("HXEnvironment"));
        environment->setName(name.isEmpty() ? QCoreApplication::translate("HXEnvironment", "New environment") : name);
        const auto variables = fetchSorted<HXEnvironmentVariable>(context, QStringLiteral("HXEnvironmentVariable"),
                                                                  QStringLiteral("name"));
        for (HXEnvironmentVariable *variable : variables)
            insertValue(context, environment, variable, QString());
        return environment;
    });
}

HXEnvironmentVariable *HXEnvironment::addEnvironmentVariable(const QString &name, const QString &value,
                                                             HXManagedObjectContext *context)
{
    if (context == nullptr)
        return nullptr;
    return undoableStep(context, QCoreApplication::translate("HXEnvironment", "Add Environment Variable"), [&] {
        auto *variable = context->insertNewObject<HXEnvironmentVariable>(QStringLiteral("HXEnvironmentVariable"));
        variable->setName(name.isEmpty() ? QCoreApplication::translate("HXEnvironment", "Variable") : name);
        for (HXEnvironment *environment : environmentsSortedByName(context))
            insertValue(context, environment, variable, value);
        return variable;
    });
}
