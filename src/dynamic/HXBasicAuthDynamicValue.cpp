#include "HXBasicAuthDynamicValue.h"

#include "HXDataAdditions.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXStringAdditions.h"

void HXBasicAuthDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXBasicAuthDynamicValue>();
}

const QList<HXDynamicProperty> &HXBasicAuthDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("username"), HXDynamicPropertyType::String},
        {QStringLiteral("password"), HXDynamicPropertyType::String},
        {QStringLiteral("charset"), HXDynamicPropertyType::String},
    };
    return keys;
}

void HXBasicAuthDynamicValue::registerDefaultValues()
{
    setUsername(QString());
    setPassword(QString());
    setCharset(HXStringAdditions::charsetForEncoding(HXStringEncoding::ASCII));
}

QString HXBasicAuthDynamicValue::authorizationHeaderValue(const QString &username, const QString &password,
                                                          HXStringEncoding encoding)
{
    const std::optional<QByteArray> credentials = HXStringEncodings::encode(username + u':' + password, encoding);
    return QLatin1String("Basic ") + HXDataAdditions::base64EncodedString(credentials.value_or(QByteArray()));
}

HXDynamicResult HXBasicAuthDynamicValue::evaluate()
{
    const QString user = HXDynamicValueEngine::evaluateStringAsString(username());
    const QString secret = HXDynamicValueEngine::evaluateStringAsString(password());
    return authorizationHeaderValue(user, secret, HXStringAdditions::encodingForCharset(charset()));
}

QString HXBasicAuthDynamicValue::displayString() const
{
    const QString shown = HXDynamicValueEngine::displayStringFromString(username());
    return shown.isEmpty() ? localizedName() : localizedName() + QLatin1String(": ") + shown;
}

std::optional<QVariantList> HXBasicAuthDynamicValue::contentObjectsFor(const QString &property) const
{
    if (property != QLatin1String("Charset"))
        return std::nullopt;
    QVariantList names;
    const QStringList charsets = HXStringAdditions::availableCharsetNames();
    for (const QString &name : charsets)
        names.append(name);
    return names;
}

QString HXBasicAuthDynamicValue::archivedDefaultAuthorizationHeaderValue()
{
    return HXDynamicValue::make<HXBasicAuthDynamicValue>()->archivedString();
}
