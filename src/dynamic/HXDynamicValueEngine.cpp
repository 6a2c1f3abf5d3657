#include "HXDynamicValueEngine.h"

#include "HXDynamicValueContext.h"
#include "HXHexDigit.h"
#include "HXThreading.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

using namespace Qt::StringLiterals;

namespace {

const QString dataKey = u"data"_s;
const QString nameKey = u"name"_s;

// A digit's value; 15 for a character that is not one.
int hexNibble(char16_t c)
{
    const int value = HXHexDigit::value(c);
    return value < 0 ? 0xF : value;
}

bool needsJSONForm(const QString &text)
{
    for (const QChar c : text) {
        if (c == u'[' || c == u']' || c == u'{' || c == u'}' || c == u'"')
            return true;
    }
    return false;
}

} // namespace

HXDynamicResult HXDynamicValueEngine::evaluateDynamicValue(const HXDynamicValuePtr &value, HXDynamicResultClass asClass,
                                                           HXStringEncoding stringEncoding)
{
    HX_ASSERT_MAIN_THREAD();
    if (!value)
        return {};
    HXDynamicResult result;
    HXDynamicValueContext::context(nullptr, [&] {
        HXDynamicValueContext *context = HXDynamicValueContext::currentContext();
        const QString identifier = value->uniqueIdentifier();
        const auto cached = context->cachedValues().constFind(identifier);
        if (cached != context->cachedValues().constEnd()) {
            result = *cached;
            return;
        }
        QList<HXDynamicValuePtr> &underway = context->currentDynamicValues();
        for (const HXDynamicValuePtr &other : std::as_const(underway)) {
            // A value that needs itself yields nothing at the inner occurrence.
            if (other->isKindOfClass(value->className()) && other->uniqueIdentifier() == identifier)
                return;
        }
        underway.append(value);
        // The work may start nested evaluations that add to the guard list,
        // so the entry is removed by identity rather than by position.
        struct Unguard
        {
            QList<HXDynamicValuePtr> &list;
            const HXDynamicValuePtr &value;
            ~Unguard()
            {
                const qsizetype at = list.lastIndexOf(value);
                if (at >= 0)
                    list.removeAt(at);
            }
        } unguard{underway, value};
        result = value->evaluate();
        context->cachedValues().insert(identifier, result);
    });

    if (result.isString() && asClass == HXDynamicResultClass::Data)
        return HXStringEncodings::encodeLossy(result.string(), stringEncoding);
    if (result.isData() && asClass == HXDynamicResultClass::String) {
        std::optional<QString> decoded = HXStringEncodings::decode(result.data(), stringEncoding);
        if (!decoded)
            return {};
        return *decoded;
    }
    return result;
}

QString HXDynamicValueEngine::evaluateAttributedStringAsString(const HXDynamicString &string,
                                                               HXStringEncoding stringEncoding)
{
    QString result(u""_s);
    string.enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &) {
        if (component.isText()) {
            result.append(component.text);
            return;
        }
        if (!component.attachment)
            return;
        const HXDynamicValuePtr value = component.attachment->dynamicValue();
        if (!value)
            return;
        const HXDynamicResult evaluated = evaluateDynamicValue(value, HXDynamicResultClass::String, stringEncoding);
        if (evaluated.isString())
            result.append(evaluated.string());
    });
    return result;
}

QByteArray HXDynamicValueEngine::evaluateAttributedStringAsData(const HXDynamicString &string,
                                                                HXStringEncoding stringEncoding)
{
    QByteArray result("");
    string.enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &) {
        if (component.isText()) {
            result.append(HXStringEncodings::encodeLossy(component.text, stringEncoding));
            return;
        }
        if (!component.attachment)
            return;
        const HXDynamicValuePtr value = component.attachment->dynamicValue();
        if (!value)
            return;
        const HXDynamicResult evaluated = evaluateDynamicValue(value, HXDynamicResultClass::Data, stringEncoding);
        if (evaluated.isData())
            result.append(evaluated.data());
    });
    return result;
}

QString HXDynamicValueEngine::evaluateStringAsString(const QString &archived, HXStringEncoding stringEncoding)
{
    return evaluateAttributedStringAsString(unarchiveAttributedString(archived), stringEncoding);
}

QByteArray HXDynamicValueEngine::evaluateStringAsData(const QString &archived, HXStringEncoding stringEncoding)
{
    return evaluateAttributedStringAsData(unarchiveAttributedString(archived), stringEncoding);
}

