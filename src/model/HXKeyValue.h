#pragma once

#include "HXManagedObject.h"

class HXRequest;
class HXRequestGroup;

// One row of a header, URL-parameter or form-field table. Exactly one of the four owner relationships is set.
class HXKeyValue : public HXManagedObject
{
public:
    static QString staticEntityName() { return QStringLiteral("HXKeyValue"); }

    QString name() const;
    void setName(const QString &value);
    QString value() const;
    void setValue(const QString &value);
    bool enabled() const;
    void setEnabled(bool value);
    quint64 order() const;
    void setOrder(quint64 value);
    HXRequest *request() const;
    void setRequest(HXRequest *value);
    HXRequestGroup *groupForHeaders() const;
    void setGroupForHeaders(HXRequestGroup *value);
    HXRequestGroup *groupForUrlParameters() const;
    void setGroupForUrlParameters(HXRequestGroup *value);
    HXRequestGroup *groupForBodyParameters() const;
    void setGroupForBodyParameters(HXRequestGroup *value);
};
