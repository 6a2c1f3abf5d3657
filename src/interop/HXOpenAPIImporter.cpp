#include "HXOpenAPIImporter.h"

#include "HXCurlCommandImporter.h"
#include "HXInteropText.h"
#include "HXJSONDict.h"
#include "HXJSONParser.h"
#include "HXOpenAPISchemas.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

namespace {

const QStringList methods = {QStringLiteral("get"),    QStringLiteral("put"),     QStringLiteral("post"),
                             QStringLiteral("delete"), QStringLiteral("options"), QStringLiteral("head"),
                             QStringLiteral("patch"),  QStringLiteral("trace")};

// The keys of the object at `path` in the JSON text, in written order.
QStringList keysInOrder(const std::shared_ptr<HXJSONItem> &root, const QStringList &path)
{
    std::shared_ptr<HXJSONItem> item = root;
    for (const QString &key : path) {
        auto dict = std::dynamic_pointer_cast<HXJSONDict>(item);
        if (!dict)
            return {};
        const auto items = dict->items();
        item.reset();
        for (qsizetype i = 0; i + 1 < items.size(); i += 2) {
            if (items.at(i)->cfObject().toString() == key) {
                item = items.at(i + 1);
                break;
            }
        }
    }
    QStringList keys;
    if (auto dict = std::dynamic_pointer_cast<HXJSONDict>(item)) {
        const auto items = dict->items();
        for (qsizetype i = 0; i + 1 < items.size(); i += 2)
            keys.append(items.at(i)->cfObject().toString());
    }
    return keys;
}

// "{name}" in a path or server URL as "{{name}}".
QString withVariables(QString text, QStringList *names = nullptr)
{
    static const QRegularExpression parameter(QStringLiteral("\\{([^{}/]+)\\}"));
    if (names != nullptr) {
        for (const auto &match : parameter.globalMatch(text))
            names->append(match.captured(1));
    }
    return text.replace(parameter, QStringLiteral("{{\\1}}"));
}

QString plainText(const QJsonValue &value)
{
    return HXInteropText::jsonText(value);
}

class Reader
{
public:
    Reader(const QJsonObject &root, HXInteropCollection &collection)
        : m_root(root), m_schemas(root), m_collection(collection)
    {}

    void readServers()
    {
        const QJsonArray servers = m_root.value(QStringLiteral("servers")).toArray();
        if (servers.isEmpty()) {
            m_collection.variables.append({QStringLiteral("baseUrl"), QStringLiteral("http://localhost")});
            m_collection.skipped.append(QStringLiteral("no servers: baseUrl is http://localhost"));
            return;
        }
        for (const QJsonValue &value : servers) {
            const QJsonObject server = value.toObject();
            const QString url = server.value(QStringLiteral("url")).toString();
            HXInteropEnvironment environment;
            environment.name = server.value(QStringLiteral("description")).toString(url);
            environment.values.append({QStringLiteral("baseUrl"), withVariables(url)});
            const QJsonObject variables = server.value(QStringLiteral("variables")).toObject();
            for (auto it = variables.begin(); it != variables.end(); ++it)
                environment.values.append(
                    {it.key(), plainText(it.value().toObject().value(QStringLiteral("default")))});
            m_collection.environments.append(environment);
        }
    }

