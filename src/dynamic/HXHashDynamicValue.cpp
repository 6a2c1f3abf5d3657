#include "HXHashDynamicValue.h"

#include "HXDataAdditions.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"

namespace {

const char *const hashLabels[] = {"MD2", "MD4", "MD5", "SHA1", "SHA224", "SHA256", "SHA384", "SHA512"};
constexpr quint32 hashCount = quint32(std::size(hashLabels));

} // namespace

void HXHashDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXHashDynamicValue>();
}

const QList<HXDynamicProperty> &HXHashDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("hashType"), HXDynamicPropertyType::Integer},
        {QStringLiteral("input"), HXDynamicPropertyType::String},
    };
    return keys;
}

HXDynamicResult HXHashDynamicValue::evaluate()
{
    const quint32 type = hashType();
    if (type >= hashCount)
        return input();
    return HXDataAdditions::digestHexString(HXDynamicValueEngine::evaluateStringAsData(input()), type);
}

QString HXHashDynamicValue::displayString() const
{
    const QString label = localizedStringFor(QStringLiteral("HashType"), qint64(hashType())).value_or(QString());
    return label + u'(' + HXDynamicValueEngine::displayStringFromString(input()) + u')';
}

std::optional<QVariantList> HXHashDynamicValue::contentObjectsFor(const QString &property) const
{
    if (property != QLatin1String("HashType"))
        return std::nullopt;
    QVariantList objects;
    for (quint32 i = 0; i < hashCount; ++i)
        objects.append(qint64(i));
    return objects;
}

std::optional<QString> HXHashDynamicValue::localizedStringFor(const QString &property, const QVariant &object) const
{
    if (property != QLatin1String("HashType"))
        return std::nullopt;
    bool ok = false;
    const qint64 number = object.toLongLong(&ok);
    if (!ok || number < 0 || number >= qint64(hashCount))
        return QString();
    return QString::fromLatin1(hashLabels[number]);
}
