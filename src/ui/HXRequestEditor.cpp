#include "HXRequestEditor.h"

#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDynamicStringEdit.h"
#include "HXDynamicValueEngine.h"
#include "HXKeyValue.h"
#include "HXKeyValueTableModel.h"
#include "HXKeyValueTableView.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXUIPreferencesManager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QStandardItemModel>
#include <QTabBar>
#include <QTabWidget>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

#include <utility>

HXRequestEditor::HXRequestEditor(HXDocumentCommands *commands, QWidget *parent) : QWidget(parent), m_commands(commands)
{
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    m_stack = new QStackedWidget;
    outer->addWidget(m_stack);

    auto *empty = new QLabel(tr("No Request Selected"));
    empty->setAlignment(Qt::AlignCenter);
    empty->setEnabled(false);
    QFont large = empty->font();
    large.setPointSizeF(large.pointSizeF() * 1.4);
    empty->setFont(large);
    m_stack->addWidget(empty);

    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(8, 8, 8, 0);
    layout->setSpacing(6);
    auto *line = new QHBoxLayout;
    line->setSpacing(6);
    m_method = new QComboBox;
    m_method->setEditable(true);
    m_method->addItems(HXRequest::HTTPMethods());
    m_method->setInsertPolicy(QComboBox::NoInsert);
    m_method->setMinimumContentsLength(7);
    m_method->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_url = new HXDynamicStringEdit(true);
    m_url->setObjectName(QStringLiteral("urlField"));
    m_url->setPlaceholderText(HXRequest::defaultURL());
    m_method->setFixedHeight(m_url->sizeHint().height());
    line->addWidget(m_method);
    line->addWidget(m_url, 1);
    layout->addLayout(line);

    m_tabs = new QTabWidget;
    m_tabs->setDocumentMode(true);
    m_parameters = new QStandardItemModel(0, 3, this);
    m_parameters->setHorizontalHeaderLabels({QString(), tr("Name"), tr("Value")});
    m_headers = new HXKeyValueTableModel(commands, this);
    // Empty pages: each gets its content when it is first shown, so a window
    // opens with only the tab it shows.
    for (const QString &title : {tr("Parameters"), tr("Headers"), tr("Body"), tr("Authorization"), tr("Options")}) {
        auto *pageHolder = new QWidget;
        auto *holderLayout = new QVBoxLayout(pageHolder);
        holderLayout->setContentsMargins(0, 0, 0, 0);
        m_tabs->addTab(pageHolder, title);
    }
    layout->addWidget(m_tabs, 1);
    m_stack->addWidget(page);

    connect(m_method->lineEdit(), &QLineEdit::editingFinished, this, [this] {
        if (m_request && !m_reloading && m_method->currentText().trimmed() != m_request->storedMethod())
            m_commands->setValueForKey(m_request, QStringLiteral("method"), m_method->currentText().trimmed(),
                                       tr("Change Method"));
    });
    connect(m_method, &QComboBox::activated, this, [this](int) { m_method->lineEdit()->editingFinished(); });
    connect(m_url, &HXDynamicStringEdit::editingFinished, this, [this] {
        if (m_request && !m_reloading)
            m_commands->setValueForKey(m_request, QStringLiteral("url"), m_url->storedString(), tr("Change URL"));
    });
    connect(m_tabs, &QTabWidget::currentChanged, this, [this](int tab) {
        if (m_request != nullptr)
            _buildPage(tab);
        if (m_request && !m_reloading)
            HXUIPreferencesManager::sharedManager()->addTabValue(tab, m_request, 0);
    });
    connect(m_parameters, &QStandardItemModel::itemChanged, this, [this] { _parametersEdited(); });
    connect(m_parameters, &QStandardItemModel::rowsRemoved, this, [this] { _parametersEdited(); });
    if (commands->document())
        connect(commands->document()->managedObjectContext(), &HXManagedObjectContext::objectsDidChange, this,
                &HXRequestEditor::_objectsDidChange);
}

