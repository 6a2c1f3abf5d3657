// HXDynamicStringTextFormat: the parser of the readable text form.

#include "HXDynamicStringTextFormat.h"
#include "HXDynamicStringTextKind.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXFileContentDynamicValue.h"
#include "HXManagedObjectContext.h"

#include <QDir>
#include <QFileInfo>

#include <optional>

namespace {

using Context = HXDynamicStringTextFormat::Context;
using Kind = HXDynamicStringTextKind;

// One argument value as written, with the column it starts at.
struct Value
{
    qsizetype position = 0;
    bool isNull = false;
    bool isBare = false;
    HXDynamicString string;
};

struct Argument
{
    qsizetype position = 0;
    bool disabled = false;
    Value first;
    std::optional<Value> second;
};

class Parser
{
public:
    Parser(const QString &text, const Context &context) : m_text(text), m_context(context) {}

    std::optional<HXError> error;

    bool parseText(HXDynamicString &out)
    {
        while (m_pos < m_text.size()) {
            if (at(u'\\')) {
                qsizetype n = 0;
                while (m_pos + n < m_text.size() && m_text.at(m_pos + n) == u'\\')
                    ++n;
                if (m_pos + n < m_text.size() && m_text.at(m_pos + n) == u'{') {
                    out.append(QString(n / 2, u'\\'));
                    m_pos += n;
                    if (n % 2 == 1) {
                        out.append(QStringLiteral("{"));
                        ++m_pos;
                    }
                } else {
                    out.append(QString(n, u'\\'));
                    m_pos += n;
                }
            } else if (atToken()) {
                HXDynamicValuePtr value;
                if (!parseToken(value))
                    return false;
                out.appendDynamicValue(value);
            } else {
                out.append(QString(m_text.at(m_pos++)));
            }
        }
        return true;
    }

private:
    bool at(QChar c) const { return m_pos < m_text.size() && m_text.at(m_pos) == c; }
    bool atToken() const { return m_text.mid(m_pos, 2) == u"{{"; }
    void skipSpaces()
    {
        while (m_pos < m_text.size() && m_text.at(m_pos).isSpace())
            ++m_pos;
    }
    bool fail(qsizetype position, const QString &expected)
    {
        if (!error)
            error = HXError(QString::fromLatin1(HXDynamicStringTextFormat::errorDomain),
                            qint64(HXDynamicStringTextFormat::ErrorCode::Syntax),
                            QStringLiteral("column %1: expected %2").arg(position + 1).arg(expected));
        return false;
    }

    bool parseQuoted(HXDynamicString &out)
    {
        const qsizetype start = m_pos++;
        QString run;
        while (true) {
            if (m_pos >= m_text.size())
                return fail(m_pos, QStringLiteral("a closing \" for the text opened at column %1").arg(start + 1));
            const QChar c = m_text.at(m_pos);
            if (c == u'\\') {
                if (m_pos + 1 >= m_text.size())
                    return fail(m_pos + 1, QStringLiteral("a character after \\"));
                run += m_text.at(m_pos + 1);
                m_pos += 2;
            } else if (c == u'"') {
                ++m_pos;
                out.append(run);
                return true;
            } else if (atToken()) {
                out.append(std::exchange(run, QString()));
                HXDynamicValuePtr value;
                if (!parseToken(value))
                    return false;
                out.appendDynamicValue(value);
            } else {
                run += c;
                ++m_pos;
            }
        }
    }

    bool parseValue(Value &value)
    {
        value.position = m_pos;
        if (at(u'"'))
            return parseQuoted(value.string);
        if (atToken()) {
            HXDynamicValuePtr token;
            if (!parseToken(token))
                return false;
            value.string.appendDynamicValue(token);
            return true;
        }
        const qsizetype start = m_pos;
        while (m_pos < m_text.size() && m_text.at(m_pos) != u'!' && m_text.at(m_pos) != u'\\' &&
               !m_text.at(m_pos).isSpace() && m_text.at(m_pos) != u'"' && m_text.at(m_pos) != u'=' &&
               m_text.at(m_pos) != u'{' && m_text.at(m_pos) != u'}')
            ++m_pos;
        if (m_pos == start)
            return fail(m_pos, QStringLiteral("a value (a word or \"quoted text\")"));
        const QString word = m_text.mid(start, m_pos - start);
        value.isBare = true;
        value.isNull = word == u"null";
        value.string = HXDynamicString(word);
        return true;
    }

    bool parseArgument(Argument &argument)
    {
        argument.position = m_pos;
        if (at(u'!')) {
            argument.disabled = true;
            ++m_pos;
        }
        if (!parseValue(argument.first))
            return false;
        if (at(u'=')) {
            ++m_pos;
            Value second;
            if (!parseValue(second))
                return false;
            argument.second = second;
        }
        return true;
    }

