#pragma once

#include "HXRequestTreeItem.h"

class HXKeyValue;

// A request: method, URL, headers and body, all dynamic strings in their stored form, and how it is sent.
class HXRequest : public HXRequestTreeItem
{
public:
    static QString staticEntityName() { return QStringLiteral("HXRequest"); }

    QString url() const;
    void setUrl(const QString &value);
    // The method as stored (as typed); method() gives it upper-cased.
    QString storedMethod() const;
    QString method() const;
    void setMethod(const QString &value);
    QString body() const;
    void setBody(const QString &value);
    QList<HXKeyValue *> headers() const;
    bool followRedirects() const;
    void setFollowRedirects(bool value);
    bool redirectAuthorization() const;
    void setRedirectAuthorization(bool value);
    bool redirectMethod() const;
    void setRedirectMethod(bool value);
    double timeoutInterval() const;
    void setTimeoutInterval(double value);
    QString uuid() const;
    void setUuid(const QString &value);

    // A new random UUID in its canonical text form.
    static QString generateUUID();

protected:
    void awakeFromInsert() override;
};
