#include "HXDesktopServices.h"

namespace {

// What a process gets unless it installs real services: nothing happens.
// Command line tools and tests keep it; the application installs
// HXFreedesktopServices.
class HXSilentDesktopServices : public HXDesktopServices
{
public:
    void playSound(const QString &) override {}
    void deliverNotification(const QString &, const QString &, const QVariantMap &) override {}
};

HXDesktopServices *g_services = nullptr;

} // namespace

HXDesktopServices *HXDesktopServices::sharedServices()
{
    static HXSilentDesktopServices silentServices;
    return g_services != nullptr ? g_services : &silentServices;
}

void HXDesktopServices::setSharedServices(HXDesktopServices *services)
{
    g_services = services;
}
