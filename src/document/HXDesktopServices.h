#pragma once

#include <QString>
#include <QVariantMap>

// Sounds and desktop notifications. The default implementation uses the
// freedesktop notification service over D-Bus and the sound theme's event
// sounds ("complete", "message", "dialog-warning", "dialog-error") through
// canberra-gtk-play; where there is no session bus, no notification daemon
// or no sound player, it silently does nothing. Tests install their own.
class HXDesktopServices
{
public:
    virtual ~HXDesktopServices() = default;
    virtual void playSound(const QString &soundName) = 0;
    virtual void deliverNotification(const QString &title, const QString &text, const QVariantMap &userInfo) = 0;

    static HXDesktopServices *sharedServices();
    static void setSharedServices(HXDesktopServices *services);
};
