#include "HXDocument.h"

#include "HXAtomicFile.h"
#include "HXDocumentController.h"
#include "HXDocumentLogging.h"
#include "HXDocumentMigration.h"
#include "HXDocumentModel.h"
#include "HXEnvironment.h"
#include "HXManagedObjectContext.h"
#include "HXPresenter.h"
#include "HXRequestGroup.h"
#include "HXRequestHandler.h"
#include "HXRequestTreeItem.h"
#include "HXUndoManager.h"
#include "HXXMLStore.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <sys/xattr.h>

#include <algorithm>

HXDocument::HXDocument(QObject *parent)
    : QObject(parent), m_context(std::make_unique<HXManagedObjectContext>(&HXDocumentModel::currentModel())),
      m_requestHandler(std::make_unique<HXRequestHandler>(this))
{
    HXDocumentController::sharedDocumentController()->addDocument(this);
    _observeManagedObjectContext();
}

HXDocument::~HXDocument()
{
    m_requestHandler.reset();
    HXDocumentController::sharedDocumentController()->removeDocument(this);
}

const HXManagedObjectModel &HXDocument::managedObjectModel()
{
    return HXDocumentModel::currentModel();
}

HXResult<std::unique_ptr<HXDocument>> HXDocument::openDocument(const QString &path)
{
    HXDocumentMigration().migrateIfNeeded(path);
    HXFileStamp stamp;
    bool changedOutsideKea = false;
    auto context = HXXMLStore::load(path, HXDocumentModel::currentModel(), &stamp, &changedOutsideKea);
    if (!context)
        return context.error();
    HXAtomicFile::removeStaleTemporaryFiles(path);
    auto document = std::make_unique<HXDocument>();
    document->m_context = std::move(context).value();
    document->_observeManagedObjectContext();
    document->m_fileName = QFileInfo(path).absoluteFilePath();
    document->m_fileStamp = stamp;
    document->m_changedOutsideKea = changedOutsideKea;
    document->_readOrWriteDocumentUUIDWithURL(path);
    return document;
}

HXResult<void> HXDocument::save()
{
    if (m_fileName.isEmpty())
        return HXError(QString::fromLatin1(HXXMLStore::errorDomain), HXXMLStore::WriteError,
                       QCoreApplication::translate("HXDocument", "The document has no file yet."));
    return saveAs(m_fileName);
}

HXResult<void> HXDocument::_validateSaveURL(const QString &path) const
{
    const HXDocument *other = HXDocumentController::sharedDocumentController()->documentForFile(path);
    if (other == nullptr || other == this)
        return {};
    HXError error(QString::fromLatin1(urlInUseErrorDomain), qint64(URLInUseErrorCode::NameTaken),
                  QCoreApplication::translate("HXDocument", "This name is already taken by another open document."));
    error.userInfo.insert(QStringLiteral("recoverySuggestion"),
                          QCoreApplication::translate("HXDocument", "Try to save it again with another name."));
    return error;
}

HXResult<void> HXDocument::_checkUnchangedOnDisk(const QString &path) const
{
    if (m_fileName.isEmpty() || QFileInfo(path).absoluteFilePath() != m_fileName || m_fileStamp.matchesFile(path))
        return {};
    return HXXMLStore::error(
        HXXMLStore::ChangedOnDiskError,
        QCoreApplication::translate("HXDocument", "%1 was changed by another program since it was opened; reload it "
                                                  "or save under another name")
            .arg(path));
}

HXResult<void> HXDocument::saveAs(const QString &path)
{
    if (auto valid = _validateSaveURL(path); !valid)
        return valid;
    if (auto unchanged = _checkUnchangedOnDisk(path); !unchanged)
        return unchanged;
    if (m_documentUUID.isEmpty())
        m_documentUUID = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    // The identifier goes on the new file before it replaces the old one, so
    // that no moment exists when the document has lost it.
    const HXAtomicFile::Attributes attributes = {{QByteArray(documentIDAttribute), m_documentUUID.toUtf8()}};
    HXFileStamp written;
    if (auto saved = HXXMLStore::save(m_context.get(), path, attributes, &written); !saved)
        return saved;
    m_fileName = QFileInfo(path).absoluteFilePath();
    m_fileStamp = written;
    // Where the file system took no attribute on the temporary file, try once
    // more on the file itself.
    _readOrWriteDocumentUUIDWithURL(path);
    return {};
}

bool HXDocument::_readOrWriteDocumentUUIDWithURL(const QString &path)
{
    if (path.isEmpty()) {
        m_documentUUID = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        return true;
    }
    const QByteArray file = QFile::encodeName(path);
    if (m_documentUUID.isEmpty()) {
        const ssize_t size = ::getxattr(file.constData(), documentIDAttribute, nullptr, 0);
        if (size >= 0) {
            char buffer[255];
            const ssize_t read = ::getxattr(file.constData(), documentIDAttribute, buffer, sizeof buffer);
            if (read >= 0) {
                m_documentUUID = QString::fromUtf8(buffer, std::min<ssize_t>(read, size));
                return true;
            }
        }
        m_documentUUID = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    }
    const QByteArray value = m_documentUUID.toUtf8();
    const bool written =
        ::setxattr(file.constData(), documentIDAttribute, value.constData(), size_t(value.size()), 0) == 0;
    if (!written)
        qCInfo(lcKeaDocument) << "cannot keep the document identifier beside" << path;
    return written;
}

