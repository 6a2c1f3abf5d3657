#pragma once

#include "HXRequestTreeItem.h"

class HXKeyValue;

// A folder of the request tree. Its headers and body parameters are inherited by the requests below it.
class HXRequestGroup : public HXRequestTreeItem
{
public:
    static QString staticEntityName() { return QStringLiteral("HXRequestGroup"); }

    QString baseUrl() const;
    void setBaseUrl(const QString &value);
    QList<HXKeyValue *> headers() const;
    QList<HXKeyValue *> urlParameters() const;
    QList<HXKeyValue *> bodyParameters() const;

    // A folder describes itself by its name; its value (for outline views)
    // is the URI of its object; any two folders compare as equal.
    QString description() const override { return name(); }
    QString value() const { return objectURI(); }
    int compare(const HXRequestGroup *) const { return 0; }
};
