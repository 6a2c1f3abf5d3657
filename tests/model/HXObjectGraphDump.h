#pragma once

#include "HXManagedObjectContext.h"

#include <QStringList>

// A canonical text of every live object — attributes and both sides of every
// relationship, sorted — so two graphs can be compared exactly.
inline QString HXObjectGraphDump(const HXManagedObjectContext &context)
{
    QStringList lines;
    for (const HXManagedObject *object : context.registeredObjects()) {
        QString line = QStringLiteral("%1 p%2").arg(object->entityName()).arg(object->objectNumber());
        const HXEntityDescription *entity = object->entity();
        for (const HXAttributeDescription &attribute : entity->attributes()) {
            const QVariant value = object->valueForKey(attribute.name);
            line += QStringLiteral(" %1=%2").arg(attribute.name, value.isValid() ? value.toString() + u'/' +
                                                                                       QString::number(value.typeId())
                                                                                 : QStringLiteral("<none>"));
        }
        for (const HXRelationshipDescription &relationship : entity->relationships()) {
            QStringList targets;
            if (relationship.toMany) {
                for (const HXManagedObject *target : object->objectsForKey(relationship.name))
                    targets.append(QStringLiteral("p%1").arg(target->objectNumber()));
                targets.sort();
            } else if (const HXManagedObject *target = object->objectForKey(relationship.name)) {
                targets.append(QStringLiteral("p%1").arg(target->objectNumber()));
            }
            line += QStringLiteral(" %1->[%2]").arg(relationship.name, targets.join(u','));
        }
        lines.append(line);
    }
    lines.sort();
    return lines.join(u'\n');
}
