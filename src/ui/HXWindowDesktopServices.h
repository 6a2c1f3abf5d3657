#pragma once

#include "HXFreedesktopServices.h"

// The application's sounds and notifications: the freedesktop ones, with a
// notification only while none of Kea's windows is active (the window
// already shows the result), and the system beep where the sound theme's
// player is missing.
class HXWindowDesktopServices : public HXFreedesktopServices
{
public:
    void playSound(const QString &soundName) override;
    void deliverNotification(const QString &title, const QString &text, const QVariantMap &userInfo) override;
    // Whether a notification is shown now.
    static bool shouldNotify();
};
