#include "HXPreferencesWindow.h"

#include "HXCodeInspector.h"
#include "HXHTTPPreferencesViewController.h"
#include "HXPreferencesControls.h"
#include "HXUserDefaults.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <functional>

namespace {

const QString textFormatsKey = QStringLiteral("HXUserDefaultResponseTextFormats");

// The formats a content type can be shown as, by their stored names.
const QStringList textFormats = {QStringLiteral("Text"), QStringLiteral("JSON"), QStringLiteral("XML"),
                                 QStringLiteral("Form URL-Encoded")};

enum TextFormatColumn { ContentTypeColumn, RegexColumn, FormatColumn };

// A form whose fields keep their natural width: a number field as wide as
// the window reads as a text field.
QFormLayout *paneForm()
{
    auto *form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    return form;
}

QVBoxLayout *paneLayout(QWidget *pane)
{
    auto *layout = new QVBoxLayout(pane);
    layout->setContentsMargins(16, 16, 16, 16);
    return layout;
}

} // namespace

HXPreferencesWindow::HXPreferencesWindow(QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("preferencesWindow"));
    setWindowTitle(tr("Preferences"));
    m_panes = new QTabWidget;
    m_http = new HXHTTPPreferencesViewController;
    m_panes->addTab(_generalPane(), tr("General"));
    m_panes->addTab(m_http, tr("HTTP"));
    m_panes->addTab(_JSONPane(), tr("JSON"));
    m_panes->addTab(_codePane(), tr("Code"));
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_panes);
    layout->addWidget(buttons);
    resize(620, 540);
}

