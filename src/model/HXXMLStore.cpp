#include "HXXMLStore.h"

#include "HXAtomicFile.h"
#include "HXManagedObjectContext.h"
#include "HXXMLStoreReader.h"
#include "HXXMLStoreWriter.h"

HXError HXXMLStore::error(ErrorCode code, const QString &text)
{
    return HXError(QString::fromLatin1(errorDomain), code, text);
}

void HXXMLStore::serialize(const HXManagedObjectContext &context, const std::function<void(QByteArrayView)> &sink)
{
    HXXMLStoreWriter::serialize(context, sink);
}

QByteArray HXXMLStore::serialize(const HXManagedObjectContext &context)
{
    QByteArray bytes;
    serialize(context, [&bytes](QByteArrayView chunk) { bytes += chunk; });
    return bytes;
}

HXResult<void> HXXMLStore::save(HXManagedObjectContext *context, const QString &path,
                                const HXAtomicFile::Attributes &attributes, HXFileStamp *written)
{
    auto stamp = HXAtomicFile::write(
        path, [context](const std::function<void(QByteArrayView)> &sink) { serialize(*context, sink); }, attributes);
    if (!stamp)
        return stamp.error();
    context->markSaved();
    if (written != nullptr)
        *written = *stamp;
    return {};
}

HXResult<std::unique_ptr<HXManagedObjectContext>>
HXXMLStore::load(const QString &path, const HXManagedObjectModel &model, HXFileStamp *stamp, bool *changedOutsideKea)
{
    auto data = HXXMLStoreReader::readWholeFile(path, stamp);
    if (!data)
        return data.error();
    return loadData(*data, path, model, changedOutsideKea);
}

HXResult<std::unique_ptr<HXManagedObjectContext>> HXXMLStore::loadData(const QByteArray &data, const QString &name,
                                                                       const HXManagedObjectModel &model,
                                                                       bool *changedOutsideKea)
{
    if (auto markers = HXXMLStoreReader::checkMergeMarkers(data, name); !markers)
        return markers.error();
    bool present = false;
    bool matches = true;
    if (auto integrity = HXXMLStoreReader::checkIntegrity(data, name, &present, &matches); !integrity)
        return integrity.error();
    auto context = std::make_unique<HXManagedObjectContext>(&model);
    HXXMLStoreReader reader(data, name, &model);
    reader.hasIntegrityLine = present;
    if (auto result = reader.read(context.get()); !result)
        return result.error();
    context->setStoreUUID(reader.metadata.storeUUID);
    context->markSaved();
    if (changedOutsideKea != nullptr)
        *changedOutsideKea = !matches;
    return context;
}

HXResult<HXStoreMetadata> HXXMLStore::readMetadata(const QString &path)
{
    auto data = HXXMLStoreReader::readWholeFile(path);
    if (!data)
        return data.error();
    HXXMLStoreReader reader(*data, path, nullptr);
    if (auto result = reader.read(nullptr); !result)
        return result.error();
    return reader.metadata;
}
