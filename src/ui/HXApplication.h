#pragma once

#include <QApplication>

#include <memory>

class HXWindowPresenter;

// The desktop application: names itself for settings and folders, registers
// the default settings before anything reads them, and installs the
// dialogs the core presents its questions with.
class HXApplication : public QApplication
{
    Q_OBJECT
public:
    HXApplication(int &argc, char **argv);
    ~HXApplication() override;

    // Opens the documents named on the command line, or a new one.
    void openInitialWindows(const QStringList &paths);

private:
    std::unique_ptr<HXWindowPresenter> m_presenter;
};
