#include "HXBase64EncodingDynamicValue.h"

#include "HXDataAdditions.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"

#include <QCoreApplication>

void HXBase64EncodingDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXBase64EncodingDynamicValue>();
}

const QList<HXDynamicProperty> &HXBase64EncodingDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("input"), HXDynamicPropertyType::String},
        {QStringLiteral("mode"), HXDynamicPropertyType::Integer},
    };
    return keys;
}

HXDynamicResult HXBase64EncodingDynamicValue::evaluate()
{
    if (mode() == 0)
        return HXDataAdditions::base64EncodedString(HXDynamicValueEngine::evaluateStringAsData(input()));
    return HXDataAdditions::dataByDecodingBase64(HXDynamicValueEngine::evaluateStringAsString(input()));
}

QString HXBase64EncodingDynamicValue::displayString() const
{
    const QString title = mode() == 0 ? QCoreApplication::translate("HXBase64EncodingDynamicValue", "Base64 Encode")
                                      : QCoreApplication::translate("HXBase64EncodingDynamicValue", "Base64 Decode");
    const QString shown = HXDynamicValueEngine::displayStringFromString(input());
    return shown.isEmpty() ? title : title + QLatin1String(": ") + shown;
}

std::optional<QVariantList> HXBase64EncodingDynamicValue::contentObjectsFor(const QString &property) const
{
    if (property != QLatin1String("Mode"))
        return std::nullopt;
    return QVariantList{qint64(0), qint64(1)};
}

std::optional<QString> HXBase64EncodingDynamicValue::localizedStringFor(const QString &property,
                                                                        const QVariant &object) const
{
    if (property != QLatin1String("Mode"))
        return std::nullopt;
    return object.toLongLong() == 0 ? QCoreApplication::translate("HXBase64EncodingDynamicValue", "Encode")
                                    : QCoreApplication::translate("HXBase64EncodingDynamicValue", "Decode");
}
