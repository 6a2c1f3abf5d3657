#include "HXResponseViewer.h"

#include "HXJSONOutlineModel.h"
#include "HXJSONPrintingPreferences.h"
#include "HXLargeTextView.h"
#include "HXRequest.h"
#include "HXRequestListDelegate.h"
#include "HXResponse.h"
#include "HXResponseListModel.h"
#include "HXSentRequestLog.h"
#include "HXUserDefaults.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QNetworkCookie>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTableWidget>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>

namespace {
// Bytes shown in the Hex tab; the rest is left out (the Raw tab has it all).
constexpr qsizetype maximumHexBytes = 1 << 20;
// Bytes of the body shown in the Raw tab (the Body tab shows all of it).
constexpr qsizetype maximumRawBytes = 4 << 20;

QTableWidget *makeTable(const QStringList &columns)
{
    auto *table = new QTableWidget(0, int(columns.size()));
    table->setHorizontalHeaderLabels(columns);
    table->horizontalHeader()->setStretchLastSection(true);
    table->verticalHeader()->hide();
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setAlternatingRowColors(true);
    table->setShowGrid(false);
    table->setFrameShape(QFrame::NoFrame);
    table->setWordWrap(false);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 10);
    table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    return table;
}
} // namespace

HXResponseViewer::HXResponseViewer(QWidget *parent) : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_empty = new QLabel(tr("No Response"));
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setEnabled(false);
    QFont large = m_empty->font();
    large.setPointSizeF(large.pointSizeF() * 1.4);
    m_empty->setFont(large);

    m_stack = new QStackedWidget;
    m_stack->addWidget(m_empty);
    layout->addWidget(m_stack);
}

