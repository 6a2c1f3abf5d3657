#pragma once

#include <QDialog>

class HXDocumentCommands;
class HXEnvironmentTableModel;
class QPushButton;
class QTableView;

// The environments of a document as a grid: variables as rows, environments
// as columns, the current one marked. Adds and deletes variables and
// environments with the core's commands. Window modal on
// the document's window.
class HXEnvironmentsWindow : public QDialog
{
    Q_OBJECT
public:
    HXEnvironmentsWindow(HXDocumentCommands *commands, QWidget *parent = nullptr);

    HXEnvironmentTableModel *model() const { return m_model; }
    QTableView *table() const { return m_table; }
    QPushButton *addVariableButton() const { return m_addVariable; }
    QPushButton *addEnvironmentButton() const { return m_addEnvironment; }
    QPushButton *deleteVariableButton() const { return m_deleteVariable; }
    // Deletes the variables of the selected rows (one undo step).
    void deleteSelectedVariables();

private:
    void _updateButtons();

    HXDocumentCommands *m_commands;
    HXEnvironmentTableModel *m_model = nullptr;
    QTableView *m_table = nullptr;
    QPushButton *m_addVariable = nullptr;
    QPushButton *m_deleteVariable = nullptr;
    QPushButton *m_addEnvironment = nullptr;
    QPushButton *m_deleteEnvironment = nullptr;
};