    bool parseToken(HXDynamicValuePtr &result)
    {
        const qsizetype start = m_pos;
        m_pos += 2;
        skipSpaces();
        const qsizetype wordStart = m_pos;
        while (m_pos < m_text.size() && m_text.at(m_pos).isLetterOrNumber())
            ++m_pos;
        const QString word = m_text.mid(wordStart, m_pos - wordStart);
        QList<const Kind *> candidates;
        QStringList words;
        for (const Kind &kind : HXDynamicStringTextKind::all()) {
            if (!words.contains(kind.word))
                words.append(kind.word);
            if (kind.word == word)
                candidates.append(&kind);
        }
        if (candidates.isEmpty())
            return fail(wordStart, QStringLiteral("a kind of token (%1)").arg(words.join(QStringLiteral(", "))));
        QList<Argument> arguments;
        while (true) {
            const qsizetype before = m_pos;
            skipSpaces();
            if (m_text.mid(m_pos, 2) == u"}}") {
                m_pos += 2;
                break;
            }
            if (m_pos >= m_text.size())
                return fail(m_pos, QStringLiteral("}} to close the token opened at column %1").arg(start + 1));
            if (m_pos == before)
                return fail(m_pos, QStringLiteral("a blank between arguments"));
            Argument argument;
            if (!parseArgument(argument))
                return false;
            arguments.append(argument);
        }
        return build(candidates, arguments, start, result);
    }

    // The kind whose fixed words stand where the arguments have them.
    const Kind *choose(const QList<const Kind *> &candidates, const QList<Argument> &arguments) const
    {
        for (const Kind *kind : candidates) {
            bool matches = true;
            qsizetype index = 0;
            for (const Argument &argument : arguments) {
                if (argument.second || argument.disabled)
                    continue;
                if (index < kind->positional.size() && kind->positional.at(index).startsWith(u'='))
                    matches = matches && argument.first.isBare &&
                              argument.first.string.string() == kind->positional.at(index).mid(1);
                ++index;
            }
            for (qsizetype i = index; i < kind->positional.size(); ++i)
                matches = matches && !kind->positional.at(i).startsWith(u'=');
            if (matches)
                return kind;
        }
        return nullptr;
    }

    bool build(const QList<const Kind *> &candidates, const QList<Argument> &arguments, qsizetype start,
               HXDynamicValuePtr &result)
    {
        const Kind *kind = choose(candidates, arguments);
        if (kind == nullptr) {
            QStringList fixed;
            for (const Kind *candidate : candidates) {
                for (const QString &entry : candidate->positional) {
                    if (entry.startsWith(u'='))
                        fixed.append(entry.mid(1));
                }
            }
            return fail(start, QStringLiteral("one of %1 after the %2")
                                   .arg(fixed.join(QStringLiteral(", ")), candidates.first()->positional.first()));
        }
        result = HXDynamicValueCatalogue::createValue(kind->className);
        if (!result)
            return fail(start, QStringLiteral("a known kind of token"));
        HXDynamicKeyValueRows rows;
        QStringList given;
        qsizetype index = 0;
        for (const Argument &argument : arguments) {
            if (!kind->rowsProperty.isEmpty()) {
                if (!argument.second)
                    return fail(argument.position, QStringLiteral("a row written NAME=VALUE"));
                rows.append({HXDynamicValueEngine::archiveAttributedString(argument.first.string),
                             HXDynamicValueEngine::archiveAttributedString(argument.second->string),
                             !argument.disabled});
                continue;
            }
            if (argument.disabled)
                return fail(argument.position, QStringLiteral("an argument (! only marks disabled form rows)"));
            QString key;
            const Value *value = &argument.first;
            if (argument.second) {
                key = argument.first.string.string();
                value = &*argument.second;
                if (!argument.first.isBare || result->propertyForKey(key) == nullptr) {
                    QStringList keys;
                    for (const HXDynamicProperty &property : result->dynamicKeyPaths())
                        keys.append(property.key);
                    return fail(
                        argument.position,
                        QStringLiteral("a property of %1 (%2)").arg(kind->word, keys.join(QStringLiteral(", "))));
                }
            } else {
                if (index >= kind->positional.size())
                    return fail(argument.position, QStringLiteral("}} (%1 takes %2 plain arguments)")
                                                       .arg(kind->word)
                                                       .arg(kind->positional.size()));
                key = kind->positional.at(index++);
                if (key.startsWith(u'='))
                    continue;
            }
            if (!setProperty(*result, *kind, *result->propertyForKey(key), *value))
                return false;
            given.append(key);
        }
        if (!kind->rowsProperty.isEmpty())
            result->setValue(kind->rowsProperty, QVariant::fromValue(rows));
        normalise(*result, given);
        return true;
    }

    // A value that takes the time when it is evaluated stores no date of
    // its own unless one was written, and default texts holding such values
    // are rebuilt the same way, so equal texts always store equal forms.
    void normalise(HXDynamicValue &value, const QStringList &given)
    {
        const bool now =
            value.propertyForKey(QStringLiteral("now")) != nullptr && value.boolValue(QStringLiteral("now"));
        for (const HXDynamicProperty &property : value.dynamicKeyPaths()) {
            if (given.contains(property.key))
                continue;
            if (now && property.type == HXDynamicPropertyType::Date)
                value.setValue(property.key, QVariant());
            if (property.type != HXDynamicPropertyType::String || !value.valueForKey(property.key).isValid())
                continue;
            const QString archived = value.stringValue(property.key);
            if (HXDynamicValueEngine::unarchiveAttributedString(archived).attachments().isEmpty())
                continue;
            auto rebuilt = HXDynamicStringTextFormat::archivedStringFromText(
                HXDynamicStringTextFormat::stringFromArchivedString(archived, m_context), m_context);
            if (rebuilt)
                value.setValue(property.key, *rebuilt);
        }
    }

