#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QStringList>

// Reading an OpenAPI document's objects: local references
// ("#/components/schemas/Pet") followed, and an example value made for a
// schema when the document gives none.
class HXOpenAPISchemas
{
public:
    explicit HXOpenAPISchemas(QJsonObject root) : m_root(std::move(root)) {}

    // The object `value` refers to when it is {"$ref": "#/..."}, followed
    // through up to 16 references; `value` itself otherwise. A reference
    // into another file, or one that leads nowhere, gives an empty object
    // and is added to `skipped`.
    QJsonObject resolve(const QJsonValue &value, QStringList &skipped) const;

    // An example for a schema: its "example", "default" or first "enum"
    // value, else one built from its type (objects from their properties,
    // arrays of one item, "string", 0, true), following allOf (merged),
    // oneOf and anyOf (the first). A schema met again inside itself, and
    // depth beyond 8, end in null.
    QJsonValue example(const QJsonValue &schema, QStringList &skipped, QStringList visiting = {}) const;

    // The example of a media type object: "example", the first of
    // "examples" (its "value"), or the schema's example.
    QJsonValue mediaExample(const QJsonObject &media, QStringList &skipped) const;

private:
    QJsonObject m_root;
};