QString HXDynamicValueEngine::evaluateAttributedStringAsString(const HXDynamicString &string)
{
    return evaluateAttributedStringAsString(string, HXDynamicValueContext::currentContextStringEncoding());
}

QByteArray HXDynamicValueEngine::evaluateAttributedStringAsData(const HXDynamicString &string)
{
    return evaluateAttributedStringAsData(string, HXDynamicValueContext::currentContextStringEncoding());
}

QString HXDynamicValueEngine::evaluateStringAsString(const QString &archived)
{
    return evaluateStringAsString(archived, HXDynamicValueContext::currentContextStringEncoding());
}

QByteArray HXDynamicValueEngine::evaluateStringAsData(const QString &archived)
{
    return evaluateStringAsData(archived, HXDynamicValueContext::currentContextStringEncoding());
}

QString HXDynamicValueEngine::displayStringFromAttributedString(const HXDynamicString &string)
{
    QString result(u""_s);
    string.enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &) {
        if (component.isText()) {
            result.append(component.text);
            return;
        }
        if (!component.attachment)
            return;
        if (const HXDynamicValuePtr value = component.attachment->dynamicValue())
            result.append(value->displayString());
    });
    return result;
}

QString HXDynamicValueEngine::displayStringFromString(const QString &archived)
{
    return displayStringFromAttributedString(unarchiveAttributedString(archived));
}

QString HXDynamicValueEngine::archiveAttributedString(const HXDynamicString &string)
{
    QJsonArray list;
    string.enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &) {
        if (component.isText()) {
            list.append(component.text);
            return;
        }
        if (!component.attachment || !component.attachment->isDynamicValue())
            return;
        QJsonObject record;
        record.insert(dataKey, hexString(component.attachment->contents()));
        record.insert(nameKey, HXDynamicValue::pasteboardType());
        list.append(record);
    });
    if (list.isEmpty())
        return QString(u""_s);
    if (list.size() == 1 && list.at(0).isString() && !needsJSONForm(list.at(0).toString()))
        return list.at(0).toString();
    return QString::fromUtf8(QJsonDocument(list).toJson(QJsonDocument::Compact));
}

HXDynamicString HXDynamicValueEngine::unarchiveAttributedString(const QString &archived)
{
    if (archived.isEmpty())
        return HXDynamicString();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(archived.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || (!document.isArray() && !document.isObject()))
        return HXDynamicString(archived);

    HXDynamicString result;
    if (document.isObject()) {
        // Walking an object visits its keys.
        const QStringList keys = document.object().keys();
        for (const QString &key : keys)
            result.append(key);
        return result;
    }
    const QJsonArray array = document.array();
    for (const QJsonValue &element : array) {
        if (element.isString()) {
            result.append(element.toString());
            continue;
        }
        if (!element.isObject())
            continue;
        const QJsonObject record = element.toObject();
        const QJsonValue data = record.value(dataKey);
        const QJsonValue name = record.value(nameKey);
        if (!data.isString() || !name.isString())
            continue;
        std::optional<QByteArray> bytes = dataFromHexString(data.toString());
        if (!bytes || name.toString() != HXDynamicValue::pasteboardType())
            continue;
        result.appendAttachment(HXTextAttachment(name.toString(), *bytes));
    }
    return result;
}

const std::function<QString(const HXDynamicString &)> &HXDynamicValueEngine::archivingBlock()
{
    static const std::function<QString(const HXDynamicString &)> block = [](const HXDynamicString &string) {
        return archiveAttributedString(string);
    };
    return block;
}

const std::function<HXDynamicString(const QString &)> &HXDynamicValueEngine::unarchivingBlock()
{
    static const std::function<HXDynamicString(const QString &)> block = [](const QString &archived) {
        return unarchiveAttributedString(archived);
    };
    return block;
}

QString HXDynamicValueEngine::hexString(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex().toUpper());
}

std::optional<QByteArray> HXDynamicValueEngine::dataFromHexString(QStringView hex)
{
    if (hex.size() % 2 != 0)
        return std::nullopt;
    QByteArray bytes(hex.size() / 2, Qt::Uninitialized);
    for (qsizetype i = 0; i < bytes.size(); ++i)
        bytes[i] = char((hexNibble(hex[2 * i].unicode()) << 4) | hexNibble(hex[2 * i + 1].unicode()));
    return bytes;
}
