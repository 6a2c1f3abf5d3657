#pragma once

#include "HXFetchRequest.h"
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

    // A row is blank when its name and value are both empty.
    bool isBlank() const { return name().isEmpty() && value().isEmpty(); }

    // The rows of `owner` held through `relationship` ("request",
    // "groupForHeaders", "groupForUrlParameters" or "groupForBodyParameters"),
    // sorted by order.
    static HXFetchRequest fetchRequestForRelationship(const QString &relationship, HXManagedObject *owner);
    static QList<HXKeyValue *> keyValuesForRelationship(const QString &relationship, HXManagedObject *owner);
    // Inserts a row after the others; a non-blank row goes before a trailing
    // blank row, which stays last.
    static HXKeyValue *addKeyValueName(const QString &name, const QString &value, const QString &relationship,
                                       HXManagedObject *owner);
    // Makes sure the table ends with one blank row; the new row or null.
    static HXKeyValue *addEmptyKeyValueAtEndIfNeededForRelationship(const QString &relationship,
                                                                    HXManagedObject *owner);
};
