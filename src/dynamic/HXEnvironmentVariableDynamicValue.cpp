#include "HXEnvironmentVariableDynamicValue.h"

#include "HXDocumentResolver.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableValue.h"
#include "HXEvaluationDocument.h"
#include "HXManagedObjectContext.h"
#include "HXRequestEvaluationContext.h"

#include <QCoreApplication>

namespace {
const QString kVariableKey = QStringLiteral("environmentVariable");
}

void HXEnvironmentVariableDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXEnvironmentVariableDynamicValue>();
}

const QList<HXDynamicProperty> &HXEnvironmentVariableDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {kVariableKey, HXDynamicPropertyType::Reference, QStringLiteral("HXEnvironmentVariable")},
    };
    return keys;
}

HXEnvironmentVariable *HXEnvironmentVariableDynamicValue::environmentVariable() const
{
    auto *variable = static_cast<HXEnvironmentVariable *>(objectValue(kVariableKey));
    return variable != nullptr && variable->isLive() ? variable : nullptr;
}

void HXEnvironmentVariableDynamicValue::setEnvironmentVariable(HXEnvironmentVariable *variable)
{
    setObjectValue(kVariableKey, variable);
}

HXDynamicResult HXEnvironmentVariableDynamicValue::evaluate()
{
    HXEnvironmentVariable *variable = environmentVariable();
    if (variable == nullptr)
        return {};
    HXEvaluationDocument *document = HXRequestEvaluationContext::currentDocument();
    if (document == nullptr)
        document = HXDocumentResolver::documentWithManagedObjectContext(variable->managedObjectContext());
    HXEnvironment *environment = document != nullptr ? document->currentEnvironment() : nullptr;
    HXEnvironmentVariableValue *record = environment != nullptr ? environment->valueForVariable(variable) : nullptr;
    if (record == nullptr)
        return {};
    return HXDynamicValueEngine::evaluateStringAsString(record->value());
}

QString HXEnvironmentVariableDynamicValue::displayString() const
{
    HXEnvironmentVariable *variable = environmentVariable();
    return variable != nullptr ? variable->name()
                               : QCoreApplication::translate("HXDynamicValue", "Environment Variable");
}

QString HXEnvironmentVariableDynamicValue::tokenTitle()
{
    return QCoreApplication::translate("HXDynamicValue", "Env");
}

QString HXEnvironmentVariableDynamicValue::secondaryText() const
{
    HXEnvironmentVariable *variable = environmentVariable();
    return variable != nullptr ? variable->name() : QCoreApplication::translate("HXDynamicValue", "(Not specified)");
}

std::optional<QVariantList> HXEnvironmentVariableDynamicValue::contentObjectsFor(const QString &property) const
{
    if (property != QLatin1String("EnvironmentVariable"))
        return std::nullopt;
    HXManagedObjectContext *context = nullptr;
    if (HXEnvironmentVariable *variable = environmentVariable())
        context = variable->managedObjectContext();
    else if (HXRequestEvaluationContext *evaluation = HXRequestEvaluationContext::currentRequestEvaluationContext())
        context = evaluation->managedObjectContext();
    QVariantList objects;
    if (context == nullptr)
        return objects;
    HXFetchRequest fetch(QStringLiteral("HXEnvironmentVariable"));
    fetch.sortBy(QStringLiteral("name"));
    for (HXManagedObject *variable : context->executeFetchRequest(fetch).valueOr({}))
        objects.append(QVariant::fromValue(variable));
    return objects;
}

std::optional<QString> HXEnvironmentVariableDynamicValue::localizedStringFor(const QString &property,
                                                                             const QVariant &object) const
{
    if (property != QLatin1String("EnvironmentVariable"))
        return std::nullopt;
    auto *variable = static_cast<HXEnvironmentVariable *>(object.value<HXManagedObject *>());
    return variable != nullptr ? variable->name() : QString();
}
