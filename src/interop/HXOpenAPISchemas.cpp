#include "HXOpenAPISchemas.h"

#include <QJsonArray>

QJsonObject HXOpenAPISchemas::resolve(const QJsonValue &value, QStringList &skipped) const
{
    QJsonObject object = value.toObject();
    for (int hops = 0; hops < 16 && object.contains(QStringLiteral("$ref")); ++hops) {
        const QString reference = object.value(QStringLiteral("$ref")).toString();
        if (!reference.startsWith(QStringLiteral("#/"))) {
            skipped.append(QStringLiteral("reference '%1' to another file is not followed").arg(reference));
            return {};
        }
        QJsonValue target = m_root;
        for (QString part : reference.mid(2).split(u'/')) {
            part.replace(QStringLiteral("~1"), QStringLiteral("/")).replace(QStringLiteral("~0"), QStringLiteral("~"));
            target = target.toObject().value(part);
        }
        if (!target.isObject()) {
            skipped.append(QStringLiteral("reference '%1' leads nowhere").arg(reference));
            return {};
        }
        object = target.toObject();
    }
    return object;
}

QJsonValue HXOpenAPISchemas::example(const QJsonValue &schemaValue, QStringList &skipped, QStringList visiting) const
{
    const QString reference = schemaValue.toObject().value(QStringLiteral("$ref")).toString();
    if (visiting.size() > 8 || (!reference.isEmpty() && visiting.contains(reference)))
        return QJsonValue::Null;
    visiting.append(reference);
    const QJsonObject schema = resolve(schemaValue, skipped);
    if (schema.contains(QStringLiteral("example")))
        return schema.value(QStringLiteral("example"));
    if (schema.value(QStringLiteral("examples")).isArray() &&
        !schema.value(QStringLiteral("examples")).toArray().isEmpty())
        return schema.value(QStringLiteral("examples")).toArray().first();
    if (schema.contains(QStringLiteral("default")))
        return schema.value(QStringLiteral("default"));
    if (schema.value(QStringLiteral("enum")).isArray() && !schema.value(QStringLiteral("enum")).toArray().isEmpty())
        return schema.value(QStringLiteral("enum")).toArray().first();
    if (schema.value(QStringLiteral("allOf")).isArray()) {
        QJsonObject merged;
        for (const QJsonValue &part : schema.value(QStringLiteral("allOf")).toArray()) {
            const QJsonObject partExample = example(part, skipped, visiting).toObject();
            for (auto it = partExample.begin(); it != partExample.end(); ++it)
                merged.insert(it.key(), it.value());
        }
        return merged;
    }
    for (const QString &choice : {QStringLiteral("oneOf"), QStringLiteral("anyOf")}) {
        const QJsonArray choices = schema.value(choice).toArray();
        if (!choices.isEmpty())
            return example(choices.first(), skipped, visiting);
    }
    QString type = schema.value(QStringLiteral("type")).toString();
    if (schema.value(QStringLiteral("type")).isArray()) // 3.1: ["string", "null"]
        type = schema.value(QStringLiteral("type")).toArray().first().toString();
    if (type.isEmpty() && schema.contains(QStringLiteral("properties")))
        type = QStringLiteral("object");
    if (type == u"object") {
        QJsonObject object;
        const QJsonObject properties = schema.value(QStringLiteral("properties")).toObject();
        for (auto it = properties.begin(); it != properties.end(); ++it)
            object.insert(it.key(), example(it.value(), skipped, visiting));
        return object;
    }
    if (type == u"array")
        return QJsonArray{example(schema.value(QStringLiteral("items")), skipped, visiting)};
    if (type == u"integer" || type == u"number")
        return 0;
    if (type == u"boolean")
        return true;
    if (type == u"string") {
        const QString format = schema.value(QStringLiteral("format")).toString();
        if (format == u"date-time")
            return QStringLiteral("2024-01-01T00:00:00Z");
        if (format == u"date")
            return QStringLiteral("2024-01-01");
        return QStringLiteral("string");
    }
    return QJsonValue::Null;
}

QJsonValue HXOpenAPISchemas::mediaExample(const QJsonObject &media, QStringList &skipped) const
{
    if (media.contains(QStringLiteral("example")))
        return media.value(QStringLiteral("example"));
    const QJsonObject examples = media.value(QStringLiteral("examples")).toObject();
    if (!examples.isEmpty())
        return resolve(examples.begin().value(), skipped).value(QStringLiteral("value"));
    return example(media.value(QStringLiteral("schema")), skipped);
}
