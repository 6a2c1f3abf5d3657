#pragma once

#include <QObject>

class HXDocumentWindow;
class HXEnvironment;
class QAction;
class QActionGroup;
class QMenu;

// The menu bar of a document window, with standard shortcuts. Titles and
// enabled states are refreshed from the document after every change (undo
// and redo carry the names of their steps).
class HXMainMenu : public QObject
{
    Q_OBJECT
public:
    explicit HXMainMenu(HXDocumentWindow *window);

    void updateStates();
    void updateEnvironments(const QList<HXEnvironment *> &environments, HXEnvironment *current);

    QAction *undoAction() const { return m_undo; }
    QAction *redoAction() const { return m_redo; }
    QAction *sendAction() const { return m_send; }
    QAction *sendAllAction() const { return m_sendAll; }
    QAction *deleteAction() const { return m_delete; }

private:
    void _buildFile();
    void _buildEdit();
    void _buildRequest();
    void _buildView();
    void _toggle(const QString &key, const QString &undoName);

    HXDocumentWindow *m_window;
    QAction *m_undo = nullptr;
    QAction *m_redo = nullptr;
    QAction *m_delete = nullptr;
    QAction *m_rename = nullptr;
    QAction *m_newFolder = nullptr;
    QAction *m_send = nullptr;
    QAction *m_sendAll = nullptr;
    QAction *m_stop = nullptr;
    QAction *m_followRedirects = nullptr;
    QAction *m_redirectMethod = nullptr;
    QAction *m_redirectAuthorization = nullptr;
    QMenu *m_environmentMenu = nullptr;
    QActionGroup *m_environmentGroup = nullptr;
    QList<QAction *> m_views;
    QList<QAction *> m_requestOnly;
};