QWidget *HXRequestEditor::_makeOptions()
{
    auto *options = new QWidget;
    auto *form = new QFormLayout(options);
    form->setContentsMargins(12, 12, 12, 12);
    m_followRedirects = new QCheckBox(tr("Follow redirects"));
    m_redirectMethod = new QCheckBox(tr("Keep the method when redirected"));
    m_redirectAuthorization = new QCheckBox(tr("Keep the Authorization header when redirected"));
    m_timeout = new QDoubleSpinBox;
    m_timeout->setRange(0, 3600);
    m_timeout->setDecimals(1);
    m_timeout->setSuffix(tr(" s"));
    m_timeout->setSpecialValueText(tr("None"));
    form->addRow(m_followRedirects);
    form->addRow(m_redirectMethod);
    form->addRow(m_redirectAuthorization);
    form->addRow(tr("Time-out:"), m_timeout);
    const QList<std::tuple<QCheckBox *, QString, QString>> toggles = {
        {m_followRedirects, QStringLiteral("followRedirects"), tr("Follow Redirects")},
        {m_redirectMethod, QStringLiteral("redirectMethod"), tr("Keep Method")},
        {m_redirectAuthorization, QStringLiteral("redirectAuthorization"), tr("Keep Authorization")}};
    for (const auto &[box, key, name] : toggles) {
        connect(box, &QCheckBox::toggled, this, [this, key = key, name = name](bool on) {
            if (m_request && !m_reloading)
                m_commands->setValueForKey(m_request, key, on, name);
        });
    }
    connect(m_timeout, &QDoubleSpinBox::editingFinished, this, [this] {
        if (m_request && !m_reloading)
            m_commands->setValueForKey(m_request, QStringLiteral("timeoutInterval"), m_timeout->value(),
                                       tr("Change Time-out"));
    });
    return options;
}

QWidget *HXRequestEditor::_makeParameters()
{
    m_parametersView = new HXKeyValueTableView;
    m_parametersView->setModel(m_parameters);
    return m_parametersView;
}

QWidget *HXRequestEditor::_makeHeaders()
{
    auto *headersView = new HXKeyValueTableView;
    headersView->setModel(m_headers);
    return headersView;
}

QWidget *HXRequestEditor::_makeBody()
{
    auto *body = new QWidget;
    auto *bodyLayout = new QVBoxLayout(body);
    bodyLayout->setContentsMargins(0, 6, 0, 0);
    m_bodyKind = new QLabel;
    m_bodyKind->setContentsMargins(6, 0, 6, 0);
    m_body = new HXDynamicStringEdit(false);
    m_body->setObjectName(QStringLiteral("bodyField"));
    m_body->setFrameShape(QFrame::NoFrame);
    m_body->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_body->setPlaceholderText(tr("No Body"));
    bodyLayout->addWidget(m_bodyKind);
    bodyLayout->addWidget(m_body, 1);
    connect(m_body, &HXDynamicStringEdit::editingFinished, this, [this] {
        if (m_request && !m_reloading)
            m_commands->setValueForKey(m_request, QStringLiteral("body"), m_body->storedString(), tr("Change Body"));
    });
    return body;
}

void HXRequestEditor::_reloadPages()
{
    // Only the pages built so far; a page built later is filled then.
    if (m_request == nullptr)
        return;
    const bool reloading = std::exchange(m_reloading, true);
    if (m_body != nullptr) {
        m_body->setStoredString(m_request->body());
        m_bodyKind->setText(tr("Body: %1").arg(HXRequest::localizedNameForBodyType(m_request->bodyType())));
    }
    if (m_timeout != nullptr) {
        m_followRedirects->setChecked(m_request->followRedirects());
        m_redirectMethod->setChecked(m_request->redirectMethod());
        m_redirectAuthorization->setChecked(m_request->redirectAuthorization());
        m_timeout->setValue(m_request->timeoutInterval());
    }
    m_reloading = reloading;
}

