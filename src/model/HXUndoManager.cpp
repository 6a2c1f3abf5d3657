#include "HXUndoManager.h"

HXUndoManager::HXUndoManager(QObject *parent) : QObject(parent) {}

HXUndoManager::~HXUndoManager() = default;

std::vector<HXUndoManager::Group> &HXUndoManager::targetStack()
{
    return m_state == State::Undoing ? m_redoStack : m_undoStack;
}

void HXUndoManager::beginUndoGrouping()
{
    if (m_groupingLevel == 0 && m_implicitOpen)
        closeImplicitGroup();
    if (m_groupingLevel == 0) {
        m_open = Group();
        m_hasOpen = true;
    }
    ++m_groupingLevel;
}

void HXUndoManager::endUndoGrouping()
{
    Q_ASSERT(m_groupingLevel > 0);
    if (m_groupingLevel == 0)
        return;
    if (--m_groupingLevel > 0)
        return;
    m_hasOpen = false;
    if (!m_open.actions.empty()) {
        if (m_state == State::Normal)
            m_redoStack.clear();
        targetStack().push_back(std::move(m_open));
        Q_EMIT changed();
    }
    m_open = Group();
}

void HXUndoManager::closeImplicitGroup()
{
    if (!m_implicitOpen)
        return;
    m_implicitOpen = false;
    m_groupingLevel = 1;
    endUndoGrouping();
}

void HXUndoManager::registerUndo(std::function<void()> action)
{
    if (m_disabled > 0)
        return;
    if (!m_hasOpen) {
        // Outside any explicit group: gather into the implicit one.
        m_open = Group();
        m_hasOpen = true;
        m_implicitOpen = true;
    }
    m_open.actions.push_back(std::move(action));
}

void HXUndoManager::setActionName(const QString &name)
{
    if (m_hasOpen)
        m_open.name = name;
    else if (!targetStack().empty())
        targetStack().back().name = name;
}

bool HXUndoManager::canUndo() const
{
    return !m_undoStack.empty() || (m_implicitOpen && !m_open.actions.empty());
}

bool HXUndoManager::canRedo() const
{
    return !m_redoStack.empty();
}

QString HXUndoManager::undoActionName() const
{
    if (m_implicitOpen && !m_open.actions.empty())
        return m_open.name;
    return m_undoStack.empty() ? QString() : m_undoStack.back().name;
}

QString HXUndoManager::redoActionName() const
{
    return m_redoStack.empty() ? QString() : m_redoStack.back().name;
}

void HXUndoManager::replay(std::vector<Group> &from, State state)
{
    if (from.empty())
        return;
    Group group = std::move(from.back());
    from.pop_back();
    const State previous = m_state;
    m_state = state;
    // The inverse actions registered while replaying form the opposite step,
    // under the same name.
    m_open = Group();
    m_open.name = group.name;
    m_hasOpen = true;
    m_groupingLevel = 1;
    for (auto it = group.actions.rbegin(); it != group.actions.rend(); ++it)
        (*it)();
    m_groupingLevel = 0;
    m_hasOpen = false;
    if (!m_open.actions.empty())
        targetStack().push_back(std::move(m_open));
    m_open = Group();
    m_state = previous;
    Q_EMIT changed();
}

void HXUndoManager::undo()
{
    closeImplicitGroup();
    Q_ASSERT(m_groupingLevel == 0);
    replay(m_undoStack, State::Undoing);
}

void HXUndoManager::redo()
{
    closeImplicitGroup();
    Q_ASSERT(m_groupingLevel == 0);
    replay(m_redoStack, State::Redoing);
}

void HXUndoManager::removeAllActions()
{
    m_undoStack.clear();
    m_redoStack.clear();
    m_open = Group();
    m_hasOpen = false;
    m_implicitOpen = false;
    m_groupingLevel = 0;
    Q_EMIT changed();
}