void HXResponseViewer::_makeContent()
{
    // Built when there is first a response (or a tab) to show: a window
    // opening on a request without responses shows only the empty text.
    if (m_tabs != nullptr)
        return;
    auto *bar = new QWidget;
    auto *barLayout = new QHBoxLayout(bar);
    barLayout->setContentsMargins(2, 6, 0, 6);
    m_statusCode = new QLabel;
    m_statusCode->setObjectName(QStringLiteral("statusCode"));
    QFont bold = m_statusCode->font();
    bold.setBold(true);
    m_statusCode->setFont(bold);
    m_details = new QLabel;
    m_details->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_older = new QToolButton;
    m_older->setArrowType(Qt::LeftArrow);
    m_older->setToolTip(tr("Older Response"));
    m_older->setAutoRaise(true);
    m_newer = new QToolButton;
    m_newer->setArrowType(Qt::RightArrow);
    m_newer->setToolTip(tr("Newer Response"));
    m_newer->setAutoRaise(true);
    m_position = new QLabel;
    barLayout->addWidget(m_statusCode);
    barLayout->addSpacing(8);
    barLayout->addWidget(m_details, 1);
    barLayout->addWidget(m_older);
    barLayout->addWidget(m_position);
    barLayout->addWidget(m_newer);
    connect(m_older, &QToolButton::clicked, this, &HXResponseViewer::showOlder);
    connect(m_newer, &QToolButton::clicked, this, &HXResponseViewer::showNewer);

    // Body: the formatted text or the JSON outline, with a find field.
    auto *body = new QWidget;
    auto *bodyLayout = new QVBoxLayout(body);
    bodyLayout->setContentsMargins(0, 0, 0, 0);
    bodyLayout->setSpacing(0);
    auto *findBar = new QHBoxLayout;
    findBar->setContentsMargins(0, 6, 0, 6);
    m_find = new QLineEdit;
    m_find->setPlaceholderText(tr("Find in Body"));
    // Its clear button's icon is loaded when there is something to clear.
    connect(m_find, &QLineEdit::textChanged, m_find, [this](const QString &text) {
        if (!text.isEmpty())
            m_find->setClearButtonEnabled(true);
    });
    m_bodyMode = new QToolButton;
    m_bodyMode->setText(tr("Outline"));
    m_bodyMode->setCheckable(true);
    m_bodyMode->setToolTip(tr("Show the JSON body as a collapsible outline"));
    findBar->addWidget(m_find, 1);
    findBar->addWidget(m_bodyMode);
    bodyLayout->addLayout(findBar);
    m_bodyStack = new QStackedWidget;
    m_bodyView = new HXLargeTextView;
    m_bodyView->setFrameShape(QFrame::NoFrame);
    m_outline = new QTreeView;
    m_outline->setFrameShape(QFrame::NoFrame);
    m_outline->setUniformRowHeights(true);
    m_outlineModel = new HXJSONOutlineModel(this);
    m_outline->setModel(m_outlineModel);
    m_outline->header()->setSectionResizeMode(QHeaderView::Interactive);
    m_outline->header()->resizeSection(0, 220);
    m_bodyStack->addWidget(m_bodyView);
    m_bodyStack->addWidget(m_outline);
    bodyLayout->addWidget(m_bodyStack, 1);
    connect(m_find, &QLineEdit::returnPressed, this, [this] { m_bodyView->find(m_find->text()); });
    connect(m_bodyMode, &QToolButton::toggled, this, [this](bool outline) {
        m_bodyStack->setCurrentIndex(outline ? 1 : 0);
        if (outline)
            m_outline->expandToDepth(0);
    });

    m_rawView = new HXLargeTextView;
    m_hexView = new HXLargeTextView;
    m_headers = makeTable({tr("Name"), tr("Value")});
    m_cookies = makeTable({tr("Name"), tr("Value"), tr("Domain"), tr("Path"), tr("Expires")});
    m_requestView = new HXLargeTextView;
    for (HXLargeTextView *view : {m_rawView, m_hexView, m_requestView})
        view->setFrameShape(QFrame::NoFrame);

    m_tabs = new QTabWidget;
    m_tabs->setDocumentMode(true);
    m_tabs->addTab(body, tr("Body"));
    m_tabs->addTab(m_rawView, tr("Raw"));
    m_tabs->addTab(m_hexView, tr("Hex"));
    m_tabs->addTab(m_headers, tr("Headers"));
    m_tabs->addTab(m_cookies, tr("Cookies"));
    m_tabs->addTab(m_requestView, tr("Request"));
    connect(m_tabs, &QTabWidget::currentChanged, this, &HXResponseViewer::_updateRequestTab);
    const HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    m_tabs->setTabVisible(RawTab, defaults.boolForKey(QStringLiteral("HXUserDefaultShowRawResponseTab")));
    m_tabs->setTabVisible(HexTab, defaults.boolForKey(QStringLiteral("HXUserDefaultShowHexResponseTab")));

    auto *content = new QWidget;
    auto *contentLayout = new QVBoxLayout(content);
    contentLayout->setContentsMargins(8, 0, 8, 0);
    contentLayout->setSpacing(0);
    contentLayout->addWidget(bar);
    contentLayout->addWidget(m_tabs, 1);
    m_stack->addWidget(content);
}

HXResponseViewer::~HXResponseViewer() = default;

HXLargeTextView *HXResponseViewer::bodyView()
{
    _makeContent();
    return m_bodyView;
}

HXLargeTextView *HXResponseViewer::requestView()
{
    _makeContent();
    return m_requestView;
}

QTabWidget *HXResponseViewer::tabs()
{
    _makeContent();
    return m_tabs;
}

void HXResponseViewer::setEmptyText(const QString &text)
{
    m_empty->setText(text);
}

void HXResponseViewer::setResponses(const QList<std::shared_ptr<HXResponse>> &responses)
{
    m_responses = responses;
    showResponse(responses.isEmpty() ? nullptr : responses.first());
}

void HXResponseViewer::showOlder()
{
    const qsizetype index = m_responses.indexOf(m_response);
    if (index >= 0 && index + 1 < m_responses.size())
        showResponse(m_responses.at(index + 1));
}

void HXResponseViewer::showNewer()
{
    const qsizetype index = m_responses.indexOf(m_response);
    if (index > 0)
        showResponse(m_responses.at(index - 1));
}

void HXResponseViewer::focusFind()
{
    _makeContent();
    m_tabs->setCurrentIndex(BodyTab);
    m_bodyMode->setChecked(false);
    m_find->setFocus();
    m_find->selectAll();
}

