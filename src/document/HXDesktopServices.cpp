#include "HXDesktopServices.h"

#include "HXDocumentLogging.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QProcess>
#include <QStandardPaths>

namespace {

class HXFreedesktopServices : public HXDesktopServices
{
public:
    void playSound(const QString &soundName) override
    {
        static const QString player = QStandardPaths::findExecutable(QStringLiteral("canberra-gtk-play"));
        if (player.isEmpty())
            return;
        QProcess::startDetached(player, {QStringLiteral("-i"), soundName});
    }

    void deliverNotification(const QString &title, const QString &text, const QVariantMap &userInfo) override
    {
        Q_UNUSED(userInfo);
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected() || bus.interface() == nullptr ||
            !bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.Notifications")))
            return;
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
            QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
        message << QCoreApplication::applicationName() << uint(0) << QString() << title << text
                << QStringList{QStringLiteral("default"), QCoreApplication::translate("HXDesktopServices", "Show")}
                << QVariantMap() << int(-1);
        bus.call(message, QDBus::NoBlock);
    }
};

HXDesktopServices *g_services = nullptr;

} // namespace

HXDesktopServices *HXDesktopServices::sharedServices()
{
    static HXFreedesktopServices defaultServices;
    return g_services != nullptr ? g_services : &defaultServices;
}

void HXDesktopServices::setSharedServices(HXDesktopServices *services)
{
    g_services = services;
}
