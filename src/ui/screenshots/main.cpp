// kea-screenshots: renders the screens of a document to PNG files, for
// looking at the interface without a desktop (scripts/screenshots.sh runs
// it under Xvfb). Usage: kea-screenshots DOCUMENT OUTPUT-FOLDER [HTTPS-URL]
// where HTTPS-URL is a server whose certificate is not trusted.

#include "HXApplication.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDocumentWindow.h"
#include "HXDynamicStringEdit.h"
#include "HXEnvironmentsWindow.h"
#include "HXHTTPPreferencesViewController.h"
#include "HXLargeTextView.h"
#include "HXManagedObjectContext.h"
#include "HXPreferencesWindow.h"
#include "HXRequest.h"
#include "HXRequestEditor.h"
#include "HXRequestListView.h"
#include "HXResponse.h"
#include "HXResponseViewer.h"
#include "HXServerTrustDialog.h"
#include "HXTokenEditor.h"
#include "HXTokenPicker.h"
#include "HXUserDefaults.h"
#include "HXWarningsButton.h"
#include "HXWindowManager.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMenu>
#include <QPalette>
#include <QScreen>
#include <QStyle>
#include <QStyleFactory>
#include <QTabWidget>
#include <QTextStream>
#include <QTimer>
#include <QToolButton>

#include <cstdio>

namespace {

void settle(int milliseconds = 300)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

void waitForBody(HXDocumentWindow *window)
{
    QElapsedTimer timer;
    timer.start();
    while (window->responseViewer()->isFormatting() && timer.elapsed() < 60000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    settle();
}

bool shoot(const QString &folder, const QString &name)
{
    settle();
    const QString path = QDir(folder).filePath(name + QStringLiteral(".png"));
    const bool saved = QGuiApplication::primaryScreen()->grabWindow(0).save(path);
    std::printf("%s %s\n", saved ? "wrote" : "could not write", qPrintable(path));
    return saved;
}

QPalette darkPalette()
{
    QPalette palette;
    const QColor window(0x2b, 0x2d, 0x31), base(0x1e, 0x1f, 0x22), text(0xe6, 0xe6, 0xe6);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, QColor(0x26, 0x27, 0x2b));
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, window);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::ToolTipBase, base);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0x7e, 0xe0));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, QColor(0x8a, 0x8c, 0x91));
    palette.setColor(QPalette::Mid, QColor(0x45, 0x47, 0x4c));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0x7a, 0x7c, 0x80));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x7a, 0x7c, 0x80));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x7a, 0x7c, 0x80));
    return palette;
}

// A JSON body of about `megabytes` MB: an array of user records.
QByteArray largeJSON(int megabytes)
{
    QByteArray json = "[";
    for (int i = 0; json.size() < qsizetype(megabytes) * 1000 * 1000; ++i) {
        if (i > 0)
            json += ',';
        json += QStringLiteral(R"({"id":%1,"name":"User %1","email":"user%1@example.com","active":%2,)"
                               R"("roles":["reader","writer"],"score":%3})")
                    .arg(i)
                    .arg(i % 3 == 0 ? QStringLiteral("false") : QStringLiteral("true"))
                    .arg(i * 7 % 1000)
                    .toUtf8();
    }
    return json + ']';
}

HXRequest *firstRequestWithResponse(HXDocument *document)
{
    std::function<HXRequest *(const QList<HXRequestTreeItem *> &)> find =
        [&](const QList<HXRequestTreeItem *> &items) -> HXRequest * {
        for (HXRequestTreeItem *item : items) {
            if (auto *request = dynamic_cast<HXRequest *>(item)) {
                if (request->lastResponse() != nullptr &&
                    request->lastResponse()->defaultBodyTextType() == HXResponse::BodyTextTypeJSON)
                    return request;
            } else if (HXRequest *found = find(HXDocument::sortedItems(item->children()))) {
                return found;
            }
        }
        return nullptr;
    };
    return find(document->topLevelItems());
}

// Opens the document filling the screen, on its first request with a JSON
// response, once the body is shown.
HXDocumentWindow *openFullScreen(const QString &path)
{
    HXDocumentWindow *window = HXWindowManager::openFile(path);
    if (window == nullptr)
        return nullptr;
    window->move(0, 0);
    window->resize(QGuiApplication::primaryScreen()->size());
    if (HXRequest *request = firstRequestWithResponse(window->document()))
        window->requestList()->selectItems({request});
    waitForBody(window);
    return window;
}

} // namespace

