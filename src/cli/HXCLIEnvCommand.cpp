#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableValue.h"
#include "HXManagedObjectContext.h"

// kea-cli env FILE [list]
// kea-cli env FILE add-environment NAME
// kea-cli env FILE add-variable NAME [VALUE]
// kea-cli env FILE set VARIABLE ENVIRONMENT VALUE
// kea-cli env FILE choose ENVIRONMENT
//
// Lists the environments (the current one marked "*") and every variable
// (with its uuid, which tokens refer to) with its value in each environment (tokens shown by their display text);
// adds an environment (every variable gets an empty value in it) or a
// variable (with VALUE, or empty, in every environment; a "Default"
// environment is made first when the document has none); sets one value; or
// chooses the environment that "kea-cli show" uses. Values are plain text
// or the stored form of a dynamic string (see HXCLI::storedDynamicString). The choice is kept in the settings under the
// document's identifier, not in the document. Names must be unique.

namespace {

const QString usage =
    QStringLiteral("usage: kea-cli env FILE [list | add-environment NAME | add-variable NAME [VALUE] | "
                   "set VARIABLE ENVIRONMENT VALUE | choose ENVIRONMENT]");

QList<HXEnvironmentVariable *> variablesByName(HXManagedObjectContext *context)
{
    HXFetchRequest fetch(HXEnvironmentVariable::staticEntityName());
    fetch.sortBy(QStringLiteral("name"));
    QList<HXEnvironmentVariable *> variables;
    for (HXManagedObject *object : context->executeFetchRequest(fetch).valueOr({}))
        variables.append(static_cast<HXEnvironmentVariable *>(object));
    return variables;
}

HXEnvironmentVariable *variableNamed(HXManagedObjectContext *context, const QString &name)
{
    for (HXEnvironmentVariable *variable : variablesByName(context)) {
        if (variable->name() == name)
            return variable;
    }
    return nullptr;
}

QString listing(HXDocument &document)
{
    HXManagedObjectContext *context = document.managedObjectContext();
    const HXEnvironment *current = HXCLI::restoreSelectedEnvironment(document);
    const QList<HXEnvironment *> environments = HXEnvironment::environmentsSortedByName(context);
    QString out = QStringLiteral("environments:\n");
    for (const HXEnvironment *environment : environments)
        out += QStringLiteral("%1 %2\n").arg(environment == current ? QStringLiteral("*") : QStringLiteral(" "),
                                             environment->name());
    out += QStringLiteral("variables:\n");
    for (HXEnvironmentVariable *variable : variablesByName(context)) {
        out += QStringLiteral("  %1  %2\n").arg(variable->name(), variable->uuid());
        for (const HXEnvironment *environment : environments) {
            const HXEnvironmentVariableValue *record = environment->valueForVariable(variable);
            out += QStringLiteral("    %1: %2\n")
                       .arg(environment->name(), record != nullptr
                                                     ? HXDynamicValueEngine::displayStringFromString(record->value())
                                                     : QStringLiteral("(no value)"));
        }
    }
    return out;
}

int runEnv(const QStringList &arguments)
{
    if (arguments.isEmpty() || arguments.first().startsWith(u'-'))
        return HXCLI::usageError(usage);
    const QString file = arguments.first();
    const QString action = arguments.size() > 1 ? arguments.at(1) : QStringLiteral("list");
    const QStringList operands = arguments.mid(2);
    struct Shape
    {
        const char *action;
        qsizetype minimum, maximum;
    };
    static const Shape shapes[] = {
        {"list", 0, 0}, {"add-environment", 1, 1}, {"add-variable", 1, 2}, {"set", 3, 3}, {"choose", 1, 1}};
    const Shape *shape = nullptr;
    for (const Shape &candidate : shapes) {
        if (action == QLatin1String(candidate.action))
            shape = &candidate;
    }
    if (shape == nullptr || operands.size() < shape->minimum || operands.size() > shape->maximum)
        return HXCLI::usageError(usage);

    auto document = HXCLI::openDocumentOrReport(file, true);
    if (!document)
        return HXCLIExitUsage;
    HXManagedObjectContext *context = document->managedObjectContext();

    if (action == u"list") {
        HXCLI::writeOut(listing(*document));
        return HXCLIExitSuccess;
    }
    if (action == u"choose") {
        HXEnvironment *environment = HXCLI::environmentNamed(*document, operands.at(0));
        if (environment == nullptr)
            return HXCLI::usageError(QStringLiteral("no environment '%1'").arg(operands.at(0)));
        HXCLI::rememberSelectedEnvironment(*document, environment);
        return HXCLIExitSuccess;
    }
    if (action == u"add-environment") {
        const QString name = operands.at(0);
        if (name.isEmpty())
            return HXCLI::usageError(QStringLiteral("an environment needs a name"));
        if (HXCLI::environmentNamed(*document, name) != nullptr)
            return HXCLI::usageError(QStringLiteral("an environment named '%1' exists already").arg(name));
        HXEnvironment::addEnvironment(name, context);
    } else if (action == u"add-variable") {
        const QString name = operands.at(0);
        if (name.isEmpty())
            return HXCLI::usageError(QStringLiteral("a variable needs a name"));
        if (variableNamed(context, name) != nullptr)
            return HXCLI::usageError(QStringLiteral("a variable named '%1' exists already").arg(name));
        HXEnvironment::createDefaultEnvironmentIfNeeded(context);
        HXEnvironment::addEnvironmentVariable(name, HXCLI::storedDynamicString(operands.value(1)), context);
    } else { // set
        HXEnvironmentVariable *variable = variableNamed(context, operands.at(0));
        if (variable == nullptr)
            return HXCLI::usageError(QStringLiteral("no variable '%1'").arg(operands.at(0)));
        HXEnvironment *environment = HXCLI::environmentNamed(*document, operands.at(1));
        if (environment == nullptr)
            return HXCLI::usageError(QStringLiteral("no environment '%1'").arg(operands.at(1)));
        HXEnvironmentVariableValue *record = environment->valueForVariable(variable);
        if (record == nullptr) {
            record =
                context->insertNewObject<HXEnvironmentVariableValue>(HXEnvironmentVariableValue::staticEntityName());
            record->setVariable(variable);
            record->setEnvironment(environment);
        }
        record->setValue(HXCLI::storedDynamicString(operands.at(2)));
        context->processPendingChanges();
    }
    return HXCLI::saveDocumentOrReport(*document, file) ? HXCLIExitSuccess : HXCLIExitUsage;
}

} // namespace

static const bool registered = HXCLICommandRegistry::add({
    QStringLiteral("env"),
    QStringLiteral("env FILE [list | add-environment NAME | add-variable NAME [VALUE] | set VARIABLE ENVIRONMENT "
                   "VALUE | choose ENVIRONMENT]"),
    QStringLiteral("list, add and set environments and variables; choose the environment show uses"),
    runEnv,
});
