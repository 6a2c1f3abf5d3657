#include "HXWindowPresenter.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

namespace {
QWidget *parentWindow()
{
    QWidget *window = QApplication::activeWindow();
    if (window == nullptr) {
        for (QWidget *candidate : QApplication::topLevelWidgets()) {
            if (candidate->isVisible() && candidate->inherits("QMainWindow"))
                return candidate;
        }
    }
    return window;
}
} // namespace

void HXWindowPresenter::presentAlert(const Alert &alert, const std::function<void(int button)> &completion)
{
    auto *box = new QMessageBox(parentWindow());
    box->setWindowModality(box->parentWidget() ? Qt::WindowModal : Qt::ApplicationModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Warning);
    box->setText(alert.message);
    box->setInformativeText(alert.informativeText);
    QList<QAbstractButton *> buttons;
    const QStringList names = alert.buttons.isEmpty() ? QStringList{QObject::tr("OK")} : alert.buttons;
    for (qsizetype i = 0; i < names.size(); ++i) {
        const bool cancel = names.at(i) == QObject::tr("Cancel");
        QPushButton *button = box->addButton(names.at(i), cancel ? QMessageBox::RejectRole : QMessageBox::AcceptRole);
        if (i == 0)
            box->setDefaultButton(button);
        if (cancel)
            box->setEscapeButton(button);
        buttons.append(button);
    }
    QObject::connect(box, &QMessageBox::finished, box, [box, buttons, completion](int) {
        const qsizetype index = buttons.indexOf(box->clickedButton());
        if (completion)
            completion(int(index < 0 ? buttons.size() - 1 : index));
    });
    box->open();
}

void HXWindowPresenter::presentError(const HXError &error)
{
    auto *box = new QMessageBox(parentWindow());
    box->setWindowModality(box->parentWidget() ? Qt::WindowModal : Qt::ApplicationModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Critical);
    box->setText(error.description);
    if (error.underlying != nullptr)
        box->setInformativeText(error.underlying->description);
    box->addButton(QMessageBox::Ok);
    box->open();
}
