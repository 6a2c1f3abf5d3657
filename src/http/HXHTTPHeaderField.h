#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

// One request header as the caller wrote it. A header list is an ordered
// QList of these: order is wire order, duplicates are allowed.
struct HXHTTPHeaderField
{
    QString name;
    QString value;

    bool operator==(const HXHTTPHeaderField &other) const = default;
};

using HXHTTPHeaderList = QList<HXHTTPHeaderField>;

// Operations on header lists, shared by request assembly and the engines.
namespace HXHTTPHeaders {

// True when an entry's name matches `name` ignoring case; "*" and "?" in
// `name` act as wildcards.
bool hasHTTPHeaderName(const HXHTTPHeaderList &headers, const QString &name);
// The value of the first entry whose name matches like hasHTTPHeaderName, or
// a null string.
QString valueForHTTPHeaderName(const HXHTTPHeaderList &headers, const QString &name);
// Folds the list into name -> value, skipping entries with an empty name or
// value; a later entry replaces an earlier one of the same name.
QMap<QString, QString> headersDictionaryFromArray(const HXHTTPHeaderList &headers);

// Conversions from and to the list-of-maps form ({"name", "value", ...}).
HXHTTPHeaderList fromVariantList(const QVariantList &entries);
QVariantList toVariantList(const HXHTTPHeaderList &headers);

} // namespace HXHTTPHeaders
