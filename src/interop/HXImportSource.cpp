#include "HXImportSource.h"

#include "HXCurlCommandImporter.h"
#include "HXHARImporter.h"
#include "HXOpenAPIImporter.h"
#include "HXPostmanImporter.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>

namespace {

HXError importError(qint64 code, const QString &description)
{
    return HXError(QString::fromLatin1(HXCurlCommandImporter::errorDomain), code, description);
}

// Line and column (from 1) of a character offset.
QString position(const QByteArray &data, qsizetype offset)
{
    const QByteArray before = data.left(offset);
    const qsizetype line = before.count('\n') + 1;
    const qsizetype column = offset - (before.lastIndexOf('\n') + 1) + 1;
    return QStringLiteral("line %1, column %2").arg(line).arg(column);
}

} // namespace

std::optional<HXImportSource::Format> HXImportSource::formatNamed(const QString &name)
{
    const QString lower = name.toLower();
    if (lower == u"auto")
        return Format::Automatic;
    if (lower == u"curl")
        return Format::Curl;
    if (lower == u"postman")
        return Format::Postman;
    if (lower == u"har")
        return Format::HAR;
    if (lower == u"openapi")
        return Format::OpenAPI;
    return std::nullopt;
}

QStringList HXImportSource::formatNames()
{
    return {QStringLiteral("curl"), QStringLiteral("postman"), QStringLiteral("har"), QStringLiteral("openapi")};
}

HXResult<HXInteropCollection> HXImportSource::read(const QByteArray &data, Format format)
{
    if (data.size() > maximumSize)
        return importError(40, QStringLiteral("the file is %1 MB; files to import may be at most %2 MB")
                                   .arg(double(data.size()) / (1024 * 1024), 0, 'f', 1)
                                   .arg(maximumSize / (1024 * 1024)));
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(data);
    if (decoder.hasError())
        return importError(41, QStringLiteral("the file is not UTF-8 text"));
    const QString start = text.trimmed().left(200);
    const bool json = start.startsWith(u'{') || start.startsWith(u'[');

    if (format == Format::Curl || (format == Format::Automatic && !json)) {
        if (format == Format::Automatic && !HXCurlCommandImporter::looksLikeCurl(text)) {
            if (start.startsWith(QStringLiteral("openapi:")) || start.startsWith(QStringLiteral("swagger:")))
                return importError(42, QStringLiteral("OpenAPI descriptions in YAML are not supported; convert the "
                                                      "file to JSON and import that"));
            return importError(43, QStringLiteral("not a format Kea imports: expected a cURL command, a Postman "
                                                  "collection or environment, a HAR file or an OpenAPI description "
                                                  "(JSON)"));
        }
        return HXCurlCommandImporter::import(text);
    }

    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(data, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return importError(44, QStringLiteral("not valid JSON at %1: %2")
                                   .arg(position(data, parseError.offset), parseError.errorString()));
    if (!document.isObject())
        return importError(45, QStringLiteral("the JSON text is not an object"));
    const QJsonObject root = document.object();
    const bool postman = HXPostmanImporter::isCollection(root);
    const bool environment = HXPostmanImporter::isEnvironment(root);
    const bool har = HXHARImporter::isHAR(root);
    const bool openAPI = HXOpenAPIImporter::isOpenAPI(root);
    switch (format) {
    case Format::Postman:
        if (environment)
            return HXPostmanImporter::importEnvironment(root);
        if (!postman)
            return importError(46, QStringLiteral("not a Postman collection (no \"info\" and \"item\")"));
        return HXPostmanImporter::importCollection(root);
    case Format::HAR:
        if (!har)
            return importError(46, QStringLiteral("not a HAR file (no \"log\" object)"));
        return HXHARImporter::import(root);
    case Format::OpenAPI:
        if (!openAPI)
            return importError(46, QStringLiteral("not an OpenAPI description (no \"openapi\" version)"));
        return HXOpenAPIImporter::import(root, data);
    case Format::Curl:
    case Format::Automatic:
        break;
    }
    if (openAPI)
        return HXOpenAPIImporter::import(root, data);
    if (har)
        return HXHARImporter::import(root);
    if (environment)
        return HXPostmanImporter::importEnvironment(root);
    if (postman)
        return HXPostmanImporter::importCollection(root);
    return importError(47, QStringLiteral("a JSON file Kea does not recognise: expected a Postman collection or "
                                          "environment, a HAR file or an OpenAPI description"));
}
