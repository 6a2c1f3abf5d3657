#pragma once

#include <QObject>
#include <QString>

#include <functional>
#include <vector>

// Records inverse actions in named groups and replays them. While a group is
// being undone, the actions it registers go to the redo stack, and the other
// way round, so undo and redo can alternate indefinitely.
//
// Registrations made while no group is open go into an implicit group that
// stays open until closeImplicitGroup() (the object context calls it when it
// processes pending changes) or until the next undo or redo, so one user
// command becomes one step.
class HXUndoManager : public QObject
{
    Q_OBJECT
public:
    explicit HXUndoManager(QObject *parent = nullptr);
    ~HXUndoManager() override;

    void beginUndoGrouping();
    void endUndoGrouping();
    int groupingLevel() const { return m_groupingLevel; }
    void closeImplicitGroup();

    // Registers `action` as the inverse of a change just made.
    void registerUndo(std::function<void()> action);
    void setActionName(const QString &name);

    bool canUndo() const;
    bool canRedo() const;
    QString undoActionName() const;
    QString redoActionName() const;
    void undo();
    void redo();
    bool isUndoing() const { return m_state == State::Undoing; }
    bool isRedoing() const { return m_state == State::Redoing; }

    // Stops recording (nested calls count); used while loading documents.
    void disableUndoRegistration() { ++m_disabled; }
    void enableUndoRegistration() { --m_disabled; }
    bool isUndoRegistrationEnabled() const { return m_disabled == 0; }

    void removeAllActions();
    int undoCount() const { return int(m_undoStack.size()); }
    int redoCount() const { return int(m_redoStack.size()); }

Q_SIGNALS:
    void changed();

private:
    struct Group
    {
        QString name;
        std::vector<std::function<void()>> actions;
    };
    enum class State { Normal, Undoing, Redoing };

    std::vector<Group> &targetStack();
    void replay(std::vector<Group> &from, State state);

    std::vector<Group> m_undoStack;
    std::vector<Group> m_redoStack;
    Group m_open;
    bool m_hasOpen = false;
    bool m_implicitOpen = false;
    int m_groupingLevel = 0;
    int m_disabled = 0;
    State m_state = State::Normal;
};
