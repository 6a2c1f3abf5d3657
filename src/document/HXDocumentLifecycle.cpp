// HXDocument: how a new document starts, and how it notices changes to its
// environments.

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXEnvironment.h"
#include "HXManagedObjectContext.h"
#include "HXUndoManager.h"

std::unique_ptr<HXDocument> HXDocument::makeUntitledDocument()
{
    auto document = std::make_unique<HXDocument>();
    // A new document never starts empty.
    HXDocumentCommands::commandsForDocument(document.get())->addRequestWithBlock({});
    document->_readOrWriteDocumentUUIDWithURL(QString());
    HXManagedObjectContext *context = document->managedObjectContext();
    HXEnvironment *environment = HXEnvironment::createDefaultEnvironmentIfNeeded(context);
    context->processPendingChanges();
    if (environment == nullptr) {
        const QList<HXEnvironment *> environments = HXEnvironment::environmentsSortedByName(context);
        environment = environments.isEmpty() ? nullptr : environments.first();
    }
    document->setCurrentEnvironment(environment);
    // The first request and environment cannot be undone.
    if (context->undoManager() != nullptr)
        context->undoManager()->removeAllActions();
    return document;
}

void HXDocument::_observeManagedObjectContext()
{
    connect(m_context.get(), &HXManagedObjectContext::objectsDidChange, this,
            &HXDocument::managedObjectContextObjectsDidChange);
}

void HXDocument::managedObjectContextObjectsDidChange(const HXManagedObjectChanges &changes)
{
    for (const QSet<HXManagedObject *> *set : {&changes.inserted, &changes.updated, &changes.deleted}) {
        for (HXManagedObject *object : *set) {
            if (auto *environment = dynamic_cast<HXEnvironment *>(object))
                Q_EMIT environmentsChanged(environment);
        }
    }
}
