#pragma once

#include "HXHTTPHeaderField.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QVariantList>

#include <optional>

// One entry of an assembled header list: the evaluated name and value, and
// the stored dynamic strings of the row they came from (the empty text when
// the entry was not made from a row, or the row had none).
struct HXRequestHeaderEntry
{
    QString name;
    QString value;
    QString attributedStringName;
    QString attributedStringValue;

    friend bool operator==(const HXRequestHeaderEntry &, const HXRequestHeaderEntry &) = default;
};

// The ordered header list of an assembled request. Order is wire order and a
// name may occur more than once.
class HXRequestHeaderList
{
public:
    HXRequestHeaderList() = default;
    HXRequestHeaderList(std::initializer_list<HXRequestHeaderEntry> entries) : m_entries(entries) {}

    const QList<HXRequestHeaderEntry> &entries() const { return m_entries; }
    qsizetype size() const { return m_entries.size(); }
    bool isEmpty() const { return m_entries.isEmpty(); }
    const HXRequestHeaderEntry &at(qsizetype index) const { return m_entries.at(index); }
    QList<HXRequestHeaderEntry>::const_iterator begin() const { return m_entries.cbegin(); }
    QList<HXRequestHeaderEntry>::const_iterator end() const { return m_entries.cend(); }

    void append(const HXRequestHeaderEntry &entry) { m_entries.append(entry); }
    // An entry whose stored texts are the name and the value themselves.
    void append(const QString &name, const QString &value) { m_entries.append({name, value, name, value}); }

    // True when some entry's name matches `name` without regard to case, as
    // a "like" pattern: "*" in `name` stands for any run of characters, "?"
    // for one character; everything else is literal and the whole name must
    // match.
    bool hasHTTPHeaderName(const QString &name) const;
    // The value of the first entry matching like hasHTTPHeaderName, or none.
    std::optional<QString> valueForHTTPHeaderName(const QString &name) const;
    // Name -> value of the entries whose name and value are both non-empty;
    // a later entry replaces an earlier one of the same name (same case).
    QMap<QString, QString> headersDictionaryFromArray() const;

    // Name/value pairs in order, as the HTTP engines take them.
    HXHTTPHeaderList HTTPHeaderList() const;
    // The list as maps with the keys "name", "value", "attributedStringName"
    // and "attributedStringValue".
    QVariantList toVariantList() const;

    // The like-match used above, exposed for the places that compare one name.
    static bool nameIsLike(const QString &candidate, const QString &pattern);
    // The parameter `parameter` (compared without regard to case) of a header
    // value such as "text/plain; charset=utf-8": the pieces after the first
    // ";" are split at the first "="; the value is trimmed and one pair of
    // surrounding double quotes removed. None when absent.
    static std::optional<QString> HTTPHeaderParameter(const QString &headerValue, const QString &parameter);
    // The main value of a header value: the part before any ";", trimmed.
    static QString HTTPHeaderMainValue(const QString &headerValue);

    friend bool operator==(const HXRequestHeaderList &, const HXRequestHeaderList &) = default;

private:
    QList<HXRequestHeaderEntry> m_entries;
};
