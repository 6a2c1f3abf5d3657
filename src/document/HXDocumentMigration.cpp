#include "HXDocumentMigration.h"

#include "HXAtomicFile.h"
#include "HXDocument.h"
#include "HXDocumentLogging.h"
#include "HXDocumentModel.h"
#include "HXDocumentModelVersion1.h"
#include "HXManagedObjectModel.h"
#include "HXMappingModel.h"
#include "HXMigrationManager.h"
#include "HXXMLStore.h"

#include <QDir>
#include <QFile>
#include <QUuid>

#include <sys/xattr.h>

#include <exception>

namespace {

void log(const QString &text)
{
    qCInfo(lcKeaDocument).noquote() << text;
}

void logEntities(const HXManagedObjectModel &model)
{
    for (const HXEntityDescription *entity : model.entities())
        log(QStringLiteral("         %1: %2").arg(entity->name(), QString::fromLatin1(entity->versionHash())));
}

// The document identifier kept beside the file; a rename over the file
// drops it, so the copy-back puts it back.
QByteArray readDocumentID(const QString &path)
{
    const QByteArray file = QFile::encodeName(path);
    char buffer[255];
    const ssize_t size = ::getxattr(file.constData(), HXDocument::documentIDAttribute, buffer, sizeof buffer);
    return size > 0 ? QByteArray(buffer, int(size)) : QByteArray();
}

void writeDocumentID(const QString &path, const QByteArray &identifier)
{
    if (!identifier.isEmpty())
        ::setxattr(QFile::encodeName(path).constData(), HXDocument::documentIDAttribute, identifier.constData(),
                   size_t(identifier.size()), 0);
}

} // namespace

HXDocumentMigration::HXDocumentMigration()
    : m_writer([](const QString &path, const QByteArray &bytes) -> HXResult<void> {
          auto written = HXAtomicFile::write(path, bytes);
          if (!written)
              return written.error();
          return {};
      })
{}

QList<const HXManagedObjectModel *> HXDocumentMigration::knownModels()
{
    return {&HXDocumentModelVersion1::model(), &HXDocumentModel::currentModel()};
}

HXDocumentMigration::Outcome HXDocumentMigration::migrateIfNeeded(const QString &path)
{
    const HXStoreMetadata metadata = HXXMLStore::readMetadata(path).valueOr(HXStoreMetadata());
    if (metadata.entityVersionHashes.isEmpty())
        return NotNeeded;

    const HXManagedObjectModel &destination = HXDocumentModel::currentModel();
    const HXManagedObjectModel *source = nullptr;
    for (const HXManagedObjectModel *model : knownModels()) {
        if (model->entityVersionHashes() == metadata.entityVersionHashes)
            source = model;
    }
    if (source == nullptr || source == &destination)
        return NotNeeded;
    const QString sourceVersion = source->versionIdentifiers().value(0);
    const QString destinationVersion = destination.versionIdentifiers().value(0);
    if (!sourceVersion.isEmpty() && sourceVersion == destinationVersion)
        return NotNeeded;

    log(QStringLiteral("Core Data Migration Is Nessary for Document: %1").arg(path));
    log(QStringLiteral("  [INFO] Source Model: %1").arg(source->versionIdentifiers().join(u", ")));
    logEntities(*source);
    log(QStringLiteral("  [INFO] Destination Model: %1").arg(destination.versionIdentifiers().join(u", ")));
    logEntities(destination);
    log(QStringLiteral("  [INFO] Diff Between Source and Destination Models"));
    for (const HXEntityDescription *entity : source->entities()) {
        const HXEntityDescription *other = destination.entity(entity->name());
        if (other != nullptr && other->versionHash() != entity->versionHash())
            log(QStringLiteral("         Different Hashes for: %1").arg(entity->name()));
    }
    return _migrate(path, *source, destination);
}

HXDocumentMigration::Outcome HXDocumentMigration::_migrate(const QString &path, const HXManagedObjectModel &source,
                                                           const HXManagedObjectModel &destination)
{
    std::optional<HXMappingModel> mapping;
    if (source.versionIdentifiers().contains(QLatin1String(HXDocumentModelVersion1::versionIdentifier)) &&
        destination.versionIdentifiers().contains(QLatin1String(HXDocumentModel::currentVersionIdentifier)))
        mapping = HXMappingModel::mappingModelWithName(QStringLiteral("HXDocument_1_2"));
    if (!mapping) {
        log(QStringLiteral(" No Mapping found from this document model to the current model"));
        return NoMapping;
    }
    // The mapping follows the models' hashes even when they drift.
    for (HXEntityMapping &entityMapping : mapping->entityMappings()) {
        if (const HXEntityDescription *entity = source.entity(entityMapping.sourceEntityName))
            entityMapping.sourceEntityVersionHash = entity->versionHash();
        if (const HXEntityDescription *entity = destination.entity(entityMapping.destinationEntityName))
            entityMapping.destinationEntityVersionHash = entity->versionHash();
    }

    const QString temporaryPath =
        QDir(QDir::tempPath())
            .absoluteFilePath(
                QStringLiteral("%1-migration.kea").arg(QUuid::createUuid().toString(QUuid::WithoutBraces)));
    log(QStringLiteral("Migrating document %1").arg(path));
    log(QStringLiteral(" From Model: %1").arg(source.versionIdentifiers().value(0)));
    log(QStringLiteral(" To Model: %1").arg(destination.versionIdentifiers().value(0)));
    log(QStringLiteral(" Using temporary file: %1").arg(temporaryPath));

    HXResult<void> migrated;
    try {
        HXMigrationManager manager(source, destination);
        migrated = manager.migrateStoreFromURL(path, temporaryPath, *mapping);
    } catch (const std::exception &exception) {
        log(QStringLiteral("> Exception occured during migration: %1").arg(QString::fromUtf8(exception.what())));
        migrated = HXError(QString::fromLatin1(HXXMLStore::errorDomain), HXXMLStore::ReadError,
                           QString::fromUtf8(exception.what()));
    }
    if (!migrated) {
        log(QStringLiteral("> Migration Failed: %1").arg(migrated.error().description));
        QFile::remove(temporaryPath);
        return Failed;
    }
    log(QStringLiteral("> Migrated Successfully"));
    return _copyBack(path, temporaryPath);
}

HXDocumentMigration::Outcome HXDocumentMigration::_copyBack(const QString &path, const QString &temporaryPath)
{
    QFile temporary(temporaryPath);
    HXResult<void> copied =
        HXError(QString::fromLatin1(HXXMLStore::errorDomain), HXXMLStore::ReadError, temporary.errorString());
    if (temporary.open(QIODevice::ReadOnly)) {
        const QByteArray bytes = temporary.readAll();
        temporary.close();
        const QByteArray identifier = readDocumentID(path);
        copied = m_writer(path, bytes);
        if (copied)
            writeDocumentID(path, identifier);
    }
    if (!copied) {
        log(QStringLiteral("> Couldn't copy the migrated document to the original location, migrated document is "
                           "here: %1")
                .arg(temporaryPath));
        return CopyBackFailed;
    }
    log(QStringLiteral("> Copied new version at the URL"));
    if (QFile::remove(temporaryPath))
        log(QStringLiteral("> Removing temporary file"));
    return Migrated;
}
