#include "HXHTTPHeaderDictionary.h"

void HXHTTPHeaderDictionary::insert(const QString &name, const QString &value)
{
    const qsizetype index = indexOf(name);
    if (index < 0) {
        m_fields.append({name, value});
        return;
    }
    QString &existing = m_fields[index].value;
    existing = existing.isEmpty() ? value : existing + QStringLiteral(", ") + value;
}

QString HXHTTPHeaderDictionary::value(const QString &name) const
{
    const qsizetype index = indexOf(name);
    return index < 0 ? QString() : m_fields.at(index).value;
}

QMap<QString, QString> HXHTTPHeaderDictionary::toMap() const
{
    QMap<QString, QString> map;
    for (const HXHTTPHeaderField &field : m_fields)
        map.insert(field.name, field.value);
    return map;
}

qsizetype HXHTTPHeaderDictionary::indexOf(const QString &name) const
{
    for (qsizetype i = 0; i < m_fields.size(); ++i) {
        if (m_fields.at(i).name.compare(name, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}
