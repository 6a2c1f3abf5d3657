#pragma once

#include <QString>
#include <QVariantMap>

// Sounds and desktop notifications. Unless a process installs an
// implementation (the application installs HXFreedesktopServices, tests
// their own), nothing is played or shown.
class HXDesktopServices
{
public:
    virtual ~HXDesktopServices() = default;
    virtual void playSound(const QString &soundName) = 0;
    virtual void deliverNotification(const QString &title, const QString &text, const QVariantMap &userInfo) = 0;

    static HXDesktopServices *sharedServices();
    static void setSharedServices(HXDesktopServices *services);
};
