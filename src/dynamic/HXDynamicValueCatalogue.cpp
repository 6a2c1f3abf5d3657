#include "HXDynamicValueCatalogue.h"

#include <QCoreApplication>

#include <array>

namespace {

struct CatalogueEntry
{
    const char *className;
    const char *title;
    const char *group;
};

constexpr std::array<CatalogueEntry, 23> catalogueTable = {{
    {"HXTimestampDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Timestamp"),
     QT_TRANSLATE_NOOP("HXDynamicValue", "Values")},
    {"HXNonceDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Nonce"), "Values"},
    {"HXFileContentDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "File Content"),
     QT_TRANSLATE_NOOP("HXDynamicValue", "File")},
    {"HXResponseHeaderDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Response Header"),
     QT_TRANSLATE_NOOP("HXDynamicValue", "Response")},
    {"HXResponseRawBodyDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Response Raw Body"), "Response"},
    {"HXResponseBodyPathDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Response Parsed Body"), "Response"},
    {"HXResponseBodyLengthDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Response Body Length"), "Response"},
    {"HXURLEncodingDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "URL-encoding"),
     QT_TRANSLATE_NOOP("HXDynamicValue", "Encoding")},
    {"HXBase64EncodingDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Base64"), "Encoding"},
    {"HXHashDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Digest (Hash)"),
     QT_TRANSLATE_NOOP("HXDynamicValue", "Crypto")},
    {"HXHMACDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "HMAC Signature"), "Crypto"},
    {"HXBasicAuthDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "HTTP Basic Auth"),
     QT_TRANSLATE_NOOP("HXDynamicValue", "Authorization")},
    {"HXOAuth1HeaderDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "OAuth 1.0 Authorization Header"),
     "Authorization"},
    {"HXOAuth1SignatureDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "OAuth 1.0 Signature"), "Authorization"},
    {"HXAmazonS3HeaderDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Amazon S3 Authorization Header"),
     "Authorization"},
    {"HXAmazonS3SignatureParameterDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Amazon S3 Signature Parameter"),
     "Authorization"},
    {"HXAmazonSigV4HeaderDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "AWS Signature Version 4 Header"),
     "Authorization"},
    {"HXHTTPDigestAuthDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "HTTP Digest Auth"), "Authorization"},
    {"HXOAuth2ClientCredentialsDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "OAuth 2.0 Client Credentials Token"),
     "Authorization"},
    {"HXEnvironmentVariableDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Environment Variable"),
     QT_TRANSLATE_NOOP("HXDynamicValue", "Environment")},
    {"HXCookieDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Cookies"),
     QT_TRANSLATE_NOOP("HXDynamicValue", "Cookies")},
    {"HXBodyFormKeyValueDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Body Key-Value"),
     QT_TRANSLATE_NOOP("HXDynamicValue", "Request Body")},
    {"HXBodyMultipartFormDataDynamicValue", QT_TRANSLATE_NOOP("HXDynamicValue", "Multipart Form Data"), "Request Body"},
}};

QList<HXDynamicValueKind> &kindList()
{
    static QList<HXDynamicValueKind> kinds = [] {
        QList<HXDynamicValueKind> list;
        int order = 0;
        for (const CatalogueEntry &entry : catalogueTable) {
            list.append({QString::fromLatin1(entry.className),
                         QString::fromLatin1(entry.title),
                         QString::fromLatin1(entry.group),
                         order++,
                         {}});
        }
        return list;
    }();
    return kinds;
}

HXDynamicValueKind *findKind(const QString &className)
{
    for (HXDynamicValueKind &kind : kindList()) {
        if (kind.className == className)
            return &kind;
    }
    return nullptr;
}

void ensureBuiltInKinds()
{
    static const bool registered = [] {
        HXDynamicValueCatalogue::registerBuiltInKinds();
        return true;
    }();
    Q_UNUSED(registered);
}

} // namespace

bool HXDynamicValueCatalogue::registerKind(const QString &className, std::function<HXDynamicValuePtr()> construct)
{
    if (className.isEmpty() || !construct)
        return false;
    if (HXDynamicValueKind *kind = findKind(className)) {
        kind->construct = std::move(construct);
        return true;
    }
    QList<HXDynamicValueKind> &kinds = kindList();
    kinds.append({className, className, QString(), int(kinds.size()), std::move(construct)});
    return true;
}

QList<HXDynamicValueKind> HXDynamicValueCatalogue::allKinds()
{
    ensureBuiltInKinds();
    return kindList();
}

QList<HXDynamicValueKind> HXDynamicValueCatalogue::availableKinds()
{
    ensureBuiltInKinds();
    QList<HXDynamicValueKind> result;
    for (const HXDynamicValueKind &kind : kindList()) {
        if (kind.construct && !kind.group.isEmpty())
            result.append(kind);
    }
    return result;
}

QStringList HXDynamicValueCatalogue::groups()
{
    return {QStringLiteral("Values"),      QStringLiteral("File"),    QStringLiteral("Response"),
            QStringLiteral("Encoding"),    QStringLiteral("Crypto"),  QStringLiteral("Authorization"),
            QStringLiteral("Environment"), QStringLiteral("Cookies"), QStringLiteral("Request Body")};
}

QString HXDynamicValueCatalogue::menuTitle()
{
    return QCoreApplication::translate("HXDynamicValue", "Add Dynamic Value...");
}

const HXDynamicValueKind *HXDynamicValueCatalogue::kindForClassName(const QString &className)
{
    ensureBuiltInKinds();
    return findKind(className);
}

QString HXDynamicValueCatalogue::localizedTitle(const QString &className)
{
    const HXDynamicValueKind *kind = kindForClassName(className);
    if (!kind)
        return QString();
    return QCoreApplication::translate("HXDynamicValue", kind->title.toUtf8().constData());
}

QString HXDynamicValueCatalogue::localizedGroup(const QString &group)
{
    return QCoreApplication::translate("HXDynamicValue", group.toUtf8().constData());
}

HXDynamicValuePtr HXDynamicValueCatalogue::createValue(const QString &className)
{
    HXDynamicValuePtr value = constructBareValue(className);
    if (value)
        value->registerDefaultValues();
    return value;
}

HXDynamicValuePtr HXDynamicValueCatalogue::constructBareValue(const QString &className)
{
    const HXDynamicValueKind *kind = kindForClassName(className);
    if (!kind || !kind->construct)
        return nullptr;
    return kind->construct();
}
