#include "HXResponseBodyPathDynamicValue.h"

#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXResponse.h"
#include "HXResponseBodyReader.h"

#include <QCoreApplication>

void HXResponseBodyPathDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXResponseBodyPathDynamicValue>();
}

const QList<HXDynamicProperty> &HXResponseBodyPathDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        requestProperty(),
        {QStringLiteral("keyPath"), HXDynamicPropertyType::String},
        {QStringLiteral("format"), HXDynamicPropertyType::Integer},
    };
    return keys;
}

HXDynamicResult HXResponseBodyPathDynamicValue::evaluate()
{
    const std::shared_ptr<HXResponse> response = lastResponse();
    if (response == nullptr || response->bodyLength() == 0)
        return {};
    quint32 chosen = format();
    if (chosen == FormatAutomatic) {
        switch (response->defaultBodyTextType()) {
        case HXResponse::BodyTextTypeJSON:
            chosen = FormatJSON;
            break;
        case HXResponse::BodyTextTypeXML:
            chosen = FormatXML;
            break;
        case HXResponse::BodyTextTypeFormURLEncoded:
            chosen = FormatFormURLEncoded;
            break;
        default:
            return {};
        }
    }
    QVariant parsed;
    if (chosen == FormatJSON)
        parsed = HXResponseBodyReader::objectFromJSON(response->bodyData());
    else if (chosen == FormatXML)
        parsed = HXResponseBodyReader::objectFromXML(response->bodyData());
    else if (chosen == FormatFormURLEncoded)
        parsed = HXResponseBodyReader::objectFromFormURLEncoded(response->bodyString());
    if (!parsed.isValid())
        return {};
    const QString found =
        HXResponseBodyReader::stringAtKeyPath(HXDynamicValueEngine::evaluateStringAsString(keyPath()), parsed);
    if (found.isNull())
        return {};
    return found;
}

QString HXResponseBodyPathDynamicValue::displayString() const
{
    const QString shown = HXDynamicValueEngine::displayStringFromString(keyPath());
    if (request() == nullptr || shown.isEmpty())
        return localizedName();
    return displayStringWithDetail(shown);
}

std::optional<QVariantList> HXResponseBodyPathDynamicValue::contentObjectsFor(const QString &property) const
{
    if (property != QLatin1String("Format"))
        return std::nullopt;
    return QVariantList{qint64(FormatAutomatic), qint64(FormatJSON), qint64(FormatXML), qint64(FormatFormURLEncoded)};
}

std::optional<QString> HXResponseBodyPathDynamicValue::localizedStringFor(const QString &property,
                                                                          const QVariant &object) const
{
    if (property != QLatin1String("Format"))
        return std::nullopt;
    switch (object.toLongLong()) {
    case FormatAutomatic:
        return QCoreApplication::translate("HXDynamicValue", "Automatic");
    case FormatJSON:
        return QCoreApplication::translate("HXDynamicValue", "JSON");
    case FormatXML:
        return QCoreApplication::translate("HXDynamicValue", "XML");
    case FormatFormURLEncoded:
        return QCoreApplication::translate("HXDynamicValue", "Form URL-Encoded");
    default:
        return QString();
    }
}
