#pragma once

#include "HXFreedesktopServices.h"

// The application's sounds and notifications: the freedesktop ones, with a
// notification only while none of Kea's windows is active (the window
// already shows the result), and the system beep where the sound theme's
// player is missing. A notification's "Show" brings its window forward.
class HXWindowDesktopServices : public HXFreedesktopServices
{
    Q_OBJECT
public:
    void playSound(const QString &soundName) override;
    void deliverNotification(const QString &title, const QString &text, const QVariantMap &userInfo) override;
    // Whether a notification is shown now.
    static bool shouldNotify();

    // Raises and activates the window of the request the notification names
    // ("requestUUID") and selects that request; without one, or when no open
    // document has it, the frontmost window.
    void notificationActivated(const QVariantMap &userInfo) override;
};
