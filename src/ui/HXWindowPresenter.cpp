#include "HXWindowPresenter.h"

#include "HXDocument.h"
#include "HXDocumentWindow.h"
#include "HXServerTrustDialog.h"
#include "HXTrustedCertificates.h"
#include "HXWindowManager.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

namespace {
QWidget *parentWindow(const HXDocument *document = nullptr)
{
    // The document's own window when the alert belongs to a document.
    for (HXDocumentWindow *window : HXWindowManager::windows()) {
        if (document != nullptr && window->document() == document)
            return window;
    }
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
    if (alert.kind == AlertKind::ServerTrust) {
        auto *dialog = new HXServerTrustDialog(alert, parentWindow(alert.document));
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        QObject::connect(dialog, &QDialog::finished, dialog, [dialog, alert, completion](int) {
            // Continue (the first button) with the box checked remembers the
            // server's certificate for this host.
            if (dialog->chosenButton() == 0 && dialog->alwaysTrust())
                HXTrustedCertificates::trust(alert.host, alert.certificateChain.value(0));
            if (completion)
                completion(dialog->chosenButton());
        });
        dialog->open();
        return;
    }
    auto *box = new QMessageBox(parentWindow(alert.document));
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
