#include "HXDynamicStringTextFormat.h"

#include "HXDynamicStringTextKind.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironmentVariable.h"
#include "HXFileContentDynamicValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"

#include <QCborMap>
#include <QCborValue>
#include <QDir>
#include <QFileInfo>

namespace {

using Context = HXDynamicStringTextFormat::Context;
using Kind = HXDynamicStringTextKind;

bool isBareCharacter(QChar c)
{
    return !c.isSpace() && c != u'"' && c != u'=' && c != u'!' && c != u'{' && c != u'}' && c != u'\\';
}

bool isBareWord(const QString &text)
{
    return !text.isEmpty() && text != u"null" && std::all_of(text.begin(), text.end(), isBareCharacter);
}

// A literal text run, escaped so that it reads back as itself. `quoted`:
// inside "..." (every backslash escapes); otherwise only backslashes before
// a brace do. `tokenFollows`: the next thing printed is a token.
QString escapedRun(const QString &text, bool quoted, bool tokenFollows)
{
    QString out;
    qsizetype backslashes = 0;
    auto flush = [&](bool beforeBrace) {
        out += QString(quoted || beforeBrace ? backslashes * 2 : backslashes, u'\\');
        backslashes = 0;
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == u'\\') {
            ++backslashes;
            continue;
        }
        if (c == u'{') {
            flush(true);
            const bool nextIsBrace = i + 1 < text.size() ? text.at(i + 1) == u'{' : tokenFollows;
            out += nextIsBrace ? QStringLiteral("\\{") : QStringLiteral("{");
            continue;
        }
        flush(false);
        if (quoted && c == u'"')
            out += u'\\';
        out += c;
    }
    flush(tokenFollows);
    return out;
}

QList<HXManagedObject *> objectsOf(const Context &context, const QString &entity)
{
    if (context.managedObjectContext == nullptr)
        return {};
    HXFetchRequest fetch(entity);
    return context.managedObjectContext->executeFetchRequest(fetch).valueOr({});
}

QString referenceText(HXManagedObject *object, const Context &context)
{
    if (object == nullptr)
        return QString();
    const QString name = object->stringForKey(QStringLiteral("name"));
    const QList<HXManagedObject *> all = objectsOf(context, object->entity()->name());
    const auto sameName = std::count_if(all.begin(), all.end(), [&name](const HXManagedObject *other) {
        return other->stringForKey(QStringLiteral("name")) == name;
    });
    return sameName == 1 && !name.isEmpty() ? name : object->stringForKey(QStringLiteral("uuid"));
}

QString printString(const HXDynamicString &string, const Context &context, bool quoted);

QString printPlain(const QString &text)
{
    return isBareWord(text) ? text : u'"' + escapedRun(text, true, false) + u'"';
}

QString printArchived(const QString &archived, const Context &context)
{
    const HXDynamicString string = HXDynamicValueEngine::unarchiveAttributedString(archived);
    if (string.attachments().isEmpty())
        return printPlain(string.string());
    return u'"' + printString(string, context, true) + u'"';
}

QString printProperty(const HXDynamicValue &value, const Kind &kind, const HXDynamicProperty &property,
                      const Context &context)
{
    const QVariant stored = value.valueForKey(property.key);
    if (!stored.isValid())
        return QStringLiteral("null");
    switch (property.type) {
    case HXDynamicPropertyType::String:
        return printArchived(stored.toString(), context);
    case HXDynamicPropertyType::Integer: {
        const QStringList names = kind.enumerationFor(property.key);
        const qint64 number = stored.toLongLong();
        return number >= 0 && number < names.size() ? names.at(number) : QString::number(number);
    }
    case HXDynamicPropertyType::Boolean:
        return stored.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case HXDynamicPropertyType::Double:
        return QString::number(stored.toDouble(), 'g', 17);
    case HXDynamicPropertyType::Date:
        return u'"' + stored.toDateTime().toUTC().toString(Qt::ISODateWithMs) + u'"';
    case HXDynamicPropertyType::Data: {
        if (property.key == u"bookmarkData") {
            const QCborMap map = QCborValue::fromCbor(stored.toByteArray()).toMap();
            const QString relative = map.value(QStringLiteral("relativePath")).toString();
            if (!context.documentFolder.isEmpty() && !relative.isEmpty())
                return printPlain(relative);
            return printPlain(map.value(QStringLiteral("path")).toString());
        }
        return printPlain(QString::fromLatin1(stored.toByteArray().toBase64()));
    }
    case HXDynamicPropertyType::KeyValueRows:
        return QString();
    case HXDynamicPropertyType::Reference: {
        const QString text = referenceText(stored.value<HXDynamicObjectReference>().object, context);
        return text.isEmpty() ? QStringLiteral("null") : printPlain(text);
    }
    }
    return QString();
}