HXEnvironment *HXDocument::currentEnvironment() const
{
    return m_currentEnvironment != nullptr && m_currentEnvironment->isLive() ? m_currentEnvironment : nullptr;
}

void HXDocument::setCurrentEnvironment(HXEnvironment *environment)
{
    if (environment == m_currentEnvironment)
        return;
    m_currentEnvironment = environment;
    Q_EMIT currentEnvironmentChanged(environment);
}

QList<HXRequestTreeItem *> HXDocument::sortedItems(QList<HXRequestTreeItem *> items)
{
    std::sort(items.begin(), items.end(), [](const HXRequestTreeItem *a, const HXRequestTreeItem *b) {
        if (a->order() != b->order())
            return a->order() < b->order();
        return a->objectNumber() < b->objectNumber();
    });
    return items;
}

QList<HXRequestTreeItem *> HXDocument::topLevelItems() const
{
    HXFetchRequest fetch(QStringLiteral("HXRequestTreeItem"));
    fetch.where(QStringLiteral("parent"), HXFetchRequest::Equal, static_cast<HXManagedObject *>(nullptr));
    QList<HXRequestTreeItem *> items;
    for (HXManagedObject *object : m_context->executeFetchRequest(fetch).valueOr({}))
        items.append(static_cast<HXRequestTreeItem *>(object));
    return sortedItems(items);
}

HXDocument *HXDocument::documentWithManagedObjectContext(const HXManagedObjectContext *context)
{
    for (HXDocument *document : HXDocumentController::sharedDocumentController()->documents()) {
        if (document->managedObjectContext() == context)
            return document;
    }
    return nullptr;
}

void HXDocument::selectEnvironment(HXEnvironment *environment)
{
    if (environment != nullptr && environment->isLive() && environment->managedObjectContext() == m_context.get())
        setCurrentEnvironment(environment);
}

void HXDocument::selectPreviousEnvironment()
{
    const QList<HXEnvironment *> environments = HXEnvironment::environmentsSortedByName(m_context.get());
    const qsizetype index = environments.indexOf(currentEnvironment());
    if (index > 0)
        setCurrentEnvironment(environments.at(index - 1));
}

void HXDocument::selectNextEnvironment()
{
    const QList<HXEnvironment *> environments = HXEnvironment::environmentsSortedByName(m_context.get());
    const qsizetype index = environments.indexOf(currentEnvironment());
    if (index >= 0 && index + 1 < environments.size())
        setCurrentEnvironment(environments.at(index + 1));
}

void HXDocument::deleteEnvironment()
{
    HXEnvironment *current = currentEnvironment();
    if (current == nullptr)
        return;
    HXFetchRequest others(QStringLiteral("HXEnvironment"));
    others.where(QStringLiteral("self"), HXFetchRequest::NotEqual, current).sortBy(QStringLiteral("name"));
    others.setFetchLimit(1);
    const QList<HXManagedObject *> found = m_context->executeFetchRequest(others).valueOr({});
    if (found.isEmpty()) {
        HXPresenter::sharedPresenter()->presentError(
            HXError(QString::fromLatin1(environmentErrorDomain), qint64(EnvironmentErrorCode::LastEnvironment),
                    QCoreApplication::translate("HXDocument", "You should keep at least one environment.")));
        return;
    }
    auto *successor = static_cast<HXEnvironment *>(found.first());
    HXPresenter::Alert alert;
    alert.kind = HXPresenter::AlertKind::DeleteEnvironment;
    alert.document = this;
    alert.message = QCoreApplication::translate("HXDocument", "Delete environment?");
    alert.informativeText =
        QCoreApplication::translate(
            "HXDocument", "Environment '%1' will be deleted and variables will be kept for other environments.")
            .arg(current->name());
    alert.buttons = {QCoreApplication::translate("HXDocument", "Delete"),
                     QCoreApplication::translate("HXDocument", "Cancel")};
    QPointer<HXDocument> self(this);
    HXPresenter::sharedPresenter()->presentAlert(alert, [self, current, successor](int button) {
        if (button != 0 || self.isNull() || !current->isLive() || !successor->isLive())
            return;
        HXManagedObjectContext *context = self->managedObjectContext();
        HXUndoManager *undo = context->undoManager();
        undo->beginUndoGrouping();
        self->setCurrentEnvironment(successor);
        context->deleteObject(current);
        context->processPendingChanges();
        undo->setActionName(QCoreApplication::translate("HXDocument", "Delete Environment"));
        undo->endUndoGrouping();
    });
}
