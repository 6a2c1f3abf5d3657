#pragma once

#include "HXDocument.h"
#include "HXDocumentCommands.h"

#include <QKeySequence>
#include <QList>
#include <QObject>

#include <functional>

class HXDocumentWindow;
class HXEnvironment;
class QAction;
class QActionGroup;
class QMenu;

// The menu bar of a document window, with standard shortcuts. Every item
// calls one of the document's commands; titles, enabled and checked states
// come from the commands' validation after every change.
class HXMainMenu : public QObject
{
    Q_OBJECT
public:
    explicit HXMainMenu(HXDocumentWindow *window);

    void updateStates();
    void updateEnvironments(const QList<HXEnvironment *> &environments, HXEnvironment *current);

    QAction *undoAction() const { return m_undo; }
    QAction *redoAction() const { return m_redo; }
    QAction *copyAction() const { return m_copy; }
    QAction *pasteAction() const { return m_paste; }
    QAction *sendAction() const { return m_send; }
    QAction *sendAllAction() const { return m_sendAll; }
    QAction *deleteAction() const { return m_delete; }
    QAction *copyAsCodeAction() const { return m_copyAsCode; }

private:
    using Action = HXDocumentCommands::Action;
    using Selection = HXDocumentCommands::Selection;

    void _buildFile();
    void _buildEdit();
    void _buildRequest();
    void _buildResponse();
    void _buildView();
    // An item validated as `action` (tag: the item's tag for the core).
    QAction *_add(QMenu *menu, const QString &title, Action action, const std::function<void()> &trigger,
                  const QKeySequence &shortcut = {}, int tag = 0);
    // An item acting on the request list's selection.
    QAction *_addForSelection(QMenu *menu, const QString &title, Action action,
                              void (HXDocumentCommands::*command)(const Selection &),
                              const QKeySequence &shortcut = {});
    HXDocumentCommands *_commands() const;
    Selection _selection() const;

    struct Item
    {
        QAction *action;
        Action validation;
        int tag;
    };

    HXDocumentWindow *m_window;
    QList<Item> m_items;
    QAction *m_undo = nullptr;
    QAction *m_redo = nullptr;
    QAction *m_copy = nullptr;
    QAction *m_paste = nullptr;
    QAction *m_delete = nullptr;
    QAction *m_rename = nullptr;
    QAction *m_copyAsCode = nullptr;
    QAction *m_send = nullptr;
    QAction *m_sendAll = nullptr;
    QMenu *m_environmentMenu = nullptr;
    QActionGroup *m_environmentGroup = nullptr;
};
