#include "HXHMACDynamicValue.h"

#include "HXDataAdditions.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"

namespace {

struct Algorithm
{
    const char *label;
    int platformCode;
};

const Algorithm algorithms[] = {
    {"HMAC-MD5", HXDataAdditions::HMACAlgorithmMD5},       {"HMAC-SHA1", HXDataAdditions::HMACAlgorithmSHA1},
    {"HMAC-SHA224", HXDataAdditions::HMACAlgorithmSHA224}, {"HMAC-SHA256", HXDataAdditions::HMACAlgorithmSHA256},
    {"HMAC-SHA384", HXDataAdditions::HMACAlgorithmSHA384}, {"HMAC-SHA512", HXDataAdditions::HMACAlgorithmSHA512},
};
constexpr quint32 algorithmCount = quint32(std::size(algorithms));

} // namespace

void HXHMACDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXHMACDynamicValue>();
}

const QList<HXDynamicProperty> &HXHMACDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("algorithm"), HXDynamicPropertyType::Integer},
        {QStringLiteral("input"), HXDynamicPropertyType::String},
        {QStringLiteral("key"), HXDynamicPropertyType::String},
    };
    return keys;
}

int HXHMACDynamicValue::platformAlgorithmCode(quint32 algorithm)
{
    return algorithm < algorithmCount ? algorithms[algorithm].platformCode : -1;
}

HXDynamicResult HXHMACDynamicValue::evaluate()
{
    const QByteArray message = HXDynamicValueEngine::evaluateStringAsData(input());
    const QByteArray secret = HXDynamicValueEngine::evaluateStringAsData(key());
    return HXDataAdditions::base64EncodedString(
        HXDataAdditions::HMAC(message, secret, platformAlgorithmCode(algorithm())));
}

QString HXHMACDynamicValue::displayString() const
{
    const QString label = localizedStringFor(QStringLiteral("Algorithm"), qint64(algorithm())).value_or(QString());
    return label + u'(' + HXDynamicValueEngine::displayStringFromString(input()) + u')';
}

std::optional<QVariantList> HXHMACDynamicValue::contentObjectsFor(const QString &property) const
{
    if (property != QLatin1String("Algorithm"))
        return std::nullopt;
    QVariantList objects;
    for (quint32 i = 0; i < algorithmCount; ++i)
        objects.append(qint64(i));
    return objects;
}

std::optional<QString> HXHMACDynamicValue::localizedStringFor(const QString &property, const QVariant &object) const
{
    if (property != QLatin1String("Algorithm"))
        return std::nullopt;
    bool ok = false;
    const qint64 number = object.toLongLong(&ok);
    if (!ok || number < 0 || number >= qint64(algorithmCount))
        return QString();
    return QString::fromLatin1(algorithms[number].label);
}
