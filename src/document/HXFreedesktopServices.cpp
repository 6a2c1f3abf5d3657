#include "HXFreedesktopServices.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QProcess>
#include <QStandardPaths>

void HXFreedesktopServices::playSound(const QString &soundName)
{
    static const QString player = QStandardPaths::findExecutable(QStringLiteral("canberra-gtk-play"));
    if (player.isEmpty())
        return;
    QProcess::startDetached(player, {QStringLiteral("-i"), soundName});
}

void HXFreedesktopServices::deliverNotification(const QString &title, const QString &text, const QVariantMap &userInfo)
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