    void readOperation(const QString &path, const QString &method, const QJsonObject &pathItem)
    {
        QStringList &skipped = m_collection.skipped;
        const QJsonObject operation = pathItem.value(method).toObject();
        HXInteropRequest request;
        request.method = method.toUpper();
        const QString where = request.method + u' ' + path;
        request.name = operation.value(QStringLiteral("summary"))
                           .toString(operation.value(QStringLiteral("operationId")).toString(where));
        request.description = operation.value(QStringLiteral("description")).toString();
        QStringList pathParameters;
        request.url = QStringLiteral("{{baseUrl}}") + withVariables(path, &pathParameters);

        // Parameters of the path item, replaced by the operation's of the same name and place.
        QList<QJsonObject> parameters;
        for (const QJsonValue &list :
             {pathItem.value(QStringLiteral("parameters")), operation.value(QStringLiteral("parameters"))}) {
            for (const QJsonValue &value : list.toArray()) {
                const QJsonObject parameter = m_schemas.resolve(value, skipped);
                auto same = std::find_if(parameters.begin(), parameters.end(), [&](const QJsonObject &existing) {
                    return existing.value(QStringLiteral("name")) == parameter.value(QStringLiteral("name")) &&
                           existing.value(QStringLiteral("in")) == parameter.value(QStringLiteral("in"));
                });
                if (same != parameters.end())
                    *same = parameter;
                else
                    parameters.append(parameter);
            }
        }
        QStringList query;
        QStringList cookies;
        QStringList leftOut;
        for (const QJsonObject &parameter : std::as_const(parameters)) {
            const QString name = parameter.value(QStringLiteral("name")).toString();
            const QString place = parameter.value(QStringLiteral("in")).toString();
            QJsonValue example = parameter.value(QStringLiteral("example"));
            if (example.isUndefined() &&
                parameter.value(QStringLiteral("schema")).toObject().contains(QStringLiteral("default")))
                example = parameter.value(QStringLiteral("schema")).toObject().value(QStringLiteral("default"));
            const bool required = parameter.value(QStringLiteral("required")).toBool();
            if (place == u"path") {
                addVariable(name, plainText(example));
            } else if (!required && example.isUndefined()) {
                leftOut.append(name);
            } else if (place == u"query") {
                query.append(name + u'=' + plainText(example));
            } else if (place == u"header") {
                request.headers.append({name, plainText(example)});
            } else if (place == u"cookie") {
                cookies.append(name + u'=' + plainText(example));
            }
        }
        if (!query.isEmpty())
            request.url += u'?' + query.join(u'&');
        if (!cookies.isEmpty())
            request.headers.append({QStringLiteral("Cookie"), cookies.join(QStringLiteral("; "))});
        if (!leftOut.isEmpty())
            skipped.append(QStringLiteral("%1: optional parameters without an example left out: %2")
                               .arg(where, leftOut.join(QStringLiteral(", "))));
        readBody(operation, request, where);
        readSecurity(operation, request, where);
        if (!operation.value(QStringLiteral("callbacks")).toObject().isEmpty())
            skipped.append(QStringLiteral("%1: callbacks are not imported").arg(where));

        const QString tag = operation.value(QStringLiteral("tags")).toArray().first().toString();
        HXInteropItem item{false, request.name, request, {}};
        if (tag.isEmpty()) {
            m_collection.items.append(item);
            return;
        }
        auto folder =
            std::find_if(m_collection.items.begin(), m_collection.items.end(),
                         [&](const HXInteropItem &existing) { return existing.isFolder && existing.name == tag; });
        if (folder == m_collection.items.end())
            m_collection.items.append({true, tag, {}, {item}});
        else
            folder->children.append(item);
    }

private:
    void addVariable(const QString &name, const QString &value)
    {
        for (const auto &existing : std::as_const(m_collection.variables)) {
            if (existing.first == name)
                return;
        }
        m_collection.variables.append({name, value});
    }

    void readBody(const QJsonObject &operation, HXInteropRequest &request, const QString &where)
    {
        QStringList &skipped = m_collection.skipped;
        const QJsonObject body = m_schemas.resolve(operation.value(QStringLiteral("requestBody")), skipped);
        const QJsonObject content = body.value(QStringLiteral("content")).toObject();
        if (content.isEmpty())
            return;
        QString type;
        for (const QString &preferred :
             {QStringLiteral("application/json"), QStringLiteral("application/x-www-form-urlencoded"),
              QStringLiteral("multipart/form-data")}) {
            if (content.contains(preferred)) {
                type = preferred;
                break;
            }
        }
        if (type.isEmpty())
            type = content.keys().first();
        if (content.size() > 1)
            skipped.append(QStringLiteral("%1: only the %2 body of %3 media types is imported")
                               .arg(where, type)
                               .arg(content.size()));
        const QJsonObject media = content.value(type).toObject();
        const QJsonValue example = m_schemas.mediaExample(media, skipped);
        const bool form = type == u"application/x-www-form-urlencoded";
        const bool multipart = type.startsWith(QStringLiteral("multipart/"));
        if (form || multipart) {
            request.body = multipart ? HXInteropRequest::Body::FormData : HXInteropRequest::Body::URLEncoded;
            const QJsonObject properties = m_schemas.resolve(media.value(QStringLiteral("schema")), skipped)
                                               .value(QStringLiteral("properties"))
                                               .toObject();
            const QJsonObject values = example.toObject();
            for (auto it = values.begin(); it != values.end(); ++it) {
                const QJsonObject property = m_schemas.resolve(properties.value(it.key()), skipped);
                const bool file = multipart && property.value(QStringLiteral("format")).toString() == u"binary";
                request.fields.append({it.key(), file ? QString() : plainText(it.value()), true, file});
            }
            return;
        }
        request.headers.append({QStringLiteral("Content-Type"), type});
        request.body = HXInteropRequest::Body::Raw;
        if (example.isObject() || example.isArray())
            request.rawBody = QString::fromUtf8(example.isObject() ? QJsonDocument(example.toObject()).toJson()
                                                                   : QJsonDocument(example.toArray()).toJson());
        else
            request.rawBody = plainText(example);
    }

