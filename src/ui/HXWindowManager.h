#pragma once

#include <QList>
#include <QString>
#include <QStringList>

class HXDocumentWindow;
class QWidget;

// Opens and tracks document windows: one window per document (opening a
// file that is already open brings its window forward), new untitled
// documents, and the list of recently opened files.
class HXWindowManager
{
public:
    static HXDocumentWindow *newDocument();
    // The window of the document at `path`, opened when needed; null (after
    // telling the user why) when the file cannot be opened.
    static HXDocumentWindow *openFile(const QString &path);
    static void openDialog(QWidget *parent);
    static QList<HXDocumentWindow *> windows();
    // Closes every window, asking to save each modified document; false
    // when the user cancels.
    static bool closeAll();

    static QStringList recentFiles();
    static void noteRecentFile(const QString &path);
    static constexpr int maximumRecentFiles = 10;
};
