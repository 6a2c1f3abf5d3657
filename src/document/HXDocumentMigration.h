#pragma once

#include "HXResult.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>

class HXManagedObjectModel;

// Brings a document written with the first document model up to the current
// one before it is opened. The migrated store is written to
// "<UUID>-migration.kea" in the temporary folder and then copied over the
// document; when that copy fails the temporary file is kept (and its path
// logged) so that nothing is lost. Every step is logged; nothing here
// refuses an open: a document that was not migrated is opened as it is, and
// the store decides.
class HXDocumentMigration
{
public:
    enum Outcome {
        NotNeeded,      // no metadata, an unknown or the current model
        NoMapping,      // an older model Kea has no mapping from
        Migrated,       // migrated and copied over the document
        CopyBackFailed, // migrated, the temporary file kept
        Failed,         // the migration failed; the document is unchanged
    };

    // Writes the migrated bytes over the document; by default atomically.
    using FileWriter = std::function<HXResult<void>(const QString &path, const QByteArray &bytes)>;

    HXDocumentMigration();

    // Migrates the document at `path` when it was written with an older
    // model.
    Outcome migrateIfNeeded(const QString &path);

    void setCopyBackWriter(FileWriter writer) { m_writer = std::move(writer); }

    // The models Kea knows, oldest first; the last is the current one.
    static QList<const HXManagedObjectModel *> knownModels();

private:
    Outcome _migrate(const QString &path, const HXManagedObjectModel &source, const HXManagedObjectModel &destination);
    Outcome _copyBack(const QString &path, const QString &temporaryPath);

    FileWriter m_writer;
};
