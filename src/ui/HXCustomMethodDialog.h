#pragma once

#include <QDialog>

class QDialogButtonBox;
class QLabel;
class QLineEdit;

// Asks for a request method that is not in the method menu. OK stays off
// until the text is a method HTTP accepts (no spaces, line breaks or
// separators); the reason is shown under the field.
class HXCustomMethodDialog : public QDialog
{
    Q_OBJECT
public:
    explicit HXCustomMethodDialog(const QString &method, QWidget *parent = nullptr);

    QString method() const;
    QLineEdit *field() const { return m_field; }
    bool canAccept() const;

private:
    void _validate();

    QLineEdit *m_field = nullptr;
    QLabel *m_problem = nullptr;
    QDialogButtonBox *m_buttons = nullptr;
};
