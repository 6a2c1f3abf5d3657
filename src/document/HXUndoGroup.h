#pragma once

#include "HXManagedObjectContext.h"
#include "HXUndoManager.h"

#include <QString>

// One named undo step for a scope: pending changes are processed on entry
// (so earlier edits stay their own step) and again before the group closes,
// so every view refreshes once the step is complete.
class HXUndoGroup
{
public:
    HXUndoGroup(HXManagedObjectContext *context, QString name) : m_context(context), m_name(std::move(name))
    {
        m_context->processPendingChanges();
        if (HXUndoManager *undo = m_context->undoManager())
            undo->beginUndoGrouping();
    }
    ~HXUndoGroup()
    {
        m_context->processPendingChanges();
        if (HXUndoManager *undo = m_context->undoManager()) {
            undo->setActionName(m_name);
            undo->endUndoGrouping();
        }
    }
    HXUndoGroup(const HXUndoGroup &) = delete;
    HXUndoGroup &operator=(const HXUndoGroup &) = delete;

private:
    HXManagedObjectContext *m_context;
    QString m_name;
};
