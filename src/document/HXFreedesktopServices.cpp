#include "HXFreedesktopServices.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QProcess>
#include <QStandardPaths>

namespace {

const QString notificationsService = QStringLiteral("org.freedesktop.Notifications");
const QString notificationsPath = QStringLiteral("/org/freedesktop/Notifications");

} // namespace

void HXFreedesktopServices::playSound(const QString &soundName)
{
    static const QString player = QStandardPaths::findExecutable(QStringLiteral("canberra-gtk-play"));
    if (player.isEmpty())
        return;
    QProcess::startDetached(player, {QStringLiteral("-i"), soundName});
}

void HXFreedesktopServices::deliverNotification(const QString &title, const QString &text, const QVariantMap &userInfo)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || bus.interface() == nullptr || !bus.interface()->isServiceRegistered(notificationsService))
        return;
    _listen();
    QDBusMessage message = QDBusMessage::createMethodCall(notificationsService, notificationsPath, notificationsService,
                                                          QStringLiteral("Notify"));
    message << QCoreApplication::applicationName() << uint(0) << QString() << title << text
            << QStringList{QStringLiteral("default"), QCoreApplication::translate("HXDesktopServices", "Show")}
            << QVariantMap() << int(-1);
    // The daemon answers with the notification's identifier, which its
    // later signals name.
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(message), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, userInfo](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        const QDBusPendingReply<uint> reply = *call;
        if (reply.isError())
            return;
        m_shown[reply.value()] = userInfo;
        if (m_shown.size() > size_t(maximumShownNotifications))
            m_shown.erase(m_shown.begin());
    });
}

void HXFreedesktopServices::_listen()
{
    if (m_listening)
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    m_listening = bus.connect(notificationsService, notificationsPath, notificationsService,
                              QStringLiteral("ActionInvoked"), this, SLOT(_actionInvoked(uint, QString)));
    bus.connect(notificationsService, notificationsPath, notificationsService, QStringLiteral("NotificationClosed"),
                this, SLOT(_notificationClosed(uint, uint)));
    bus.connect(notificationsService, notificationsPath, notificationsService, QStringLiteral("ActivationToken"), this,
                SLOT(_activationToken(uint, QString)));
}

void HXFreedesktopServices::_activationToken(uint identifier, const QString &token)
{
    // Sent just before the action: a Wayland compositor lets the window
    // that shows this token take the focus.
    if (m_shown.count(identifier) != 0 && !token.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
}

void HXFreedesktopServices::_actionInvoked(uint identifier, const QString &actionKey)
{
    // Every client hears every notification's actions: only ours are known.
    const auto shown = m_shown.find(identifier);
    if (shown == m_shown.end() || actionKey != u"default")
        return;
    const QVariantMap userInfo = shown->second;
    notificationActivated(userInfo);
}

void HXFreedesktopServices::_notificationClosed(uint identifier, uint reason)
{
    Q_UNUSED(reason);
    m_shown.erase(identifier);
}
