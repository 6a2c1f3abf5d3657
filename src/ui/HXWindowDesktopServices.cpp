#include "HXWindowDesktopServices.h"

#include <QApplication>
#include <QStandardPaths>

void HXWindowDesktopServices::playSound(const QString &soundName)
{
    static const bool hasPlayer = !QStandardPaths::findExecutable(QStringLiteral("canberra-gtk-play")).isEmpty();
    if (hasPlayer)
        HXFreedesktopServices::playSound(soundName);
    else
        QApplication::beep();
}

bool HXWindowDesktopServices::shouldNotify()
{
    return QApplication::activeWindow() == nullptr;
}

void HXWindowDesktopServices::deliverNotification(const QString &title, const QString &text,
                                                  const QVariantMap &userInfo)
{
    if (shouldNotify())
        HXFreedesktopServices::deliverNotification(title, text, userInfo);
}
