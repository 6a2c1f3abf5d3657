#include "HXPostmanImporter.h"

#include "HXCurlCommandImporter.h"
#include "HXInteropText.h"

#include <QJsonArray>

namespace {

HXError importError(qint64 code, const QString &description)
{
    return HXError(QString::fromLatin1(HXCurlCommandImporter::errorDomain), code, description);
}

struct Auth
{
    HXInteropRequest::Auth kind = HXInteropRequest::Auth::None;
    QString username;
    QString password;
    QString token;
};

QString text(const QJsonValue &value)
{
    return HXInteropText::jsonText(value);
}

// v2.1 writes auth parameters as [{key, value}], v2.0 as an object.
QString authParameter(const QJsonValue &parameters, const QString &key)
{
    if (parameters.isObject())
        return text(parameters.toObject().value(key));
    for (const QJsonValue &entry : parameters.toArray()) {
        if (entry.toObject().value(QStringLiteral("key")).toString() == key)
            return text(entry.toObject().value(QStringLiteral("value")));
    }
    return {};
}

// The authorization an "auth" object sets; `inherited` when it has none.
Auth readAuth(const QJsonValue &value, const Auth &inherited, const QString &where, QStringList &skipped)
{
    if (!value.isObject())
        return inherited;
    const QJsonObject auth = value.toObject();
    const QString type = auth.value(QStringLiteral("type")).toString();
    Auth result;
    if (type == u"basic") {
        result.kind = HXInteropRequest::Auth::Basic;
        result.username = authParameter(auth.value(QStringLiteral("basic")), QStringLiteral("username"));
        result.password = authParameter(auth.value(QStringLiteral("basic")), QStringLiteral("password"));
    } else if (type == u"bearer") {
        result.kind = HXInteropRequest::Auth::Bearer;
        result.token = authParameter(auth.value(QStringLiteral("bearer")), QStringLiteral("token"));
    } else if (type == u"inherit") {
        return inherited;
    } else if (type != u"noauth") {
        skipped.append(QStringLiteral("%1: authorization '%2' is not supported").arg(where, type));
    }
    return result;
}

QString readURL(const QJsonValue &value)
{
    if (value.isString())
        return value.toString();
    const QJsonObject url = value.toObject();
    if (url.contains(QStringLiteral("raw")))
        return url.value(QStringLiteral("raw")).toString();
    // Rebuilt from its parts when the raw text is missing.
    QString host = url.value(QStringLiteral("host")).isArray()
                       ? url.value(QStringLiteral("host")).toVariant().toStringList().join(u'.')
                       : url.value(QStringLiteral("host")).toString();
    QString path = url.value(QStringLiteral("path")).isArray()
                       ? url.value(QStringLiteral("path")).toVariant().toStringList().join(u'/')
                       : url.value(QStringLiteral("path")).toString();
    QString result = url.value(QStringLiteral("protocol")).toString();
    if (!result.isEmpty())
        result += QStringLiteral("://");
    result += host;
    if (url.contains(QStringLiteral("port")))
        result += u':' + text(url.value(QStringLiteral("port")));
    if (!path.isEmpty())
        result += (path.startsWith(u'/') ? QString() : QStringLiteral("/")) + path;
    QStringList query;
    for (const QJsonValue &entry : url.value(QStringLiteral("query")).toArray()) {
        const QJsonObject item = entry.toObject();
        if (!item.value(QStringLiteral("disabled")).toBool())
            query.append(text(item.value(QStringLiteral("key"))) + u'=' + text(item.value(QStringLiteral("value"))));
    }
    if (!query.isEmpty())
        result += u'?' + query.join(u'&');
    return result;
}

QList<HXInteropField> readFields(const QJsonValue &value, const QString &keyName = QStringLiteral("key"))
{
    QList<HXInteropField> fields;
    for (const QJsonValue &entry : value.toArray()) {
        const QJsonObject item = entry.toObject();
        HXInteropField field;
        field.name = text(item.value(keyName));
        field.value = text(item.value(QStringLiteral("value")));
        field.enabled = !item.value(QStringLiteral("disabled")).toBool();
        if (item.value(QStringLiteral("type")).toString() == u"file") {
            field.isFile = true;
            const QJsonValue source = item.value(QStringLiteral("src"));
            field.value = source.isArray() ? text(source.toArray().first()) : text(source);
        }
        fields.append(field);
    }
    return fields;
}

void readBody(const QJsonObject &body, HXInteropRequest &request, QStringList &skipped)
{
    const QString mode = body.value(QStringLiteral("mode")).toString();
    if (mode.isEmpty() || body.value(QStringLiteral("disabled")).toBool())
        return;
    if (mode == u"raw") {
        request.body = HXInteropRequest::Body::Raw;
        request.rawBody = body.value(QStringLiteral("raw")).toString();
        // Postman sends the language's type when the headers name none.
        const QString language = body.value(QStringLiteral("options"))
                                     .toObject()
                                     .value(QStringLiteral("raw"))
                                     .toObject()
                                     .value(QStringLiteral("language"))
                                     .toString();
        static const QHash<QString, QString> types = {
            {QStringLiteral("json"), QStringLiteral("application/json")},
            {QStringLiteral("xml"), QStringLiteral("application/xml")},
            {QStringLiteral("html"), QStringLiteral("text/html")},
            {QStringLiteral("javascript"), QStringLiteral("application/javascript")}};
        const bool hasType = std::any_of(request.headers.begin(), request.headers.end(), [](const HXInteropField &h) {
            return h.name.compare(QStringLiteral("Content-Type"), Qt::CaseInsensitive) == 0;
        });
        if (!hasType && types.contains(language))
            request.headers.append({QStringLiteral("Content-Type"), types.value(language)});
    } else if (mode == u"urlencoded") {
        request.body = HXInteropRequest::Body::URLEncoded;
        request.fields = readFields(body.value(QStringLiteral("urlencoded")));
    } else if (mode == u"formdata") {
        request.body = HXInteropRequest::Body::FormData;
        request.fields = readFields(body.value(QStringLiteral("formdata")));
    } else {
        skipped.append(QStringLiteral("%1: a '%2' body is not supported").arg(request.name, mode));
    }
}

void readItems(const QJsonArray &items, const Auth &inherited, const QString &path, QList<HXInteropItem> &into,
               QStringList &skipped)
{
    for (const QJsonValue &value : items) {
        const QJsonObject item = value.toObject();
        HXInteropItem result;
        result.name = item.value(QStringLiteral("name")).toString();
        const QString where = path.isEmpty() ? result.name : path + u'/' + result.name;
        if (item.contains(QStringLiteral("event")) && !item.value(QStringLiteral("event")).toArray().isEmpty())
            skipped.append(QStringLiteral("%1: scripts are not supported").arg(where));
        if (item.contains(QStringLiteral("item"))) {
            result.isFolder = true;
            const Auth auth = readAuth(item.value(QStringLiteral("auth")), inherited, where, skipped);
            readItems(item.value(QStringLiteral("item")).toArray(), auth, where, result.children, skipped);
            into.append(result);
            continue;
        }
        if (!item.contains(QStringLiteral("request"))) {
            skipped.append(QStringLiteral("%1: neither a request nor a folder").arg(where));
            continue;
        }
        HXInteropRequest &request = result.request;
        request.name = result.name;
        const QJsonValue source = item.value(QStringLiteral("request"));
        if (source.isString()) {
            request.url = source.toString();
        } else {
            const QJsonObject object = source.toObject();
            request.method = object.value(QStringLiteral("method")).toString(QStringLiteral("GET")).toUpper();
            request.url = readURL(object.value(QStringLiteral("url")));
            request.headers = object.value(QStringLiteral("header")).isArray()
                                  ? readFields(object.value(QStringLiteral("header")))
                                  : QList<HXInteropField>();
            request.description = text(object.value(QStringLiteral("description")));
            readBody(object.value(QStringLiteral("body")).toObject(), request, skipped);
            const Auth auth = readAuth(object.value(QStringLiteral("auth")), inherited, where, skipped);
            request.auth = auth.kind;
            request.username = auth.username;
            request.password = auth.password;
            request.token = auth.token;
        }
        if (item.value(QStringLiteral("response")).toArray().size() > 0)
            skipped.append(QStringLiteral("%1: saved example responses are not imported").arg(where));
        into.append(result);
    }
}

} // namespace

