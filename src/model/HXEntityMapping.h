#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>

class HXEntityMigrationPolicy;
class HXManagedObject;

// How the objects of one source entity become objects of a destination
// entity during a migration: one value expression per destination attribute,
// evaluated on each source object. Relationships are carried over by name.
class HXEntityMapping
{
public:
    struct AttributeMapping
    {
        QString name; // the destination attribute
        // The destination value for a source object; an invalid QVariant
        // leaves the attribute absent.
        std::function<QVariant(const HXManagedObject *source)> valueExpression;
    };

    QString name; // "<Source>To<Destination>"
    QString sourceEntityName;
    QString destinationEntityName;
    QByteArray sourceEntityVersionHash;
    QByteArray destinationEntityVersionHash;
    QList<AttributeMapping> attributeMappings;
    // Custom steps for this entity; null: the standard behaviour.
    std::shared_ptr<HXEntityMigrationPolicy> migrationPolicy;

    // An expression that gives `value` whatever the source object.
    static std::function<QVariant(const HXManagedObject *)> constantExpression(const QVariant &value);
    // An expression that copies the source object's attribute `key`.
    static std::function<QVariant(const HXManagedObject *)> keyPathExpression(const QString &key);
};
