#pragma once

#include <QMainWindow>

#include <functional>
#include <memory>
#include <optional>

class HXCodeInspector;
class HXDocument;
class HXDocumentCommands;
class HXMainMenu;
class HXRequest;
class HXRequestEditor;
class HXRequestListView;
class HXResponse;
class HXRequestTreeItem;
class HXResponseViewer;
class HXViewSwitcher;
class HXWarningsButton;
class QAction;
class QComboBox;
class QLabel;
class QProgressBar;
class QSplitter;
class QToolButton;

// The window of one document: toolbar, request list, request editor and
// response viewer. It presents the document and forwards every command to
// the document's commands; it holds no behaviour of its own.
class HXDocumentWindow : public QMainWindow
{
    Q_OBJECT
public:
    enum ViewType { RequestView = 0, SplitView = 1, ResponseView = 2 };

    explicit HXDocumentWindow(std::unique_ptr<HXDocument> document, QWidget *parent = nullptr);
    ~HXDocumentWindow() override;

    HXDocument *document() const { return m_document.get(); }
    HXDocumentCommands *commands() const { return m_commands; }
    HXRequestListView *requestList() const { return m_list; }
    HXRequestEditor *requestEditor() const { return m_editor; }
    HXResponseViewer *responseViewer() const { return m_viewer; }
    QLabel *statusLabel() const { return m_statusText; }
    HXWarningsButton *warningsButton() const { return m_warnings; }
    HXMainMenu *mainMenu() const { return m_menu; }
    // Null until the inspector is first shown.
    HXCodeInspector *codeInspector() const { return m_inspector; }
    QToolButton *codeInspectorButton() const { return m_inspectorToggle; }

    int viewType() const { return m_viewType; }
    void setViewType(int viewType);
    int orderBy() const { return m_orderBy; }
    void setOrderBy(int orderBy);
    int arrangeBy() const { return m_arrangeBy; }
    void setArrangeBy(int arrangeBy);
    HXRequest *currentRequest() const;
    QList<HXRequest *> selectedRequests() const;

    bool save();
    bool saveAs();
    // Asks to save a modified document; false when the user cancels.
    bool maybeSave();

    void sendSelected();
    void showWarnings();
    bool isCodeInspectorShown() const;
    void setCodeInspectorShown(bool shown);
    // The selected requests as code in the language of the copy setting.
    void copyAsCode();
    // Asks for a method for the selected request (window modal).
    void askCustomMethod();
    // Adds the collection in a file (asked for when `path` is empty) to the
    // document as one undo step and tells what was imported.
    void importFile(QString path = {});
    // Writes the document's requests as "postman", "har" or "curl" (asked
    // for, with the file, when `path` is empty).
    bool exportFile(QString path = {}, const QString &format = {});
    void updateCommandStates();
    // Runs `work` on a later turn of the event loop once the window has
    // been painted for the first time: work the first picture does not need.
    // Work still waiting when the window goes runs then.
    void afterFirstPaint(std::function<void()> work);

protected:
    bool event(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void _buildToolbar();
    QWidget *_makeChangedOutsideNotice();
    void _updateIcons();
    void _selectionChanged();
    void _updateTitle();
    void _updateEnvironments();
    void _updateWarnings();
    void _updateStatus(HXRequest *request, int status);
    void _didReceiveResponse(HXRequest *request, const std::shared_ptr<HXResponse> &response);
    void _environmentChosen(int index);
    void _restoreInterfaceState();
    void _saveInterfaceState();

    std::unique_ptr<HXDocument> m_document;
    HXDocumentCommands *m_commands = nullptr;
    HXMainMenu *m_menu = nullptr;
    HXRequestListView *m_list = nullptr;
    HXRequestEditor *m_editor = nullptr;
    HXResponseViewer *m_viewer = nullptr;
    QSplitter *m_mainSplitter = nullptr;
    QSplitter *m_detailSplitter = nullptr;
    QSplitter *m_listSplitter = nullptr;
    HXCodeInspector *m_inspector = nullptr;
    QToolButton *m_inspectorToggle = nullptr;
    QToolButton *m_send = nullptr;
    QToolButton *m_stop = nullptr;
    QLabel *m_statusName = nullptr;
    QLabel *m_statusText = nullptr;
    QProgressBar *m_progress = nullptr;
    QComboBox *m_environments = nullptr;
    HXViewSwitcher *m_viewSwitcher = nullptr;
    HXWarningsButton *m_warnings = nullptr;
    QAction *m_warningsItem = nullptr;
    int m_viewType = SplitView;
    int m_orderBy = 0;
    int m_arrangeBy = 0;
    bool m_updatingEnvironments = false;
    // While the constructor runs: the commands' states are set once, at its end.
    bool m_opening = true;
    bool m_painted = false;
    std::optional<QList<HXRequestTreeItem *>> m_shownSelection;
    QList<std::function<void()>> m_afterFirstPaint;
};
