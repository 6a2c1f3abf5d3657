#pragma once

#include <QPointer>
#include <QWidget>

class HXDocumentCommands;
class HXDynamicStringEdit;
class HXKeyValueTableModel;
class HXKeyValueTableView;
class HXRequest;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QStackedWidget;
class QStandardItemModel;
class QTabWidget;
struct HXManagedObjectChanges;

// Edits the selected request: the method and URL on the first line, then
// the tabs Parameters, Headers, Body, Authorization and Options. Every edit
// is one named step through the document's commands.
class HXRequestEditor : public QWidget
{
    Q_OBJECT
public:
    enum Tab { ParametersTab = 0, HeadersTab, BodyTab, AuthorizationTab, OptionsTab };

    HXRequestEditor(HXDocumentCommands *commands, QWidget *parent = nullptr);

    void setRequest(HXRequest *request);
    HXRequest *request() const { return m_request; }

    QComboBox *methodField() const { return m_method; }
    HXDynamicStringEdit *urlField() const { return m_url; }
    // The tabs; a tab's page gets its content when it is first shown.
    QTabWidget *tabs() const { return m_tabs; }
    // The table of the Parameters tab (built when needed).
    HXKeyValueTableView *parametersView();
    void focusURL();

private:
    // Gives the page of `tab` its content if it has none yet.
    void _buildPage(int tab);
    QWidget *_makeParameters();
    QWidget *_makeHeaders();
    QWidget *_makeBody();
    QWidget *_makeOptions();
    QWidget *_makeAuthorization();
    void _reload();
    void _reloadPages();
    void _reloadParameters();
    void _parametersEdited();
    void _objectsDidChange(const HXManagedObjectChanges &changes);

    QPointer<HXDocumentCommands> m_commands;
    HXRequest *m_request = nullptr;
    bool m_reloading = false;
    bool m_editingParameters = false;

    QStackedWidget *m_stack = nullptr;
    QComboBox *m_method = nullptr;
    HXDynamicStringEdit *m_url = nullptr;
    QTabWidget *m_tabs = nullptr;
    QStandardItemModel *m_parameters = nullptr;
    HXKeyValueTableView *m_parametersView = nullptr;
    HXKeyValueTableModel *m_headers = nullptr;
    QLabel *m_bodyKind = nullptr;
    HXDynamicStringEdit *m_body = nullptr;
    QCheckBox *m_followRedirects = nullptr;
    QCheckBox *m_redirectMethod = nullptr;
    QCheckBox *m_redirectAuthorization = nullptr;
    QDoubleSpinBox *m_timeout = nullptr;
};
