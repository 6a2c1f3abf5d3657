#include "HXHTTPHeaderField.h"

#include <QRegularExpression>

namespace {

bool nameMatches(const QString &candidate, const QString &pattern)
{
    if (!pattern.contains(u'*') && !pattern.contains(u'?'))
        return candidate.compare(pattern, Qt::CaseInsensitive) == 0;
    const QRegularExpression expression(QRegularExpression::wildcardToRegularExpression(pattern),
                                        QRegularExpression::CaseInsensitiveOption);
    return expression.match(candidate).hasMatch();
}

} // namespace

namespace HXHTTPHeaders {

bool hasHTTPHeaderName(const HXHTTPHeaderList &headers, const QString &name)
{
    for (const HXHTTPHeaderField &field : headers) {
        if (nameMatches(field.name, name))
            return true;
    }
    return false;
}

QString valueForHTTPHeaderName(const HXHTTPHeaderList &headers, const QString &name)
{
    for (const HXHTTPHeaderField &field : headers) {
        if (nameMatches(field.name, name))
            return field.value;
    }
    return QString();
}

QMap<QString, QString> headersDictionaryFromArray(const HXHTTPHeaderList &headers)
{
    QMap<QString, QString> dictionary;
    for (const HXHTTPHeaderField &field : headers) {
        if (field.name.isEmpty() || field.value.isEmpty())
            continue;
        dictionary.insert(field.name, field.value);
    }
    return dictionary;
}

HXHTTPHeaderList fromVariantList(const QVariantList &entries)
{
    HXHTTPHeaderList headers;
    headers.reserve(entries.size());
    for (const QVariant &entry : entries) {
        const QVariantMap map = entry.toMap();
        headers.append({map.value(QStringLiteral("name")).toString(), map.value(QStringLiteral("value")).toString()});
    }
    return headers;
}

QVariantList toVariantList(const HXHTTPHeaderList &headers)
{
    QVariantList entries;
    entries.reserve(headers.size());
    for (const HXHTTPHeaderField &field : headers)
        entries.append(QVariantMap{{QStringLiteral("name"), field.name}, {QStringLiteral("value"), field.value}});
    return entries;
}

} // namespace HXHTTPHeaders
