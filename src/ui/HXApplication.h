#pragma once

#include <QApplication>

// The desktop application: names itself for settings and folders, and
// registers the default settings before anything reads them.
class HXApplication : public QApplication
{
    Q_OBJECT
public:
    HXApplication(int &argc, char **argv);
};
