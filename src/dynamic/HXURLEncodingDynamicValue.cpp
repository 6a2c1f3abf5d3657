#include "HXURLEncodingDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXStringAdditions.h"

#include <QCoreApplication>

void HXURLEncodingDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXURLEncodingDynamicValue>();
}

const QList<HXDynamicProperty> &HXURLEncodingDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("input"), HXDynamicPropertyType::String},
        {QStringLiteral("charset"), HXDynamicPropertyType::String},
        {QStringLiteral("mode"), HXDynamicPropertyType::Integer},
    };
    return keys;
}

void HXURLEncodingDynamicValue::registerDefaultValues()
{
    setInput(QString());
    setCharset(HXStringAdditions::charsetForEncoding(HXStringEncoding::UTF8));
    setMode(0);
}

HXDynamicResult HXURLEncodingDynamicValue::evaluate()
{
    const QString text = HXDynamicValueEngine::evaluateStringAsString(input());
    const HXStringEncoding encoding = HXStringAdditions::encodingForCharset(charset());
    if (mode() == 0)
        return HXStringAdditions::stringByAddingPercentExcapeUsingEncoding(text, encoding, false);
    return HXStringAdditions::stringByReplacingPercentEscapesUsingEncoding(text, encoding, false);
}

QString HXURLEncodingDynamicValue::displayString() const
{
    const QString title = mode() == 0 ? QCoreApplication::translate("HXURLEncodingDynamicValue", "URL-Encode")
                                      : QCoreApplication::translate("HXURLEncodingDynamicValue", "URL-Decode");
    const QString shown = HXDynamicValueEngine::displayStringFromString(input());
    return shown.isEmpty() ? title : title + QLatin1String(": ") + shown;
}

std::optional<QVariantList> HXURLEncodingDynamicValue::contentObjectsFor(const QString &property) const
{
    if (property == QLatin1String("Mode"))
        return QVariantList{qint64(0), qint64(1)};
    if (property == QLatin1String("Charset")) {
        QVariantList names;
        const QStringList charsets = HXStringAdditions::availableCharsetNames();
        for (const QString &name : charsets)
            names.append(name);
        return names;
    }
    return std::nullopt;
}

std::optional<QString> HXURLEncodingDynamicValue::localizedStringFor(const QString &property,
                                                                     const QVariant &object) const
{
    if (property != QLatin1String("Mode"))
        return std::nullopt;
    return object.toLongLong() == 0 ? QCoreApplication::translate("HXURLEncodingDynamicValue", "Encode")
                                    : QCoreApplication::translate("HXURLEncodingDynamicValue", "Decode");
}