int main(int argc, char *argv[])
{
    HXApplication app(argc, argv);
    const QStringList arguments = HXApplication::arguments();
    if (arguments.size() != 3 && arguments.size() != 4) {
        std::fprintf(stderr, "usage: kea-screenshots DOCUMENT OUTPUT-FOLDER [HTTPS-URL]\n");
        return 2;
    }
    const QString folder = arguments.at(2);
    QDir().mkpath(folder);
    HXApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    HXDocumentWindow *window = openFullScreen(arguments.at(1));
    if (window == nullptr)
        return 1;

    bool ok = true;
    const QStringList views = {QStringLiteral("request"), QStringLiteral("split"), QStringLiteral("response")};
    for (int view = 0; view < views.size(); ++view) {
        window->setViewType(view);
        ok = shoot(folder, QStringLiteral("main-") + views.at(view)) && ok;
    }
    window->setViewType(HXDocumentWindow::SplitView);
    window->requestEditor()->tabs()->setCurrentIndex(HXRequestEditor::HeadersTab);
    window->responseViewer()->tabs()->setCurrentIndex(HXResponseViewer::HeadersTab);
    ok = shoot(folder, QStringLiteral("headers-tabs")) && ok;
    window->requestEditor()->tabs()->setCurrentIndex(HXRequestEditor::BodyTab);
    window->responseViewer()->tabs()->setCurrentIndex(HXResponseViewer::BodyTab);

    // A request with warnings, and its popover.
    window->commands()->setValueForKey(window->currentRequest(), QStringLiteral("url"),
                                       QStringLiteral("http://exa mple.com"), QStringLiteral("Change URL"));
    settle();
    if (window->warningsButton()->count() > 0) {
        window->showWarnings();
        ok = shoot(folder, QStringLiteral("warnings")) && ok;
        if (QWidget *popup = QApplication::activePopupWidget())
            popup->close();
    } else {
        std::printf("no warnings to show\n");
    }
    window->commands()->undo();

    // A token in the URL with its editor, then the catalogue search.
    HXDynamicStringEdit *url = window->requestEditor()->urlField();
    url->setFocus();
    url->moveCursor(QTextCursor::End);
    url->insertDynamicValueOfKind(QStringLiteral("HXTimestampDynamicValue"));
    settle();
    if (HXTokenEditor *editor = url->editTokenAt(url->document()->characterCount() - 2)) {
        ok = shoot(folder, QStringLiteral("token-editor")) && ok;
        editor->close();
    }
    url->moveCursor(QTextCursor::End);
    HXTokenPicker *picker = url->showTokenPicker();
    picker->searchField()->setText(QStringLiteral("re"));
    ok = shoot(folder, QStringLiteral("token-picker")) && ok;
    picker->close();
    settle();
    window->commands()->undo();

    // The environments sheet.
    window->commands()->environmentToolbarItemChanged(33);
    if (auto *sheet = window->findChild<HXEnvironmentsWindow *>()) {
        ok = shoot(folder, QStringLiteral("environments")) && ok;
        sheet->close();
    }

    // The preferences: the HTTP pane with a custom proxy, then General.
    {
        HXUserDefaults::standardUserDefaults().setObject(QStringLiteral("Custom"),
                                                         QStringLiteral("HXUserDefaultHTTPProxyConfiguration"));
        HXUserDefaults::standardUserDefaults().setBool(true, QStringLiteral("HXUserDefaultHTTPProxyHTTPProxyEnabled"));
        HXPreferencesWindow *preferences = HXPreferencesWindow::showPreferences();
        preferences->panes()->setCurrentWidget(preferences->HTTPPane());
        preferences->HTTPPane()->refreshEnabledFields();
        ok = shoot(folder, QStringLiteral("preferences-http")) && ok;
        preferences->panes()->setCurrentIndex(0);
        ok = shoot(folder, QStringLiteral("preferences-general")) && ok;
        preferences->close();
        settle();
    }

    // The list arranged by method, with the code inspector under it; the
    // inspector stays open for the dark window.
    window->setArrangeBy(1);
    window->setCodeInspectorShown(true);
    settle(200);
    ok = shoot(folder, QStringLiteral("code-inspector")) && ok;
    window->setArrangeBy(0);

    // The question about a server whose certificate is not trusted.
    if (arguments.size() == 4) {
        HXRequest *request = window->currentRequest();
        const QString previous = request->url();
        window->commands()->setValueForKey(request, QStringLiteral("url"), arguments.at(3),
                                           QStringLiteral("Change URL"));
        window->sendSelected();
        HXServerTrustDialog *trust = nullptr;
        for (int i = 0; i < 200 && trust == nullptr; ++i) {
            settle(50);
            trust = window->findChild<HXServerTrustDialog *>();
        }
        if (trust != nullptr) {
            ok = shoot(folder, QStringLiteral("trust")) && ok;
            trust->reject();
        } else {
            std::printf("no trust question was asked\n");
            ok = false;
        }
        settle();
        window->commands()->setValueForKey(request, QStringLiteral("url"), previous, QStringLiteral("Change URL"));
    }

    // Dark mode as a desktop in dark mode starts Kea: the palette first,
    // then the window.
    const QString document = window->document()->fileName();
    window->document()->managedObjectContext()->markSaved();
    window->close();
    settle();
    HXApplication::setPalette(darkPalette());
    window = openFullScreen(document);
    if (window == nullptr)
        return 1;
    ok = shoot(folder, QStringLiteral("dark")) && ok;

    auto large = std::make_shared<HXResponse>();
    large->setHeadersData("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n");
    large->setBodyData(largeJSON(100));
    large->setDate(QDateTime::currentDateTime());
    window->setViewType(HXDocumentWindow::ResponseView);
    window->responseViewer()->setResponses({large});
    waitForBody(window);
    HXLargeTextView *body = window->responseViewer()->bodyView();
    body->find(QStringLiteral("User 400000"));
    for (int i = 0; i < 100 && body->matchPosition() < 0; ++i)
        settle(50);
    ok = shoot(folder, QStringLiteral("large-json")) && ok;

    return ok ? 0 : 1;
}
