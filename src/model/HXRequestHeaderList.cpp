#include "HXRequestHeaderList.h"

#include <QRegularExpression>

bool HXRequestHeaderList::nameIsLike(const QString &candidate, const QString &pattern)
{
    if (!pattern.contains(u'*') && !pattern.contains(u'?'))
        return candidate.compare(pattern, Qt::CaseInsensitive) == 0;
    // Only "*" and "?" are special; everything else matches itself.
    QString expression;
    expression.reserve(pattern.size() * 2 + 4);
    for (const QChar c : pattern) {
        if (c == u'*')
            expression += QStringLiteral(".*");
        else if (c == u'?')
            expression += u'.';
        else
            expression += QRegularExpression::escape(QString(c));
    }
    const QRegularExpression regex(QRegularExpression::anchoredPattern(expression),
                                   QRegularExpression::CaseInsensitiveOption |
                                       QRegularExpression::DotMatchesEverythingOption);
    return regex.match(candidate).hasMatch();
}

bool HXRequestHeaderList::hasHTTPHeaderName(const QString &name) const
{
    for (const HXRequestHeaderEntry &entry : m_entries) {
        if (nameIsLike(entry.name, name))
            return true;
    }
    return false;
}

std::optional<QString> HXRequestHeaderList::valueForHTTPHeaderName(const QString &name) const
{
    for (const HXRequestHeaderEntry &entry : m_entries) {
        if (nameIsLike(entry.name, name))
            return entry.value;
    }
    return std::nullopt;
}

QMap<QString, QString> HXRequestHeaderList::headersDictionaryFromArray() const
{
    QMap<QString, QString> dictionary;
    for (const HXRequestHeaderEntry &entry : m_entries) {
        if (!entry.name.isEmpty() && !entry.value.isEmpty())
            dictionary.insert(entry.name, entry.value);
    }
    return dictionary;
}

HXHTTPHeaderList HXRequestHeaderList::HTTPHeaderList() const
{
    HXHTTPHeaderList list;
    list.reserve(m_entries.size());
    for (const HXRequestHeaderEntry &entry : m_entries)
        list.append({entry.name, entry.value});
    return list;
}

QVariantList HXRequestHeaderList::toVariantList() const
{
    QVariantList list;
    list.reserve(m_entries.size());
    for (const HXRequestHeaderEntry &entry : m_entries) {
        list.append(QVariantMap{{QStringLiteral("name"), entry.name},
                                {QStringLiteral("value"), entry.value},
                                {QStringLiteral("attributedStringName"), entry.attributedStringName},
                                {QStringLiteral("attributedStringValue"), entry.attributedStringValue}});
    }
    return list;
}

std::optional<QString> HXRequestHeaderList::HTTPHeaderParameter(const QString &headerValue, const QString &parameter)
{
    const QStringList pieces = headerValue.split(u';');
    for (qsizetype i = 1; i < pieces.size(); ++i) {
        const QString &piece = pieces.at(i);
        const qsizetype equals = piece.indexOf(u'=');
        if (equals < 0)
            continue;
        if (piece.left(equals).trimmed().compare(parameter, Qt::CaseInsensitive) != 0)
            continue;
        QString value = piece.mid(equals + 1).trimmed();
        if (value.size() >= 2 && value.startsWith(u'"') && value.endsWith(u'"'))
            value = value.mid(1, value.size() - 2);
        return value;
    }
    return std::nullopt;
}

QString HXRequestHeaderList::HTTPHeaderMainValue(const QString &headerValue)
{
    return headerValue.section(u';', 0, 0).trimmed();
}
