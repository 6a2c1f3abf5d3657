#include "HXDocumentModel.h"

#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableValue.h"
#include "HXKeyValue.h"
#include "HXManagedObjectModel.h"
#include "HXModelLogging.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"

namespace {

using Type = HXAttributeType;

HXAttributeDescription attribute(const char *name, Type type, QVariant defaultValue = {})
{
    return {QString::fromLatin1(name), type, std::move(defaultValue)};
}

HXRelationshipDescription toOne(const char *name, const char *destination, const char *inverse)
{
    return {QString::fromLatin1(name), QString::fromLatin1(destination), QString::fromLatin1(inverse), false,
            HXDeleteRule::Nullify};
}

// Rows and children belong to their owner: deleting the owner deletes them.
HXRelationshipDescription ownedMany(const char *name, const char *destination, const char *inverse)
{
    return {QString::fromLatin1(name), QString::fromLatin1(destination), QString::fromLatin1(inverse), true,
            HXDeleteRule::Cascade};
}

template <typename T>
HXEntityDescription::Factory factory()
{
    return [] { return new T(); };
}

std::unique_ptr<HXManagedObjectModel> buildModel()
{
    auto model = std::make_unique<HXManagedObjectModel>();
    model->setVersionIdentifiers({QString::fromLatin1(HXDocumentModel::currentVersionIdentifier)});

    model->addEntity(
        {QStringLiteral("HXRequestTreeItem"),
         QString(),
         true,
         {attribute("name", Type::String), attribute("order", Type::Integer64, 0)},
         {toOne("parent", "HXRequestGroup", "children"), ownedMany("children", "HXRequestTreeItem", "parent")},
         {}});
    model->addEntity(
        {QStringLiteral("HXRequest"),
         QStringLiteral("HXRequestTreeItem"),
         false,
         {attribute("url", Type::String), attribute("method", Type::String, QStringLiteral("GET")),
          attribute("body", Type::String), attribute("followRedirects", Type::Boolean, true),
          attribute("redirectAuthorization", Type::Boolean, false), attribute("redirectMethod", Type::Boolean, false),
          attribute("timeoutInterval", Type::Double, 60.0), attribute("uuid", Type::String)},
         {ownedMany("headers", "HXKeyValue", "request")},
         factory<HXRequest>()});
    model->addEntity({QStringLiteral("HXRequestGroup"),
                      QStringLiteral("HXRequestTreeItem"),
                      false,
                      {attribute("baseUrl", Type::String)},
                      {ownedMany("headers", "HXKeyValue", "groupForHeaders"),
                       ownedMany("urlParameters", "HXKeyValue", "groupForUrlParameters"),
                       ownedMany("bodyParameters", "HXKeyValue", "groupForBodyParameters")},
                      factory<HXRequestGroup>()});
    model->addEntity({QStringLiteral("HXKeyValue"),
                      QString(),
                      false,
                      {attribute("name", Type::String), attribute("value", Type::String),
                       attribute("enabled", Type::Boolean, true), attribute("order", Type::UnsignedInteger64, 0)},
                      {toOne("request", "HXRequest", "headers"), toOne("groupForHeaders", "HXRequestGroup", "headers"),
                       toOne("groupForUrlParameters", "HXRequestGroup", "urlParameters"),
                       toOne("groupForBodyParameters", "HXRequestGroup", "bodyParameters")},
                      factory<HXKeyValue>()});
    model->addEntity({QStringLiteral("HXEnvironment"),
                      QString(),
                      false,
                      {attribute("name", Type::String)},
                      {ownedMany("variablesValues", "HXEnvironmentVariableValue", "environment")},
                      factory<HXEnvironment>()});
    model->addEntity({QStringLiteral("HXEnvironmentVariable"),
                      QString(),
                      false,
                      {attribute("name", Type::String), attribute("uuid", Type::String)},
                      {ownedMany("values", "HXEnvironmentVariableValue", "variable")},
                      factory<HXEnvironmentVariable>()});
    model->addEntity({QStringLiteral("HXEnvironmentVariableValue"),
                      QString(),
                      false,
                      {attribute("value", Type::String)},
                      {toOne("variable", "HXEnvironmentVariable", "values"),
                       toOne("environment", "HXEnvironment", "variablesValues")},
                      factory<HXEnvironmentVariableValue>()});

    const QString problem = model->finish();
    if (!problem.isEmpty())
        qFatal("the document model is inconsistent: %s", qPrintable(problem));
    return model;
}

} // namespace

const HXManagedObjectModel &HXDocumentModel::currentModel()
{
    static const std::unique_ptr<HXManagedObjectModel> model = buildModel();
    return *model;
}
