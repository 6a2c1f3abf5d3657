#pragma once

#include <QDialog>

class QTabWidget;
class QTableWidget;
class HXHTTPPreferencesViewController;

// The preferences: the panes "General", "HTTP", "JSON" and "Code". Every
// control stores its setting as it changes; there is nothing to confirm.
// One window for the application, raised again when asked for again.
class HXPreferencesWindow : public QDialog
{
    Q_OBJECT
public:
    explicit HXPreferencesWindow(QWidget *parent = nullptr);

    // Shows the application's preferences window, made on first use.
    static HXPreferencesWindow *showPreferences();

    QTabWidget *panes() const { return m_panes; }
    HXHTTPPreferencesViewController *HTTPPane() const { return m_http; }
    QTableWidget *textFormatsTable() const { return m_textFormats; }
    // Adds a row to the response text formats and stores the table.
    void addTextFormat();
    void removeSelectedTextFormats();

private:
    QWidget *_generalPane();
    QWidget *_JSONPane();
    QWidget *_codePane();
    void _loadTextFormats();
    void _storeTextFormats();

    QTabWidget *m_panes = nullptr;
    HXHTTPPreferencesViewController *m_http = nullptr;
    QTableWidget *m_textFormats = nullptr;
    bool m_loading = false;
};