void HXRequestEditor::_buildPage(int tab)
{
    QWidget *holder = m_tabs->widget(tab);
    if (holder == nullptr || holder->layout()->count() > 0)
        return;
    QWidget *content = nullptr;
    switch (tab) {
    case ParametersTab:
        content = _makeParameters();
        break;
    case HeadersTab:
        content = _makeHeaders();
        break;
    case BodyTab:
        content = _makeBody();
        break;
    case AuthorizationTab:
        content = _makeAuthorization();
        break;
    default:
        content = _makeOptions();
        break;
    }
    holder->layout()->addWidget(content);
    // A child added to a widget already on screen stays hidden until shown.
    content->show();
    // A widget added later goes to the end of the window's focus chain: put
    // the page's fields back right after the tab bar (and its scroll
    // buttons), as if built with it.
    QList<QWidget *> fields;
    for (QWidget *next = content->nextInFocusChain(); next != content && content->isAncestorOf(next);
         next = next->nextInFocusChain()) {
        if (next->focusPolicy() != Qt::NoFocus && next->focusProxy() == nullptr)
            fields.append(next);
    }
    QWidget *previous = m_tabs->tabBar();
    while (m_tabs->tabBar()->isAncestorOf(previous->nextInFocusChain()))
        previous = previous->nextInFocusChain();
    for (QWidget *field : std::as_const(fields)) {
        QWidget::setTabOrder(previous, field);
        previous = field;
    }
    _reloadPages();
}

HXKeyValueTableView *HXRequestEditor::parametersView()
{
    _buildPage(ParametersTab);
    return m_parametersView;
}

QWidget *HXRequestEditor::_makeAuthorization()
{
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(12, 12, 12, 12);
    auto *intro = new QLabel(tr("Add an Authorization header computed when the request is sent:"));
    intro->setWordWrap(true);
    layout->addWidget(intro);
    using Insert = HXDynamicValuePtr (HXDocumentCommands::*)(const HXDocumentCommands::Selection &);
    const QList<std::pair<QString, Insert>> kinds = {
        {tr("HTTP Basic Auth"), &HXDocumentCommands::addHTTPBasicAuthorization},
        {tr("OAuth 1.0"), &HXDocumentCommands::addOAuthAuthorization},
        {tr("Amazon S3"), &HXDocumentCommands::addAmazonS3Authorization}};
    for (const auto &[title, insert] : kinds) {
        auto *button = new QPushButton(title);
        connect(button, &QPushButton::clicked, this, [this, insert = insert] {
            if (m_request && m_commands)
                (m_commands->*insert)({m_request});
        });
        auto *row = new QHBoxLayout;
        row->addWidget(button);
        row->addStretch(1);
        layout->addLayout(row);
    }
    layout->addStretch(1);
    return page;
}

void HXRequestEditor::setRequest(HXRequest *request)
{
    if (m_request == request)
        return;
    m_request = request;
    _reload();
    if (request == nullptr)
        return;
    // The tab last used with this request; at first the body of a request
    // that has one.
    const std::optional<int> tab = HXUIPreferencesManager::sharedManager()->tabValueForRequest(request, 0);
    m_reloading = true;
    m_tabs->setCurrentIndex(tab.value_or(request->body().isEmpty() ? int(ParametersTab) : int(BodyTab)));
    m_reloading = false;
    _buildPage(m_tabs->currentIndex());
}

void HXRequestEditor::focusURL()
{
    m_url->setFocus();
    m_url->selectAll();
}

void HXRequestEditor::_objectsDidChange(const HXManagedObjectChanges &changes)
{
    if (m_request != nullptr && !m_request->isLive()) {
        m_request = nullptr;
        _reload();
        return;
    }
    if (m_request != nullptr && changes.updated.contains(m_request))
        _reload();
}

