#include "HXRequest.h"

#include "HXKeyValue.h"

#include <QUuid>

QString HXRequest::url() const
{
    return stringForKey(QStringLiteral("url"));
}

void HXRequest::setUrl(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("url"));
}

QString HXRequest::storedMethod() const
{
    return stringForKey(QStringLiteral("method"));
}

void HXRequest::setMethod(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("method"));
}

QString HXRequest::body() const
{
    return stringForKey(QStringLiteral("body"));
}

void HXRequest::setBody(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("body"));
}

QList<HXKeyValue *> HXRequest::headers() const
{
    QList<HXKeyValue *> result;
    const QList<HXManagedObject *> objects = objectsForKey(QStringLiteral("headers"));
    result.reserve(objects.size());
    for (HXManagedObject *object : objects)
        result.append(static_cast<HXKeyValue *>(object));
    return result;
}

bool HXRequest::followRedirects() const
{
    return valueForKey(QStringLiteral("followRedirects")).toBool();
}

void HXRequest::setFollowRedirects(bool value)
{
    setValueForKey(QVariant(value), QStringLiteral("followRedirects"));
}

bool HXRequest::redirectAuthorization() const
{
    return valueForKey(QStringLiteral("redirectAuthorization")).toBool();
}

void HXRequest::setRedirectAuthorization(bool value)
{
    setValueForKey(QVariant(value), QStringLiteral("redirectAuthorization"));
}

bool HXRequest::redirectMethod() const
{
    return valueForKey(QStringLiteral("redirectMethod")).toBool();
}

void HXRequest::setRedirectMethod(bool value)
{
    setValueForKey(QVariant(value), QStringLiteral("redirectMethod"));
}

double HXRequest::timeoutInterval() const
{
    return valueForKey(QStringLiteral("timeoutInterval")).toDouble();
}

void HXRequest::setTimeoutInterval(double value)
{
    setValueForKey(QVariant(value), QStringLiteral("timeoutInterval"));
}

QString HXRequest::uuid() const
{
    return stringForKey(QStringLiteral("uuid"));
}

void HXRequest::setUuid(const QString &value)
{
    setValueForKey(QVariant(value), QStringLiteral("uuid"));
}

QString HXRequest::method() const
{
    return storedMethod().toUpper();
}

QString HXRequest::generateUUID()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

void HXRequest::awakeFromInsert()
{
    HXRequestTreeItem::awakeFromInsert();
    setUuid(generateUUID());
}
