#pragma once

#include <QJsonValue>
#include <QSet>
#include <QString>

class HXDynamicString;

// Texts of other tools' formats, where "{{name}}" stands for a variable,
// turned into Kea's readable token form (HXDynamicStringTextFormat) with
// environment variable tokens, and back.
class HXInteropText
{
public:
    // The readable text of `text`: each "{{name}}" becomes {{env "name"}}
    // (names are trimmed; Postman's {{$timestamp}} and {{$isoTimestamp}}
    // become timestamp tokens), everything else stays literal: a "{{" that
    // starts no variable is escaped, and backslashes before a "{{" are
    // doubled. The names met are added to `variables`; those of Postman's
    // other generated values ("$guid", "$randomInt"...) to `generated` too.
    static QString readableText(const QString &text, QSet<QString> *variables = nullptr,
                                QSet<QString> *generated = nullptr);
    // The same as one quoted argument of a token ("..."), for values inside
    // {{basic ...}}, {{form ...}} and {{multipart ...}}.
    static QString quotedArgument(const QString &text, QSet<QString> *variables = nullptr,
                                  QSet<QString> *generated = nullptr);

    // The variable names of "{{name}}" in `text`, in order.
    static QStringList variableNames(const QString &text);
    // A JSON value as the text of a field: strings as they are, numbers
    // and booleans written out, arrays and objects as compact JSON, null
    // and missing values empty.
    static QString jsonText(const QJsonValue &value);
    // "{{" + name + "}}".
    static QString variableReference(const QString &name) { return QStringLiteral("{{") + name + QStringLiteral("}}"); }
};