void HXRequestEditor::_reload()
{
    m_reloading = true;
    m_stack->setCurrentIndex(m_request ? 1 : 0);
    if (m_request != nullptr) {
        if (m_method->currentText() != m_request->storedMethod())
            m_method->setCurrentText(m_request->storedMethod());
        m_url->setStoredString(m_request->url());
        _reloadPages();
        if (m_headers->owner() != m_request)
            m_headers->setOwner(m_request, QStringLiteral("request"));
        // Folder headers apply too; nearer folders first.
        QList<HXKeyValue *> inherited;
        for (HXRequestGroup *group = m_request->parent(); group != nullptr; group = group->parent())
            inherited += HXKeyValue::keyValuesForRelationship(QStringLiteral("groupForHeaders"), group);
        inherited.removeIf([](HXKeyValue *row) { return row->isBlank(); });
        m_headers->setInheritedRows(inherited);
    } else {
        m_headers->setOwner(nullptr, QString());
    }
    // A change made from the parameters table rebuilds the table once the
    // table's own signal has returned.
    if (!m_editingParameters)
        _reloadParameters();
    m_reloading = false;
}

void HXRequestEditor::_reloadParameters()
{
    const QSignalBlocker blocker(m_parameters);
    m_parameters->setRowCount(0);
    if (m_request == nullptr)
        return;
    const HXDynamicString url = HXDynamicValueEngine::unarchiveAttributedString(m_request->url());
    const bool plain = url.attachments().isEmpty();
    const QString text = url.string();
    const qsizetype question = text.indexOf(u'?');
    const QString query = question < 0 ? QString() : text.mid(question + 1).section(u'#', 0, 0);
    auto addRow = [&](const QString &name, const QString &value, bool blank) {
        auto *enabled = new QStandardItem;
        enabled->setEditable(false);
        auto *nameItem = new QStandardItem(name);
        auto *valueItem = new QStandardItem(value);
        nameItem->setEditable(plain);
        valueItem->setEditable(plain);
        if (!blank) {
            enabled->setCheckState(Qt::Checked);
            enabled->setEnabled(false);
        }
        m_parameters->appendRow({enabled, nameItem, valueItem});
    };
    for (const QString &pair : query.split(u'&', Qt::SkipEmptyParts)) {
        const qsizetype equals = pair.indexOf(u'=');
        const QString name = equals < 0 ? pair : pair.left(equals);
        const QString value = equals < 0 ? QString() : pair.mid(equals + 1);
        addRow(QUrl::fromPercentEncoding(name.toUtf8()), QUrl::fromPercentEncoding(value.toUtf8()), false);
    }
    if (plain)
        addRow(QString(), QString(), true);
}

void HXRequestEditor::_parametersEdited()
{
    if (m_request == nullptr || m_reloading)
        return;
    const QString url = HXDynamicValueEngine::unarchiveAttributedString(m_request->url()).string();
    const qsizetype question = url.indexOf(u'?');
    const qsizetype hash = url.indexOf(u'#', question < 0 ? 0 : question);
    QString base = question < 0 ? (hash < 0 ? url : url.left(hash)) : url.left(question);
    const QString fragment = hash < 0 ? QString() : url.mid(hash);
    QStringList pairs;
    for (int row = 0; row < m_parameters->rowCount(); ++row) {
        const QString name = m_parameters->item(row, 1)->text();
        const QString value = m_parameters->item(row, 2)->text();
        if (name.isEmpty() && value.isEmpty())
            continue;
        const QByteArray exclude = "/:@!$'()*,;[]";
        QString pair = QString::fromUtf8(QUrl::toPercentEncoding(name, exclude));
        if (!value.isEmpty())
            pair += u'=' + QString::fromUtf8(QUrl::toPercentEncoding(value, exclude));
        pairs.append(pair);
    }
    const QString updated =
        pairs.isEmpty() ? QString(base + fragment) : QString(base + u'?' + pairs.join(u'&') + fragment);
    m_editingParameters = true;
    m_commands->setValueForKey(m_request, QStringLiteral("url"),
                               HXDynamicValueEngine::archiveAttributedString(HXDynamicString(updated)),
                               tr("Change Parameters"));
    m_editingParameters = false;
    QTimer::singleShot(0, this, &HXRequestEditor::_reloadParameters);
}
