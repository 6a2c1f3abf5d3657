#pragma once

#include "HXBodyFormatter.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>

class HXEvaluationDocument;
class HXJSONOutlineModel;
class HXRequest;
class HXLargeTextView;
class HXResponse;
class HXResponseListModel;
class HXSentRequestLog;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QStackedWidget;
class QTabWidget;
class QTableWidget;
class QToolButton;
class QTreeView;

// The response of the selected request: a status bar (status, times, size,
// date, history navigation) over the tabs Body, Raw, Hex, Headers, Cookies
// and Request. Bodies are formatted on a worker; the body view lays out only
// what is visible.
class HXResponseViewer : public QWidget
{
    Q_OBJECT
public:
    enum Tab { BodyTab = 0, RawTab, HexTab, HeadersTab, CookiesTab, RequestTab };

    explicit HXResponseViewer(QWidget *parent = nullptr);
    ~HXResponseViewer() override;

    // The responses of a request, newest first; shows the newest.
    void setResponses(const QList<std::shared_ptr<HXResponse>> &responses);
    void showResponse(const std::shared_ptr<HXResponse> &response);
    std::shared_ptr<HXResponse> response() const { return m_response; }
    // The document whose sent requests the Request tab shows (see
    // HXSentRequestLog).
    void setDocument(QObject *document);
    // The request as it would be sent now, for a response whose request was
    // not recorded: made when the Request tab is shown (it evaluates the
    // whole request, which selecting a row need not wait for).
    void setRequestTextProvider(std::function<QString()> provider);
    static QString requestText(HXRequest *request, HXEvaluationDocument *document);
    void setEmptyText(const QString &text);

    // The views (made on first use).
    HXLargeTextView *bodyView();
    HXLargeTextView *requestView();
    QTabWidget *tabs();
    bool isFormatting() const { return m_formatter.isBusy() || m_rawFormatter.isBusy(); }
    void showOlder();
    void showNewer();
    void focusFind();

Q_SIGNALS:
    void bodyShown();

private:
    void _makeContent();
    // Fills the Request tab when it is the one shown.
    void _updateRequestTab();
    void _showBody(HXBodyFormatter::Result &result);
    void _updateStatusBar();
    void _fillTables();
    QString _hexText(const QByteArray &bytes) const;

    std::shared_ptr<HXResponse> m_response;
    QList<std::shared_ptr<HXResponse>> m_responses;
    HXBodyFormatter m_formatter;
    HXBodyFormatter m_rawFormatter;

    QLabel *m_statusCode = nullptr;
    QLabel *m_details = nullptr;
    QLabel *m_position = nullptr;
    QToolButton *m_older = nullptr;
    QToolButton *m_newer = nullptr;
    QToolButton *m_bodyMode = nullptr;
    QTabWidget *m_tabs = nullptr;
    QStackedWidget *m_bodyStack = nullptr;
    HXLargeTextView *m_bodyView = nullptr;
    QTreeView *m_outline = nullptr;
    HXJSONOutlineModel *m_outlineModel = nullptr;
    QLineEdit *m_find = nullptr;
    HXLargeTextView *m_rawView = nullptr;
    HXLargeTextView *m_hexView = nullptr;
    QTableWidget *m_headers = nullptr;
    QTableWidget *m_cookies = nullptr;
    HXLargeTextView *m_requestView = nullptr;
    std::function<QString()> m_requestTextProvider;
    QPointer<HXSentRequestLog> m_sentRequests;
    QStackedWidget *m_stack = nullptr;
    QLabel *m_empty = nullptr;
};
