#pragma once

#include "HXManagedObject.h"

class HXRequestGroup;

// An item of the request tree: a request or a folder. Siblings are ordered by `order`; `parent` is the folder that
// holds the item (none at top level).
class HXRequestTreeItem : public HXManagedObject
{
public:
    static QString staticEntityName() { return QStringLiteral("HXRequestTreeItem"); }

    QString name() const;
    void setName(const QString &value);
    qint64 order() const;
    void setOrder(qint64 value);
    HXRequestGroup *parent() const;
    void setParent(HXRequestGroup *value);
    QList<HXRequestTreeItem *> children() const;
};
