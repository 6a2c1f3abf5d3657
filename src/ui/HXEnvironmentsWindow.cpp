#include "HXEnvironmentsWindow.h"

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXEnvironment.h"
#include "HXEnvironmentTableModel.h"
#include "HXManagedObjectContext.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

HXEnvironmentsWindow::HXEnvironmentsWindow(HXDocumentCommands *commands, QWidget *parent)
    : QDialog(parent), m_commands(commands)
{
    setObjectName(QStringLiteral("environmentsWindow"));
    setWindowTitle(tr("Environments"));
    setWindowModality(parent != nullptr ? Qt::WindowModal : Qt::ApplicationModal);

    m_model = new HXEnvironmentTableModel(commands, this);
    m_table = new QTableView;
    m_table->setModel(m_model);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->horizontalHeader()->setDefaultSectionSize(180);
    m_table->setAlternatingRowColors(true);
    m_table->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                             QAbstractItemView::AnyKeyPressed);
    auto *empty = new QLabel(tr("No Variables\nAdd a variable to give each environment its own value."));
    empty->setAlignment(Qt::AlignCenter);
    empty->setEnabled(false);

    m_addVariable = new QPushButton(tr("Add Variable"));
    m_deleteVariable = new QPushButton(tr("Delete Variable"));
    m_addEnvironment = new QPushButton(tr("Add Environment"));
    m_deleteEnvironment = new QPushButton(tr("Delete Environment"));
    HXDocument *document = commands->document();
    connect(m_addVariable, &QPushButton::clicked, this, [this, document] {
        HXEnvironment::addEnvironmentVariable(QString(), QString(), document->managedObjectContext());
        m_table->edit(m_model->index(m_model->rowCount() - 1, 0));
    });
    connect(m_deleteVariable, &QPushButton::clicked, this, &HXEnvironmentsWindow::deleteSelectedVariables);
    auto *deleteKey = new QAction(m_table);
    deleteKey->setShortcuts({QKeySequence::Delete, QKeySequence(Qt::Key_Backspace)});
    deleteKey->setShortcutContext(Qt::WidgetShortcut);
    connect(deleteKey, &QAction::triggered, this, &HXEnvironmentsWindow::deleteSelectedVariables);
    m_table->addAction(deleteKey);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &HXEnvironmentsWindow::_updateButtons);
    connect(m_addEnvironment, &QPushButton::clicked, m_commands, &HXDocumentCommands::addEnvironment);
    connect(m_deleteEnvironment, &QPushButton::clicked, m_commands, &HXDocumentCommands::deleteEnvironment);
    auto *done = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(done, &QDialogButtonBox::rejected, this, &QDialog::accept);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_addVariable);
    buttons->addWidget(m_deleteVariable);
    buttons->addWidget(m_addEnvironment);
    buttons->addWidget(m_deleteEnvironment);
    buttons->addStretch(1);
    buttons->addWidget(done);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_table, 1);
    layout->addWidget(empty, 1);
    layout->addLayout(buttons);
    auto update = [this, empty] {
        empty->setVisible(m_model->rowCount() == 0);
        m_table->setVisible(m_model->rowCount() > 0);
        _updateButtons();
    };
    connect(m_model, &QAbstractItemModel::modelReset, this, update);
    connect(document, &HXDocument::currentEnvironmentChanged, this, &HXEnvironmentsWindow::_updateButtons);
    update();
    resize(720, 420);
}

void HXEnvironmentsWindow::deleteSelectedVariables()
{
    QList<HXEnvironmentVariable *> variables;
    for (const QModelIndex &index : m_table->selectionModel()->selectedIndexes()) {
        if (HXEnvironmentVariable *variable = m_model->variableForRow(index.row()); !variables.contains(variable))
            variables.append(variable);
    }
    m_commands->deleteEnvironmentVariables(variables);
}

void HXEnvironmentsWindow::_updateButtons()
{
    m_deleteVariable->setEnabled(m_table->selectionModel()->hasSelection());
    m_deleteEnvironment->setEnabled(
        m_commands->validateUserInterfaceItem(HXDocumentCommands::Action::DeleteEnvironment, {}).enabled);
}
