#pragma once

#include "HXEvaluationDocument.h"
#include "HXFileStamp.h"
#include "HXResult.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>

class HXEnvironment;
class HXManagedObjectContext;
struct HXManagedObjectChanges;
class HXManagedObjectModel;
class HXRequestHandler;
class HXRequestTreeItem;

// One request document: an object store of the document model, the file it
// lives in, and the identifier kept beside that file. A document registers
// itself with the shared document controller for as long as it exists.
class HXDocument : public QObject, public HXEvaluationDocument
{
    Q_OBJECT
public:
    // A new untitled document with an empty store.
    explicit HXDocument(QObject *parent = nullptr);
    ~HXDocument() override;

    // A new untitled document as a user gets it: one request, the "Default"
    // environment as the current one, an identifier, and nothing to undo.
    static std::unique_ptr<HXDocument> makeUntitledDocument();

    // Opens the document at `path`; on failure nothing is opened and the
    // file is left as it was. Temporary files that killed saves of this
    // document left beside it are removed.
    static HXResult<std::unique_ptr<HXDocument>> openDocument(const QString &path);

    // The process-wide document model.
    static const HXManagedObjectModel &managedObjectModel();
    HXManagedObjectContext *managedObjectContext() const override { return m_context.get(); }

    // Sends this document's requests, one at a time.
    HXRequestHandler *requestHandler() const { return m_requestHandler.get(); }

    QString fileName() const override { return m_fileName; }
    // Whether the file's checksum showed, when it was opened, that it had
    // been changed outside Kea (it opened as it is; the user is told once).
    bool wasChangedOutsideKea() const { return m_changedOutsideKea; }
    QString documentUUID() const { return m_documentUUID; }

    // Saves to the document's file, or to `path` (which becomes its file).
    // Refused when another open document uses that file, and when another
    // program changed the document's own file since it was opened or last
    // saved; the document in memory is kept either way.
    HXResult<void> save();
    HXResult<void> saveAs(const QString &path);

    HXEnvironment *currentEnvironment() const override;
    void setCurrentEnvironment(HXEnvironment *environment);
    // Environment commands: choose one; move to the previous or next by name
    // (nothing happens at either end); delete the current one after asking,
    // refusing to delete the last.
    void selectEnvironment(HXEnvironment *environment);
    void selectPreviousEnvironment();
    void selectNextEnvironment();
    void deleteEnvironment();
    static constexpr const char *environmentErrorDomain = "kestrelworks.com.Environment";
    enum class EnvironmentErrorCode : qint64 {
        // Deleting the only environment of the document.
        LastEnvironment = 1,
    };

    // Top-level tree items sorted by `order`, and the children of a folder
    // the same way (object number breaks ties).
    QList<HXRequestTreeItem *> topLevelItems() const;
    static QList<HXRequestTreeItem *> sortedItems(QList<HXRequestTreeItem *> items);

    // The open document whose store is `context`, or null.
    static HXDocument *documentWithManagedObjectContext(const HXManagedObjectContext *context);

    // Adopts the identifier stored in the file's extended attribute, or
    // writes this document's identifier there (making one if needed).
    // Returns whether the attribute could be read or written.
    bool _readOrWriteDocumentUUIDWithURL(const QString &path);

    static constexpr const char *documentIDAttribute = "user.kestrelworks.Kea.DocumentID";
    static constexpr const char *urlInUseErrorDomain = "kestrelworks.Kea.DocumentURLAlreadyInUseError";
    enum class URLInUseErrorCode : qint64 {
        // Saving under the file name of another open document.
        NameTaken = -1,
    };

Q_SIGNALS:
    void currentEnvironmentChanged(HXEnvironment *environment);
    // Sent once for every environment inserted, changed or deleted, so the
    // environment menus can be rebuilt.
    void environmentsChanged(HXEnvironment *environment);

private:
    // Sends environmentsChanged for the environments among the changes.
    void managedObjectContextObjectsDidChange(const HXManagedObjectChanges &changes);
    void _observeManagedObjectContext();

    HXResult<void> _validateSaveURL(const QString &path) const;

    HXResult<void> _checkUnchangedOnDisk(const QString &path) const;

    std::unique_ptr<HXManagedObjectContext> m_context;
    std::unique_ptr<HXRequestHandler> m_requestHandler;
    QString m_fileName;
    // The file as this document last read or wrote it.
    HXFileStamp m_fileStamp;
    bool m_changedOutsideKea = false;
    QString m_documentUUID;
    HXEnvironment *m_currentEnvironment = nullptr;
};
