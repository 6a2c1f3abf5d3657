#pragma once

#include "HXDesktopServices.h"

#include <QObject>

#include <map>

// Desktop notifications through the freedesktop notification service on the
// session bus, and the sound theme's event sounds ("complete", "message",
// "dialog-warning", "dialog-error") through canberra-gtk-play. Where there is
// no session bus, no notification daemon or no sound player, it silently
// does nothing. The application installs it; its own file keeps D-Bus out of
// programs that never do.
//
// A notification offers a "Show" action; when the user picks it (or clicks
// the notification), notificationActivated() gets the userInfo the
// notification was delivered with.
class HXFreedesktopServices : public QObject, public HXDesktopServices
{
    Q_OBJECT
public:
    void playSound(const QString &soundName) override;
    void deliverNotification(const QString &title, const QString &text, const QVariantMap &userInfo) override;

    // The notifications shown and not yet closed whose userInfo is kept.
    static constexpr int maximumShownNotifications = 32;

protected:
    virtual void notificationActivated(const QVariantMap &userInfo) { Q_UNUSED(userInfo); }

private Q_SLOTS:
    void _actionInvoked(uint identifier, const QString &actionKey);
    void _activationToken(uint identifier, const QString &token);
    void _notificationClosed(uint identifier, uint reason);

private:
    void _listen();

    // The userInfo of each notification shown, by the daemon's identifier.
    std::map<uint, QVariantMap> m_shown;
    bool m_listening = false;
};