bool HXPostmanImporter::isCollection(const QJsonObject &root)
{
    const QString schema = root.value(QStringLiteral("info")).toObject().value(QStringLiteral("schema")).toString();
    return schema.contains(QStringLiteral("getpostman.com")) || schema.contains(QStringLiteral("postman")) ||
           (root.contains(QStringLiteral("info")) && root.contains(QStringLiteral("item"))) ||
           (root.contains(QStringLiteral("requests")) && root.contains(QStringLiteral("order")));
}

bool HXPostmanImporter::isEnvironment(const QJsonObject &root)
{
    return root.value(QStringLiteral("values")).isArray() && root.contains(QStringLiteral("name")) &&
           !root.contains(QStringLiteral("info"));
}

HXResult<HXInteropCollection> HXPostmanImporter::importCollection(const QJsonObject &root)
{
    const QJsonObject info = root.value(QStringLiteral("info")).toObject();
    const QString schema = info.value(QStringLiteral("schema")).toString();
    if (!root.contains(QStringLiteral("info")))
        return importError(10, QStringLiteral("this Postman collection uses format v1, which is not supported; "
                                              "export it from Postman as Collection v2.1"));
    if (!schema.isEmpty() && !schema.contains(QStringLiteral("/v2.0.")) && !schema.contains(QStringLiteral("/v2.1.")))
        return importError(
            11, QStringLiteral("unsupported Postman collection schema '%1' (v2.0 and v2.1 are supported)").arg(schema));
    if (!root.value(QStringLiteral("item")).isArray())
        return importError(12, QStringLiteral("the Postman collection has no \"item\" list"));
    HXInteropCollection collection;
    collection.name = info.value(QStringLiteral("name")).toString();
    for (const QJsonValue &value : root.value(QStringLiteral("variable")).toArray()) {
        const QJsonObject variable = value.toObject();
        const QString key = text(variable.value(QStringLiteral("key")));
        if (variable.value(QStringLiteral("disabled")).toBool())
            collection.skipped.append(QStringLiteral("variable %1: disabled, not imported").arg(key));
        else if (!key.isEmpty())
            collection.variables.append({key, text(variable.value(QStringLiteral("value")))});
    }
    if (!root.value(QStringLiteral("event")).toArray().isEmpty())
        collection.skipped.append(QStringLiteral("the collection's scripts are not supported"));
    const Auth auth =
        readAuth(root.value(QStringLiteral("auth")), Auth(), QStringLiteral("the collection"), collection.skipped);
    readItems(root.value(QStringLiteral("item")).toArray(), auth, QString(), collection.items, collection.skipped);
    return collection;
}

HXResult<HXInteropCollection> HXPostmanImporter::importEnvironment(const QJsonObject &root)
{
    HXInteropCollection collection;
    HXInteropEnvironment environment;
    environment.name = root.value(QStringLiteral("name")).toString();
    if (environment.name.isEmpty())
        return importError(13, QStringLiteral("the Postman environment has no name"));
    for (const QJsonValue &value : root.value(QStringLiteral("values")).toArray()) {
        const QJsonObject variable = value.toObject();
        const QString key = text(variable.value(QStringLiteral("key")));
        if (key.isEmpty())
            continue;
        if (variable.contains(QStringLiteral("enabled")) && !variable.value(QStringLiteral("enabled")).toBool())
            collection.skipped.append(QStringLiteral("variable %1: disabled, not imported").arg(key));
        else
            environment.values.append({key, text(variable.value(QStringLiteral("value")))});
    }
    collection.environments.append(environment);
    return collection;
}