void HXResponseViewer::setDocument(QObject *document)
{
    m_sentRequests = HXSentRequestLog::logForDocument(document);
    _updateRequestTab();
}

void HXResponseViewer::setRequestTextProvider(std::function<QString()> provider)
{
    m_requestTextProvider = std::move(provider);
    _updateRequestTab();
}

void HXResponseViewer::_updateRequestTab()
{
    if (m_tabs == nullptr || m_tabs->currentWidget() != m_requestView)
        return;
    const HXSentRequestLog::Entry *sent =
        m_response != nullptr && m_sentRequests != nullptr ? m_sentRequests->entryForResponse(*m_response) : nullptr;
    if (sent != nullptr) {
        m_requestView->setText(HXSentRequestLog::displayText(*sent));
        return;
    }
    const QString now = m_requestTextProvider ? m_requestTextProvider() : QString();
    if (m_response == nullptr || now.isEmpty())
        m_requestView->setText(now);
    else
        m_requestView->setText(tr("What was sent for this response was not kept; this is the request as it would be "
                                  "sent now.") +
                               QStringLiteral("\n\n") + now);
}

QString HXResponseViewer::requestText(HXRequest *request, HXEvaluationDocument *document)
{
    if (request == nullptr)
        return QString();
    const HXRequestAssembly assembly = request->assemblyAsSent(document);
    const QString target = assembly.URL ? assembly.URL->toString(QUrl::FullyEncoded) : tr("(invalid URL)");
    QString text = request->method() + u' ' + target + u'\n';
    for (const HXRequestHeaderEntry &entry : assembly.headers)
        text += entry.name + QStringLiteral(": ") + entry.value + u'\n';
    if (!assembly.bodyData.isEmpty()) {
        HXBodyFormatter::Input body;
        body.body = assembly.bodyData.left(maximumRawBytes);
        body.encoding = assembly.bodyEncoding;
        text += u'\n' + HXBodyFormatter::formatNow(body).text;
    }
    return HXSentRequestLog::visibleText(text);
}

void HXResponseViewer::showResponse(const std::shared_ptr<HXResponse> &response)
{
    m_response = response;
    if (response == nullptr && m_tabs == nullptr) {
        m_stack->setCurrentIndex(0);
        return;
    }
    _makeContent();
    m_stack->setCurrentIndex(response ? 1 : 0);
    _updateStatusBar();
    m_outlineModel->setTree(nullptr);
    m_bodyView->setText(QString());
    if (response == nullptr) {
        m_rawView->setText(QString());
        m_hexView->setText(QString());
        m_headers->setRowCount(0);
        m_cookies->setRowCount(0);
        return;
    }
    m_bodyView->setPlaceholderText(tr("Formatting…"));
    HXBodyFormatter::Input input;
    input.body = response->bodyData();
    input.type = response->defaultBodyTextType();
    input.encoding = response->stringEncoding();
    input.jsonSettings = HXJSONPrintingPreferences::standardSettings();
    m_formatter.format(input, [this](HXBodyFormatter::Result &result) { _showBody(result); });
    if (input.body.isEmpty())
        m_bodyView->setPlaceholderText(tr("No Body"));

    // Raw keeps the bytes as received: the head, then the body as text,
    // decoded on a worker too.
    HXBodyFormatter::Input raw;
    raw.body = response->headersData() + input.body.left(maximumRawBytes);
    if (input.body.size() > maximumRawBytes)
        raw.body += "\n... " + QByteArray::number(input.body.size() - maximumRawBytes) + " more bytes";
    raw.encoding = response->stringEncoding();
    m_rawView->setText(QString());
    m_rawFormatter.format(raw, [this](HXBodyFormatter::Result &result) {
        m_rawView->setText(result.text, std::move(result.lineStarts), result.longestLine);
    });
    if (m_tabs->isTabVisible(HexTab))
        m_hexView->setText(_hexText(input.body));
    _fillTables();
    _updateRequestTab();
}

