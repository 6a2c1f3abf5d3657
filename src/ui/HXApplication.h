#pragma once

#include <QApplication>

#include <memory>

class HXWindowPresenter;
class QThread;

// The desktop application: names itself for settings and folders, registers
// the default settings before anything reads them, and installs the
// dialogs the core presents its questions with.
class HXApplication : public QApplication
{
    Q_OBJECT
public:
    // With `prepareWindows` (the desktop program), what the first window
    // needs from the system and takes long to read (the font configuration,
    // the image plugins) is loaded on a worker thread while the window is
    // being built.
    HXApplication(int &argc, char **argv, bool prepareWindows = false);
    ~HXApplication() override;

    // Opens the documents named on the command line, or a new one.
    void openInitialWindows(const QStringList &paths);

private:
    std::unique_ptr<HXWindowPresenter> m_presenter;
    std::unique_ptr<QThread> m_preparation;
};
