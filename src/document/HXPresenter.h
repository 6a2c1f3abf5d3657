#pragma once

#include "HXError.h"

#include <QString>
#include <QStringList>

#include <functional>

// How the core asks the user something or tells them of an error: a message,
// an explanatory text and buttons, answered through a completion with the
// index of the chosen button. The desktop application shows dialogs; the
// command line and tests answer programmatically.
class HXPresenter
{
public:
    struct Alert
    {
        QString message;
        QString informativeText;
        QStringList buttons; // the first is the default
    };

    virtual ~HXPresenter() = default;
    virtual void presentAlert(const Alert &alert, const std::function<void(int button)> &completion) = 0;
    virtual void presentError(const HXError &error) = 0;

    // The presenter the core uses; by default one that chooses each alert's
    // first button and logs errors.
    static HXPresenter *sharedPresenter();
    static void setSharedPresenter(HXPresenter *presenter);
};
