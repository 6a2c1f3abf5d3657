#pragma once

#include "HXDesktopServices.h"

// Desktop notifications through the freedesktop notification service on the
// session bus, and the sound theme's event sounds ("complete", "message",
// "dialog-warning", "dialog-error") through canberra-gtk-play. Where there is
// no session bus, no notification daemon or no sound player, it silently
// does nothing. The application installs it; its own file keeps D-Bus out of
// programs that never do.
class HXFreedesktopServices : public HXDesktopServices
{
public:
    void playSound(const QString &soundName) override;
    void deliverNotification(const QString &title, const QString &text, const QVariantMap &userInfo) override;
};