QString printToken(const HXDynamicValue &value, const Context &context)
{
    const Kind *kind = HXDynamicStringTextKind::forClassName(value.className());
    if (kind == nullptr)
        return QStringLiteral("{{}}");
    const HXDynamicValuePtr defaults = HXDynamicValueCatalogue::createValue(value.className());
    // A value that takes the time when it is evaluated keeps a date only as
    // the editor's default: it is not written.
    const bool now = value.propertyForKey(QStringLiteral("now")) != nullptr && value.boolValue(QStringLiteral("now"));
    auto differs = [&](const QString &key) {
        if (now && value.propertyForKey(key)->type == HXDynamicPropertyType::Date)
            return false;
        const QVariant a = value.valueForKey(key);
        const QVariant b = defaults ? defaults->valueForKey(key) : QVariant();
        if (a.isValid() != b.isValid())
            return true;
        // Texts compare as printed, so tokens inside them that take the time
        // when evaluated compare equal whatever date they were made with.
        if (a.isValid() && value.propertyForKey(key)->type == HXDynamicPropertyType::String)
            return printArchived(a.toString(), context) != printArchived(b.toString(), context);
        return a.isValid() && a != b;
    };
    qsizetype lastNeeded = -1;
    for (qsizetype i = 0; i < kind->positional.size(); ++i) {
        const QString &entry = kind->positional.at(i);
        if (entry.startsWith(u'=') || differs(entry) || value.valueForKey(entry).isValid())
            lastNeeded = i;
    }
    QString out = QStringLiteral("{{") + kind->word;
    for (qsizetype i = 0; i <= lastNeeded; ++i) {
        const QString &entry = kind->positional.at(i);
        if (entry.startsWith(u'='))
            out += u' ' + entry.mid(1);
        else if (const HXDynamicProperty *property = value.propertyForKey(entry))
            out += u' ' + printProperty(value, *kind, *property, context);
    }
    for (const HXDynamicProperty &property : value.dynamicKeyPaths()) {
        if (property.key == kind->rowsProperty) {
            for (const HXDynamicKeyValueRow &row : value.keyValueRowsValue(property.key))
                out += QStringLiteral(" %1%2=%3")
                           .arg(row.enabled ? QString() : QStringLiteral("!"), printArchived(row.name, context),
                                printArchived(row.value, context));
            continue;
        }
        if (kind->positional.contains(property.key) || !differs(property.key))
            continue;
        out += QStringLiteral(" %1=%2").arg(property.key, printProperty(value, *kind, property, context));
    }
    return out + QStringLiteral("}}");
}

QString printString(const HXDynamicString &string, const Context &context, bool quoted)
{
    QString out;
    QList<HXDynamicStringComponent> components;
    string.enumerateComponentsWithBlock(
        [&components](const HXDynamicStringComponent &component, bool &) { components.append(component); });
    for (qsizetype i = 0; i < components.size(); ++i) {
        const HXDynamicStringComponent &component = components.at(i);
        if (component.isText()) {
            const bool tokenFollows = i + 1 < components.size() && !components.at(i + 1).isText();
            out += escapedRun(component.text, quoted, tokenFollows);
        } else if (component.attachment != nullptr && component.attachment->dynamicValue()) {
            out += printToken(*component.attachment->dynamicValue(), context);
        }
    }
    return out;
}

} // namespace

QString HXDynamicStringTextFormat::stringFromDynamicString(const HXDynamicString &string, const Context &context)
{
    return printString(string, context, false);
}

QString HXDynamicStringTextFormat::stringFromArchivedString(const QString &archived, const Context &context)
{
    return stringFromDynamicString(HXDynamicValueEngine::unarchiveAttributedString(archived), context);
}

QString HXDynamicStringTextFormat::stringForDynamicValue(const HXDynamicValue &value, const Context &context)
{
    return printToken(value, context);
}

HXResult<QString> HXDynamicStringTextFormat::archivedStringFromText(const QString &text, const Context &context)
{
    auto parsed = parse(text, context);
    if (!parsed)
        return parsed.error();
    return HXDynamicValueEngine::archiveAttributedString(*parsed);
}

QString HXDynamicStringTextFormat::syntaxHelp()
{
    QString help = QStringLiteral(
        "Text fields may hold tokens, computed each time the request is sent:\n"
        "  {{KIND ARGUMENT...}}   ARGUMENT is VALUE, NAME=VALUE, or a form row NAME=VALUE (!NAME=VALUE: disabled)\n"
        "  VALUE                  a word, or \"quoted text\" that may hold tokens ({{...}}) and \\\" \\\\ escapes\n"
        "  \\{{                    a literal {{ outside tokens\n"
        "Requests are named by name (or uuid), variables by name. Kinds:\n");
    for (const HXDynamicStringTextKind &kind : HXDynamicStringTextKind::all())
        help += QStringLiteral("  %1\n").arg(kind.help);
    return help;
}