void HXResponseViewer::_showBody(HXBodyFormatter::Result &result)
{
    m_bodyView->setPlaceholderText(result.text.isEmpty() ? tr("No Body") : QString());
    m_bodyView->setText(result.text, std::move(result.lineStarts), result.longestLine);
    m_outlineModel->setTree(result.jsonTree);
    m_bodyMode->setEnabled(result.jsonTree != nullptr);
    if (result.jsonTree == nullptr)
        m_bodyMode->setChecked(false);
    Q_EMIT bodyShown();
}

void HXResponseViewer::_updateStatusBar()
{
    if (m_response == nullptr)
        return;
    const int code = int(m_response->statusCode());
    m_statusCode->setText(QStringLiteral("%1 %2").arg(code).arg(m_response->statusString()));
    QPalette palette = m_statusCode->palette();
    palette.setColor(QPalette::WindowText, HXRequestListDelegate::colorForStatusCode(code));
    m_statusCode->setPalette(palette);
    const QString separator = QStringLiteral("  ·  ");
    m_details->setText(tr("Response %1").arg(HXResponse::downloadTimeString(m_response->responseTime())) + separator +
                       tr("Download %1").arg(HXResponse::downloadTimeString(m_response->downloadTime())) + separator +
                       HXResponseListModel::sizeString(m_response->bodyData().size()) + separator +
                       QLocale().toString(m_response->date().toLocalTime(), QLocale::ShortFormat));
    const qsizetype index = m_responses.indexOf(m_response);
    m_position->setText(index < 0 ? QString() : tr("%1 of %2").arg(m_responses.size() - index).arg(m_responses.size()));
    m_older->setEnabled(index >= 0 && index + 1 < m_responses.size());
    m_newer->setEnabled(index > 0);
}

void HXResponseViewer::_fillTables()
{
    const auto &headers = m_response->headers();
    m_headers->setRowCount(int(headers.size()));
    int cookieRows = 0;
    m_cookies->setRowCount(0);
    for (int row = 0; row < headers.size(); ++row) {
        m_headers->setItem(row, 0, new QTableWidgetItem(headers.at(row).first));
        m_headers->setItem(row, 1, new QTableWidgetItem(headers.at(row).second));
        if (headers.at(row).first.compare(QStringLiteral("Set-Cookie"), Qt::CaseInsensitive) != 0)
            continue;
        for (const QNetworkCookie &cookie : QNetworkCookie::parseCookies(headers.at(row).second.toUtf8())) {
            m_cookies->insertRow(cookieRows);
            const QStringList cells = {
                QString::fromUtf8(cookie.name()), QString::fromUtf8(cookie.value()), cookie.domain(), cookie.path(),
                cookie.isSessionCookie() ? tr("Session")
                                         : QLocale().toString(cookie.expirationDate(), QLocale::ShortFormat)};
            for (int column = 0; column < cells.size(); ++column)
                m_cookies->setItem(cookieRows, column, new QTableWidgetItem(cells.at(column)));
            ++cookieRows;
        }
    }
    m_headers->resizeColumnToContents(0);
    m_headers->setColumnWidth(0, m_headers->columnWidth(0) + 24);
}

QString HXResponseViewer::_hexText(const QByteArray &bytes) const
{
    QString text;
    const qsizetype shown = std::min(bytes.size(), maximumHexBytes);
    text.reserve(shown * 4 + shown / 16 * 12);
    for (qsizetype offset = 0; offset < shown; offset += 16) {
        text += QStringLiteral("%1  ").arg(offset, 8, 16, QLatin1Char('0'));
        QString ascii;
        for (qsizetype i = offset; i < offset + 16; ++i) {
            if (i < shown) {
                const auto byte = static_cast<unsigned char>(bytes.at(i));
                text += QStringLiteral("%1 ").arg(byte, 2, 16, QLatin1Char('0'));
                ascii += byte >= 0x20 && byte < 0x7f ? QChar(char16_t(byte)) : QChar(u'.');
            } else {
                text += QStringLiteral("   ");
            }
        }
        text += u' ' + ascii + u'\n';
    }
    if (shown < bytes.size())
        text += tr("… %1 more bytes").arg(bytes.size() - shown);
    return text;
}
