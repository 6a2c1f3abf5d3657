#include "HXEnvironmentVariableValue.h"

#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"

QString HXEnvironmentVariableValue::value() const
{
    return stringForKey(QStringLiteral("value"));
}

void HXEnvironmentVariableValue::setValue(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("value"));
}

HXEnvironmentVariable *HXEnvironmentVariableValue::variable() const
{
    return static_cast<HXEnvironmentVariable *>(objectForKey(QStringLiteral("variable")));
}

void HXEnvironmentVariableValue::setVariable(HXEnvironmentVariable *value)
{
    setObjectForKey(value, QStringLiteral("variable"));
}

HXEnvironment *HXEnvironmentVariableValue::environment() const
{
    return static_cast<HXEnvironment *>(objectForKey(QStringLiteral("environment")));
}

void HXEnvironmentVariableValue::setEnvironment(HXEnvironment *value)
{
    setObjectForKey(value, QStringLiteral("environment"));
}
