#include "HXFileContentDynamicValue.h"

#include "HXDynamicLogging.h"
#include "HXDynamicValueCatalogue.h"
#include "HXEvaluationDocument.h"
#include "HXRequestEvaluationContext.h"

#include <QCborMap>
#include <QCborValue>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

const QString pathKey = QStringLiteral("path");
const QString relativePathKey = QStringLiteral("relativePath");

bool isExistingFile(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() && !info.isDir();
}

} // namespace

void HXFileContentDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXFileContentDynamicValue>();
}

const QList<HXDynamicProperty> &HXFileContentDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("bookmarkData"), HXDynamicPropertyType::Data},
    };
    return keys;
}

QByteArray HXFileContentDynamicValue::bookmarkDataForPath(const QString &path, const QString &documentFolder,
                                                          QString *error)
{
    if (path.isEmpty()) {
        if (error)
            *error = QStringLiteral("no file path given");
        return {};
    }
    const QString absolutePath = QFileInfo(path).absoluteFilePath();
    if (!isExistingFile(absolutePath)) {
        if (error)
            *error = QStringLiteral("the file \"%1\" does not exist").arg(absolutePath);
        return {};
    }
    // Keys in the order of their bytes, so equal references give equal bytes.
    QCborMap map;
    map.insert(pathKey, absolutePath);
    if (!documentFolder.isEmpty())
        map.insert(relativePathKey, QDir(documentFolder).relativeFilePath(absolutePath));
    return map.toCborValue().toCbor();
}

std::optional<QString> HXFileContentDynamicValue::pathForBookmarkData(const QByteArray &data,
                                                                      const QString &documentFolder, QString *error)
{
    QCborParserError parserError;
    const QCborValue value = QCborValue::fromCbor(data, &parserError);
    if (parserError.error != QCborError::NoError || !value.isMap()) {
        if (error)
            *error = QStringLiteral("the reference is not readable");
        return std::nullopt;
    }
    const QCborMap map = value.toMap();
    const QString absolutePath = map.value(pathKey).toString();
    const QString relativePath = map.value(relativePathKey).toString();
    if (!relativePath.isEmpty() && !documentFolder.isEmpty()) {
        const QString candidate = QDir::cleanPath(QDir(documentFolder).absoluteFilePath(relativePath));
        if (isExistingFile(candidate))
            return candidate;
    }
    if (!absolutePath.isEmpty() && isExistingFile(absolutePath))
        return QDir::cleanPath(absolutePath);
    if (error) {
        *error = absolutePath.isEmpty() && relativePath.isEmpty()
                     ? QStringLiteral("the reference names no file")
                     : QStringLiteral("the file \"%1\" was not found")
                           .arg(absolutePath.isEmpty() ? relativePath : absolutePath);
    }
    return std::nullopt;
}

void HXFileContentDynamicValue::setFilePath(const QString &path, const QString &documentFolder)
{
    QString error;
    const QByteArray data = bookmarkDataForPath(path, documentFolder, &error);
    if (data.isEmpty())
        qCWarning(lcKeaDynamic).noquote() << QStringLiteral("Error during bookmark creation: %1").arg(error);
    setBookmarkData(data);
}

std::optional<QString> HXFileContentDynamicValue::resolvedFilePath(const QString &documentFolder, bool logErrors) const
{
    const QByteArray data = bookmarkData();
    if (data.isEmpty())
        return std::nullopt;
    QString error;
    std::optional<QString> path = pathForBookmarkData(data, documentFolder, &error);
    if (!path && logErrors)
        qCWarning(lcKeaDynamic).noquote() << QStringLiteral("Error when reading bookmark data: %1").arg(error);
    return path;
}

HXDynamicResult HXFileContentDynamicValue::evaluate()
{
    const std::optional<QString> path = resolvedFilePath();
    if (!path)
        return {};
    QFile file(*path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

QString HXFileContentDynamicValue::displayString() const
{
    // Drawn often: resolve without logging.
    const std::optional<QString> path = resolvedFilePath(currentDocumentFolder(), false);
    return path ? QFileInfo(*path).fileName() : localizedName();
}

QString HXFileContentDynamicValue::secondaryDisplayString() const
{
    const std::optional<QString> path = resolvedFilePath(currentDocumentFolder(), false);
    return path ? QFileInfo(*path).fileName()
                : QCoreApplication::translate("HXFileContentDynamicValue", "(Not specified)");
}

QString HXFileContentDynamicValue::currentDocumentFolder()
{
    const HXEvaluationDocument *document = HXRequestEvaluationContext::currentDocument();
    if (document == nullptr || document->fileName().isEmpty())
        return QString();
    return QFileInfo(document->fileName()).absolutePath();
}
