#include "HXInteropText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

namespace {

// Walks `text`: literal runs and "{{name}}" references (a name is a run
// without braces or line breaks, not blank).
template <typename Literal, typename Reference>
void walk(const QString &text, Literal literal, Reference reference)
{
    qsizetype position = 0;
    while (position < text.size()) {
        const qsizetype open = text.indexOf(QStringLiteral("{{"), position);
        if (open < 0) {
            literal(text.mid(position), false);
            return;
        }
        const qsizetype close = text.indexOf(QStringLiteral("}}"), open + 2);
        const QString name = close < 0 ? QString() : text.mid(open + 2, close - open - 2);
        const bool valid = close >= 0 && !name.trimmed().isEmpty() && !name.contains(u'{') && !name.contains(u'}') &&
                           !name.contains(u'\n') && !name.contains(u'\r');
        literal(text.mid(position, open - position), true);
        if (valid) {
            reference(name.trimmed());
            position = close + 2;
        } else {
            literal(QStringLiteral("{{"), false);
            position = open + 2;
        }
    }
}

QString token(const QString &name, QSet<QString> *variables, QSet<QString> *generated)
{
    if (name == u"$timestamp")
        return QStringLiteral("{{timestamp epoch}}");
    if (name == u"$isoTimestamp")
        return QStringLiteral("{{timestamp iso8601}}");
    if (variables != nullptr)
        variables->insert(name);
    if (generated != nullptr && name.startsWith(u'$'))
        generated->insert(name);
    QString escaped = name;
    escaped.replace(u'\\', QStringLiteral("\\\\")).replace(u'"', QStringLiteral("\\\""));
    return QStringLiteral("{{env \"") + escaped + QStringLiteral("\"}}");
}

} // namespace

QString HXInteropText::readableText(const QString &text, QSet<QString> *variables, QSet<QString> *generated)
{
    QString readable;
    walk(
        text,
        [&](const QString &run, bool beforeBraces) {
            if (run == u"{{" && !beforeBraces) {
                // A "{{" that starts no token; the backslashes before it were
                // doubled, and one more makes it literal.
                readable += QStringLiteral("\\{{");
                return;
            }
            readable += run;
            if (beforeBraces) {
                qsizetype backslashes = 0;
                while (backslashes < run.size() && run.at(run.size() - 1 - backslashes) == u'\\')
                    ++backslashes;
                readable += QString(backslashes, u'\\');
            }
        },
        [&](const QString &name) { readable += token(name, variables, generated); });
    return readable;
}

QString HXInteropText::quotedArgument(const QString &text, QSet<QString> *variables, QSet<QString> *generated)
{
    QString quoted = QStringLiteral("\"");
    walk(
        text,
        [&](const QString &run, bool) {
            for (const QChar c : run) {
                if (c == u'\\' || c == u'"' || c == u'{')
                    quoted += u'\\';
                quoted += c;
            }
        },
        [&](const QString &name) { quoted += token(name, variables, generated); });
    return quoted + u'"';
}

QStringList HXInteropText::variableNames(const QString &text)
{
    QStringList names;
    walk(
        text, [](const QString &, bool) {}, [&](const QString &name) { names.append(name); });
    return names;
}

QString HXInteropText::jsonText(const QJsonValue &value)
{
    if (value.isString())
        return value.toString();
    if (value.isDouble())
        return QString::number(value.toDouble(), 'g', 17);
    if (value.isBool())
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    if (value.isArray())
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact));
    if (value.isObject())
        return QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact));
    return {};
}
