#include "HXCLIEngineOption.h"

#include <QList>

QList<std::pair<QString, QString>> HXCLIEngineOption::namesAndIdentifiers()
{
    return {{QStringLiteral("own"), QStringLiteral("GCDHTTPRequest")},
            {QStringLiteral("libcurl"), QStringLiteral("ASIHTTPRequest")},
            {QStringLiteral("qt"), QStringLiteral("URLConnection")}};
}

QString HXCLIEngineOption::choices()
{
    QStringList names;
    for (const auto &[name, identifier] : namesAndIdentifiers())
        names.append(name);
    return names.join(u'|');
}

QString HXCLIEngineOption::identifierForName(const QString &name)
{
    for (const auto &[known, identifier] : namesAndIdentifiers()) {
        if (known == name)
            return identifier;
    }
    return QString();
}
