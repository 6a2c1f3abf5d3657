#pragma once

#include "HXHTTPHeaderField.h"

// Response header fields: name -> value, where lookups ignore the case of the
// name. Keeps the first spelling and first-seen order of each name; a field
// that occurs again is folded into the earlier one, values joined by ", ".
class HXHTTPHeaderDictionary
{
public:
    void insert(const QString &name, const QString &value);
    bool contains(const QString &name) const { return indexOf(name) >= 0; }
    // The value for `name` in any case, or a null string.
    QString value(const QString &name) const;
    const HXHTTPHeaderList &fields() const { return m_fields; }
    qsizetype size() const { return m_fields.size(); }
    bool isEmpty() const { return m_fields.isEmpty(); }
    QMap<QString, QString> toMap() const;

    bool operator==(const HXHTTPHeaderDictionary &other) const = default;

private:
    qsizetype indexOf(const QString &name) const;
    HXHTTPHeaderList m_fields;
};
