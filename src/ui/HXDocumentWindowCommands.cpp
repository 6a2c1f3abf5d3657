// HXDocumentWindow: the commands the window carries out itself with the
// core's help: the code inspector and Copy as, the custom method question,
// and importing and exporting the document's requests.

#include "HXCodeInspector.h"
#include "HXCollectionImport.h"
#include "HXCurlScriptExporter.h"
#include "HXCustomMethodDialog.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDocumentWindow.h"
#include "HXHARExporter.h"
#include "HXImportSource.h"
#include "HXPostmanExporter.h"
#include "HXPresenter.h"
#include "HXRequest.h"
#include "HXRequestListView.h"

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QSaveFile>
#include <QSplitter>
#include <QToolButton>

bool HXDocumentWindow::isCodeInspectorShown() const
{
    return m_inspector != nullptr && !m_inspector->isHidden();
}

void HXDocumentWindow::setCodeInspectorShown(bool shown)
{
    if (shown && !isCodeInspectorShown()) {
        if (m_inspector == nullptr) {
            m_inspector = new HXCodeInspector;
            m_listSplitter->addWidget(m_inspector);
            m_listSplitter->setStretchFactor(1, 0);
            m_inspector->setRequest(currentRequest(), m_document.get());
        }
        m_inspector->setVisible(true);
        const int total = m_listSplitter->height();
        m_listSplitter->setSizes({std::max(120, total - 240), 240});
        // Code needs more room than names: a narrow list column widens.
        constexpr int codeWidth = 340;
        if (const QList<int> columns = m_mainSplitter->sizes(); columns.value(0) < codeWidth)
            m_mainSplitter->setSizes({codeWidth, std::max(200, columns.value(0) + columns.value(1) - codeWidth)});
    } else if (!shown && m_inspector != nullptr) {
        m_inspector->setVisible(false);
    }
    m_inspectorToggle->setChecked(shown);
    updateCommandStates();
}

void HXDocumentWindow::copyAsCode()
{
    const QList<HXRequest *> requests = selectedRequests();
    if (requests.isEmpty())
        return;
    QApplication::clipboard()->setText(HXCodeInspector::codeForRequests(
        requests, m_document.get(),
        HXCodeInspector::languageForSetting(QStringLiteral("HXUserDefaultCopyRequestsAs"))));
}

void HXDocumentWindow::askCustomMethod()
{
    HXRequest *request = currentRequest();
    if (request == nullptr)
        return;
    auto *dialog = new HXCustomMethodDialog(request->method(), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    const QList<HXRequestTreeItem *> selection = m_list->selectedItems();
    connect(dialog, &QDialog::accepted, this,
            [this, dialog, selection] { m_commands->setCustomRequestMethod(selection, dialog->method()); });
    dialog->open();
}

void HXDocumentWindow::importFile(QString path)
{
    if (path.isEmpty())
        path = QFileDialog::getOpenFileName(
            this, tr("Import"), QString(),
            tr("Collections (*.json *.har *.sh *.txt *.curl);;Postman Collections (*.json);;HAR Files (*.har);;"
               "cURL Commands (*.sh *.txt *.curl);;All Files (*)"));
    if (path.isEmpty())
        return;
    HXPresenter *presenter = HXPresenter::sharedPresenter();
    QFile file(path);
    if (file.size() > HXImportSource::maximumSize) {
        presenter->presentError(HXError(QStringLiteral("kestrelworks.Kea.Import"), 1,
                                        tr("%1 is larger than %2 MB, too large to import.")
                                            .arg(QFileInfo(path).fileName())
                                            .arg(HXImportSource::maximumSize / (1024 * 1024))));
        return;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        presenter->presentError(HXError(QStringLiteral("kestrelworks.Kea.Import"), 2,
                                        tr("%1 could not be read: %2").arg(path, file.errorString())));
        return;
    }
    const HXResult<HXInteropCollection> collection = HXImportSource::read(file.readAll());
    if (!collection.ok()) {
        HXError error = collection.error();
        error.description = tr("%1: %2").arg(QFileInfo(path).fileName(), error.description);
        presenter->presentError(error);
        return;
    }
    const HXImportReport report = HXCollectionImport::importCollection(collection.value(), m_document.get(), nullptr,
                                                                       QFileInfo(path).absolutePath());
    HXPresenter::Alert alert;
    alert.message = tr("Imported %1").arg(QFileInfo(path).fileName());
    alert.informativeText = report.text();
    alert.buttons = {tr("OK")};
    alert.document = m_document.get();
    presenter->presentAlert(alert, [](int) {});
}

bool HXDocumentWindow::exportFile(QString path, const QString &format)
{
    const QString postman = tr("Postman Collection (*.json)");
    const QString har = tr("HAR with Responses (*.har)");
    const QString curl = tr("cURL Script (*.sh)");
    QString chosen = format == u"har" ? har : format == u"curl" ? curl : postman;
    if (path.isEmpty()) {
        const QString base =
            m_document->fileName().isEmpty() ? tr("Untitled") : QFileInfo(m_document->fileName()).completeBaseName();
        path = QFileDialog::getSaveFileName(this, tr("Export"), base + QStringLiteral(".json"),
                                            QStringList{postman, har, curl}.join(QStringLiteral(";;")), &chosen);
        if (path.isEmpty())
            return false;
    }
    const QByteArray data = chosen == har    ? HXHARExporter::exportDocument(m_document.get())
                            : chosen == curl ? HXCurlScriptExporter::exportDocument(m_document.get())
                                             : HXPostmanExporter::exportDocument(m_document.get());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        HXPresenter::sharedPresenter()->presentError(
            HXError(QStringLiteral("kestrelworks.Kea.Export"), 1,
                    tr("%1 could not be written: %2").arg(path, file.errorString())));
        return false;
    }
    return true;
}
