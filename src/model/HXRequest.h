#pragma once

#include "HXRequestTreeItem.h"

#include <QStringList>

#include <memory>
#include <optional>

class HXKeyValue;
class HXManagedObjectContext;
class HXResponse;

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
    // The request with this uuid in the store, or null.
    static HXRequest *requestWithUUID(const QString &uuid, HXManagedObjectContext *context);

    // Sets the value of the first own header row whose name evaluates (as
    // ASCII) to exactly `name`, enabling it; adds a row when none does.
    void setHeaderName(const QString &name, const QString &value);
    // The newest response recorded for this request, or null.
    std::shared_ptr<HXResponse> lastResponse() const;
    // "name (METHOD url)" with the URL's display string.
    QString description() const override;
    // Hands header names and values, URL parameters and form fields to the
    // completion store.
    void saveCompletions() const;

    // The stored default (an archived dynamic string) of a well-known header,
    // matched without regard to case.
    static std::optional<QString> defaultValueForHeader(const QString &name);

    // Body kinds, decided by the body's content.
    enum BodyType { BodyTypeText = 0, BodyTypeForm = 1, BodyTypeMultipart = 2, BodyTypeFile = 3 };
    BodyType bodyType() const;
    static QList<int> bodyTypes();
    static QString localizedNameForBodyType(int bodyType);
    static QStringList bodyTypesLocalizedNames();

    static QStringList HTTPMethods();
    static QStringList HTTPMethodsWithBody();
    static QStringList HTTPMIMETypesForXML();
    static QStringList HTTPMIMETypesForJSON();
    static QStringList HTTPMIMETypesForImages();

    static constexpr const char *pasteboardTypeArchive = "kestrelworks.Kea.PasteboardTypeRequestArchive";
    static constexpr const char *pasteboardTypeURI = "kestrelworks.Kea.PasteboardTypeRequestURI";

protected:
    void awakeFromInsert() override;
};