HXPreferencesWindow *HXPreferencesWindow::showPreferences()
{
    static QPointer<HXPreferencesWindow> window;
    if (window == nullptr) {
        window = new HXPreferencesWindow;
        window->setAttribute(Qt::WA_DeleteOnClose);
    }
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

QWidget *HXPreferencesWindow::_generalPane()
{
    using namespace HXPreferencesControls;
    auto *pane = new QWidget;
    QFormLayout *form = paneForm();
    form->addRow(QString(), checkBox(tr("Play sounds"), QStringLiteral("HXUserDefaultEnableSounds")));
    form->addRow(tr("Responses kept:"), spinBox(QStringLiteral("HXUserDefaultMaxResponsesInCache"), 1, 100000));
    form->addRow(tr("Response tabs:"), checkBox(tr("Raw"), QStringLiteral("HXUserDefaultShowRawResponseTab")));
    form->addRow(QString(), checkBox(tr("Hex"), QStringLiteral("HXUserDefaultShowHexResponseTab")));

    m_textFormats = new QTableWidget(0, 3);
    m_textFormats->setHorizontalHeaderLabels({tr("Content Type"), tr("Regex"), tr("Format")});
    m_textFormats->horizontalHeader()->setSectionResizeMode(ContentTypeColumn, QHeaderView::Stretch);
    m_textFormats->horizontalHeader()->setSectionResizeMode(RegexColumn, QHeaderView::ResizeToContents);
    m_textFormats->horizontalHeader()->setSectionResizeMode(FormatColumn, QHeaderView::ResizeToContents);
    m_textFormats->verticalHeader()->hide();
    m_textFormats->setWordWrap(false);
    m_textFormats->setSelectionBehavior(QAbstractItemView::SelectRows);
    _loadTextFormats();
    connect(m_textFormats, &QTableWidget::itemChanged, this, [this] { _storeTextFormats(); });

    auto *add = new QPushButton(QStringLiteral("+"));
    add->setToolTip(tr("Add a content type"));
    auto *remove = new QPushButton(QStringLiteral("−"));
    remove->setToolTip(tr("Remove the selected content types"));
    for (QPushButton *button : {add, remove})
        button->setFixedWidth(button->sizeHint().height());
    connect(add, &QPushButton::clicked, this, &HXPreferencesWindow::addTextFormat);
    connect(remove, &QPushButton::clicked, this, &HXPreferencesWindow::removeSelectedTextFormats);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(remove);
    buttons->addStretch(1);

    auto *formats = new QGroupBox(tr("Show response bodies as"));
    auto *formatsLayout = new QVBoxLayout(formats);
    formatsLayout->addWidget(m_textFormats);
    formatsLayout->addLayout(buttons);

    QVBoxLayout *layout = paneLayout(pane);
    layout->addLayout(form);
    layout->addWidget(formats, 1);
    return pane;
}

QWidget *HXPreferencesWindow::_JSONPane()
{
    using namespace HXPreferencesControls;
    auto *pane = new QWidget;
    QFormLayout *form = paneForm();
    form->addRow(QString(), checkBox(tr("Pretty print"), QStringLiteral("HXUserDefaultJSONPrettyPrint")));
    form->addRow(QString(), checkBox(tr("Sort keys"), QStringLiteral("HXUserDefaultJSONSortKeys")));
    form->addRow(QString(), checkBox(tr("Indent with spaces"), QStringLiteral("HXUserDefaultJSONIndentWithSpaces")));
    form->addRow(tr("Indent size:"), spinBox(QStringLiteral("HXUserDefaultJSONIndentSize"), 0, 16));
    form->addRow(QString(), checkBox(tr("Escape \"/\""), QStringLiteral("HXUserDefaultJSONEscapeForwardSlashes")));
    form->addRow(QString(),
                 checkBox(tr("Escape Unicode characters"), QStringLiteral("HXUserDefaultJSONEscapeUnicodeCharacters")));
    QVBoxLayout *layout = paneLayout(pane);
    layout->addLayout(form);
    layout->addStretch(1);
    return pane;
}

QWidget *HXPreferencesWindow::_codePane()
{
    using namespace HXPreferencesControls;
    QList<std::pair<QString, QString>> languages;
    for (HXCodeGenerator::Language language :
         {HXCodeGenerator::Language::Curl, HXCodeGenerator::Language::HTTPie, HXCodeGenerator::Language::Python,
          HXCodeGenerator::Language::JavaScript, HXCodeGenerator::Language::Go})
        languages.append({HXCodeInspector::titleForLanguage(language), HXCodeInspector::titleForLanguage(language)});
    auto *pane = new QWidget;
    QFormLayout *form = paneForm();
    form->addRow(tr("Show requests as:"), comboBox(QStringLiteral("HXUserDefaultShowRequestsCode"), languages));
    form->addRow(tr("Copy requests as:"), comboBox(QStringLiteral("HXUserDefaultCopyRequestsAs"), languages));
    form->addRow(tr("cURL:"), checkBox(tr("Use long options"), QStringLiteral("HXUserDefaultcURLUseLongOptions")));
    form->addRow(QString(), checkBox(tr("Verbose"), QStringLiteral("HXUserDefaultcURLVerbose")));
    form->addRow(QString(), checkBox(tr("One option per line"), QStringLiteral("HXUserDefaultcURLIndent")));
    form->addRow(tr("Code:"), checkBox(tr("Add comments"), QStringLiteral("HXUserDefaultCodeAddComments")));
    form->addRow(QString(),
                 checkBox(tr("Add completion callbacks"), QStringLiteral("HXUserDefaultCodeAddCompletionCallbacks")));
    QVBoxLayout *layout = paneLayout(pane);
    layout->addLayout(form);
    layout->addStretch(1);
    return pane;
}

void HXPreferencesWindow::_loadTextFormats()
{
    m_loading = true;
    m_textFormats->setRowCount(0);
    for (const QVariant &entry : HXUserDefaults::standardUserDefaults().arrayForKey(textFormatsKey)) {
        const QVariantMap fields = entry.toMap();
        const int row = m_textFormats->rowCount();
        m_textFormats->insertRow(row);
        m_textFormats->setItem(row, ContentTypeColumn,
                               new QTableWidgetItem(fields.value(QStringLiteral("content-type")).toString()));
        auto *regex = new QTableWidgetItem;
        regex->setFlags(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        regex->setCheckState(fields.value(QStringLiteral("regex")).toBool() ? Qt::Checked : Qt::Unchecked);
        m_textFormats->setItem(row, RegexColumn, regex);
        auto *format = new QComboBox;
        format->addItems(textFormats);
        format->setCurrentIndex(qMax(0, int(textFormats.indexOf(fields.value(QStringLiteral("format")).toString()))));
        connect(format, &QComboBox::activated, this, [this] { _storeTextFormats(); });
        m_textFormats->setCellWidget(row, FormatColumn, format);
    }
    m_loading = false;
}

void HXPreferencesWindow::_storeTextFormats()
{
    if (m_loading)
        return;
    QVariantList entries;
    for (int row = 0; row < m_textFormats->rowCount(); ++row) {
        const QTableWidgetItem *type = m_textFormats->item(row, ContentTypeColumn);
        const QTableWidgetItem *regex = m_textFormats->item(row, RegexColumn);
        const auto *format = qobject_cast<QComboBox *>(m_textFormats->cellWidget(row, FormatColumn));
        entries.append(QVariantMap{{QStringLiteral("content-type"), type ? type->text() : QString()},
                                   {QStringLiteral("regex"), regex && regex->checkState() == Qt::Checked},
                                   {QStringLiteral("format"), format ? format->currentText() : textFormats.first()}});
    }
    HXUserDefaults::standardUserDefaults().setObject(entries, textFormatsKey);
}

void HXPreferencesWindow::addTextFormat()
{
    QVariantList entries = HXUserDefaults::standardUserDefaults().arrayForKey(textFormatsKey);
    entries.append(QVariantMap{{QStringLiteral("content-type"), QStringLiteral("text/plain")},
                               {QStringLiteral("regex"), false},
                               {QStringLiteral("format"), QStringLiteral("Text")}});
    HXUserDefaults::standardUserDefaults().setObject(entries, textFormatsKey);
    _loadTextFormats();
    const int row = m_textFormats->rowCount() - 1;
    m_textFormats->setCurrentCell(row, ContentTypeColumn);
    m_textFormats->editItem(m_textFormats->item(row, ContentTypeColumn));
}

void HXPreferencesWindow::removeSelectedTextFormats()
{
    QList<int> rows;
    for (const QModelIndex &index : m_textFormats->selectionModel()->selectedRows())
        rows.append(index.row());
    std::sort(rows.begin(), rows.end(), std::greater<>());
    for (int row : rows)
        m_textFormats->removeRow(row);
    _storeTextFormats();
}