    bool setProperty(HXDynamicValue &target, const Kind &kind, const HXDynamicProperty &property, const Value &value)
    {
        if (value.isNull) {
            target.setValue(property.key, QVariant());
            return true;
        }
        const QString text = value.string.string();
        const bool plain = value.string.attachments().isEmpty();
        auto needsPlain = [&](const QString &what) { return plain || fail(value.position, what); };
        switch (property.type) {
        case HXDynamicPropertyType::String:
            target.setValue(property.key, HXDynamicValueEngine::archiveAttributedString(value.string));
            return true;
        case HXDynamicPropertyType::Integer: {
            const QStringList names = kind.enumerationFor(property.key);
            bool ok = false;
            qint64 number = text.toLongLong(&ok);
            if (!ok && names.contains(text)) {
                number = names.indexOf(text);
                ok = true;
            }
            if (!plain || !ok)
                return fail(value.position, names.isEmpty() ? QStringLiteral("a whole number for %1").arg(property.key)
                                                            : QStringLiteral("one of %1 (or a number) for %2")
                                                                  .arg(names.join(QStringLiteral(", ")), property.key));
            target.setValue(property.key, number);
            return true;
        }
        case HXDynamicPropertyType::Boolean:
            if (!plain || (text != u"true" && text != u"false"))
                return fail(value.position, QStringLiteral("true or false for %1").arg(property.key));
            target.setValue(property.key, text == u"true");
            return true;
        case HXDynamicPropertyType::Double: {
            bool ok = false;
            const double number = text.toDouble(&ok);
            if (!plain || !ok)
                return fail(value.position, QStringLiteral("a number for %1").arg(property.key));
            target.setValue(property.key, number);
            return true;
        }
        case HXDynamicPropertyType::Date: {
            const QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
            if (!plain || !date.isValid())
                return fail(value.position,
                            QStringLiteral("a date like 2026-01-31T12:00:00.000Z for %1").arg(property.key));
            target.setValue(property.key, date.toUTC());
            return true;
        }
        case HXDynamicPropertyType::Data:
            if (!needsPlain(QStringLiteral("plain text for %1").arg(property.key)))
                return false;
            if (property.key == u"bookmarkData") {
                const QString path = QFileInfo(text).isAbsolute() || m_context.documentFolder.isEmpty()
                                         ? text
                                         : QDir(m_context.documentFolder).filePath(text);
                QString reason;
                const QByteArray data =
                    HXFileContentDynamicValue::bookmarkDataForPath(path, m_context.documentFolder, &reason);
                if (data.isEmpty())
                    return fail(value.position, QStringLiteral("an existing file (%1)").arg(reason));
                target.setValue(property.key, data);
            } else {
                target.setValue(property.key, QByteArray::fromBase64(text.toLatin1()));
            }
            return true;
        case HXDynamicPropertyType::KeyValueRows:
            return fail(value.position, QStringLiteral("rows written NAME=VALUE"));
        case HXDynamicPropertyType::Reference:
            return needsPlain(QStringLiteral("a name")) && setReference(target, property, text, value.position);
        }
        return true;
    }

    bool setReference(HXDynamicValue &target, const HXDynamicProperty &property, const QString &text,
                      qsizetype position)
    {
        const QString entity = property.archivingClass;
        const QString what = entity == u"HXRequest" ? QStringLiteral("request") : QStringLiteral("variable");
        if (m_context.managedObjectContext == nullptr)
            return fail(position, QStringLiteral("a document to find the %1 '%2' in").arg(what, text));
        HXFetchRequest fetch(entity);
        QList<HXManagedObject *> named;
        for (HXManagedObject *object : m_context.managedObjectContext->executeFetchRequest(fetch).valueOr({})) {
            if (object->stringForKey(QStringLiteral("uuid")).compare(text, Qt::CaseInsensitive) == 0) {
                named = {object};
                break;
            }
            if (object->stringForKey(QStringLiteral("name")) == text)
                named.append(object);
        }
        if (named.size() != 1)
            return fail(position,
                        named.isEmpty()
                            ? QStringLiteral("the name or uuid of a %1 (there is no %1 '%2')").arg(what, text)
                            : QStringLiteral("a uuid (%1 %2s are named '%3')").arg(named.size()).arg(what, text));
        target.setObjectValue(property.key, named.first());
        return true;
    }

    const QString &m_text;
    Context m_context;
    qsizetype m_pos = 0;
};

} // namespace

HXResult<HXDynamicString> HXDynamicStringTextFormat::parse(const QString &text, const Context &context)
{
    Parser parser(text, context);
    HXDynamicString string;
    if (!parser.parseText(string))
        return *parser.error;
    return string;
}
