#include "HXCustomMethodDialog.h"

#include "HXDocument.h"
#include "HXDocumentCommands.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

HXCustomMethodDialog::HXCustomMethodDialog(const QString &method, QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("customMethodDialog"));
    setWindowTitle(tr("Custom Method"));
    setWindowModality(parent != nullptr ? Qt::WindowModal : Qt::ApplicationModal);
    auto *prompt = new QLabel(tr("Method of the request:"));
    m_field = new QLineEdit(method);
    m_field->setPlaceholderText(tr("For example PROPFIND"));
    m_field->selectAll();
    prompt->setBuddy(m_field);
    m_problem = new QLabel;
    m_problem->setEnabled(false);
    m_problem->setWordWrap(true);
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(m_buttons, &QDialogButtonBox::accepted, this, [this] {
        if (canAccept())
            accept();
    });
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_field, &QLineEdit::textChanged, this, &HXCustomMethodDialog::_validate);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(prompt);
    layout->addWidget(m_field);
    layout->addWidget(m_problem);
    layout->addWidget(m_buttons);
    setMinimumWidth(360);
    _validate();
}

QString HXCustomMethodDialog::method() const
{
    return m_field->text();
}

bool HXCustomMethodDialog::canAccept() const
{
    return HXDocumentCommands::isValidRequestMethod(method());
}

void HXCustomMethodDialog::_validate()
{
    const QString text = method();
    QString problem;
    if (text.isEmpty())
        problem = tr("Type a method name.");
    else if (!canAccept())
        problem = tr("A method is one word of letters, digits and !#$%&'*+-.^_`|~, without spaces.");
    m_problem->setText(problem);
    m_problem->setVisible(!problem.isEmpty());
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(problem.isEmpty());
}