    void readSecurity(const QJsonObject &operation, HXInteropRequest &request, const QString &where)
    {
        const QJsonValue security = operation.contains(QStringLiteral("security"))
                                        ? operation.value(QStringLiteral("security"))
                                        : m_root.value(QStringLiteral("security"));
        const QJsonObject requirement = security.toArray().first().toObject();
        const QJsonObject schemes =
            m_root.value(QStringLiteral("components")).toObject().value(QStringLiteral("securitySchemes")).toObject();
        for (auto it = requirement.begin(); it != requirement.end(); ++it) {
            const QJsonObject scheme = m_schemas.resolve(schemes.value(it.key()), m_collection.skipped);
            const QString type = scheme.value(QStringLiteral("type")).toString();
            const QString httpScheme = scheme.value(QStringLiteral("scheme")).toString().toLower();
            if (type == u"http" && httpScheme == u"basic" && request.auth == HXInteropRequest::Auth::None) {
                request.auth = HXInteropRequest::Auth::Basic;
                request.username = QStringLiteral("{{username}}");
                request.password = QStringLiteral("{{password}}");
            } else if (type == u"http" && httpScheme == u"bearer" && request.auth == HXInteropRequest::Auth::None) {
                request.auth = HXInteropRequest::Auth::Bearer;
                request.token = QStringLiteral("{{bearerToken}}");
            } else if (type == u"apiKey") {
                const QString name = scheme.value(QStringLiteral("name")).toString();
                const QString place = scheme.value(QStringLiteral("in")).toString();
                const QString value = QStringLiteral("{{%1}}").arg(it.key());
                if (place == u"header")
                    request.headers.append({name, value});
                else if (place == u"query")
                    request.url += (request.url.contains(u'?') ? u'&' : u'?') + name + u'=' + value;
                else
                    request.headers.append({QStringLiteral("Cookie"), name + u'=' + value});
            } else {
                m_collection.skipped.append(
                    QStringLiteral("%1: security scheme '%2' (%3) is not supported")
                        .arg(where, it.key(), type + (httpScheme.isEmpty() ? QString() : u' ' + httpScheme)));
            }
        }
    }

    QJsonObject m_root;
    HXOpenAPISchemas m_schemas;
    HXInteropCollection &m_collection;
};

} // namespace

bool HXOpenAPIImporter::isOpenAPI(const QJsonObject &root)
{
    return root.contains(QStringLiteral("openapi")) || root.contains(QStringLiteral("swagger"));
}

HXResult<HXInteropCollection> HXOpenAPIImporter::import(const QJsonObject &root, const QByteArray &json)
{
    const QString domain = QString::fromLatin1(HXCurlCommandImporter::errorDomain);
    if (root.contains(QStringLiteral("swagger")))
        return HXError(domain, 30,
                       QStringLiteral("Swagger %1 is not supported; convert it to OpenAPI 3")
                           .arg(plainText(root.value(QStringLiteral("swagger")))));
    const QString version = root.value(QStringLiteral("openapi")).toString();
    if (!version.startsWith(QStringLiteral("3.0")) && !version.startsWith(QStringLiteral("3.1")))
        return HXError(domain, 31,
                       QStringLiteral("unsupported OpenAPI version '%1' (3.0 and 3.1 are supported)").arg(version));
    HXInteropCollection collection;
    collection.name = root.value(QStringLiteral("info")).toObject().value(QStringLiteral("title")).toString();
    HXError parseError;
    auto parser = HXJSONParser::fromUtf8(json);
    const std::shared_ptr<HXJSONItem> tree = parser->parseWithError(&parseError);
    const QJsonObject paths = root.value(QStringLiteral("paths")).toObject();
    QStringList pathOrder = keysInOrder(tree, {QStringLiteral("paths")});
    if (pathOrder.size() != paths.size())
        pathOrder = paths.keys(); // nested too deeply for the ordered reading
    Reader reader(root, collection);
    reader.readServers();
    for (const QString &path : std::as_const(pathOrder)) {
        const QJsonObject pathItem = paths.value(path).toObject();
        QStringList operationOrder = keysInOrder(tree, {QStringLiteral("paths"), path});
        if (operationOrder.isEmpty())
            operationOrder = pathItem.keys();
        for (const QString &key : std::as_const(operationOrder)) {
            if (methods.contains(key))
                reader.readOperation(path, key, pathItem);
        }
        if (pathItem.contains(QStringLiteral("$ref")))
            collection.skipped.append(QStringLiteral("%1: a path item by reference is not imported").arg(path));
    }
    if (!root.value(QStringLiteral("webhooks")).toObject().isEmpty())
        collection.skipped.append(QStringLiteral("webhooks are not imported"));
    return collection;
}
