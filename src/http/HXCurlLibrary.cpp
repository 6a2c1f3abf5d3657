#include "HXCurlLibrary.h"

#include <dlfcn.h>

#include <type_traits>

namespace {

struct Loaded
{
    HXCurlLibrary library;
    bool ok = false;
    QString error;
};

Loaded loadLibrary()
{
    Loaded loaded;
    // Kept open for the rest of the process: handles live in static objects.
    void *handle = ::dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        loaded.error = QString::fromLocal8Bit(::dlerror());
        return loaded;
    }
    QString missing;
    auto resolve = [&](auto &entry, const char *name) {
        entry = reinterpret_cast<std::remove_reference_t<decltype(entry)>>(::dlsym(handle, name));
        if (entry == nullptr && missing.isEmpty())
            missing = QString::fromLatin1(name);
    };
    HXCurlLibrary &library = loaded.library;
    resolve(library.easyCleanup, "curl_easy_cleanup");
    resolve(library.easyGetinfo, "curl_easy_getinfo");
    resolve(library.easyInit, "curl_easy_init");
    resolve(library.easyPerform, "curl_easy_perform");
    resolve(library.easySetopt, "curl_easy_setopt");
    resolve(library.easyStrerror, "curl_easy_strerror");
    resolve(library.globalInit, "curl_global_init");
    resolve(library.multiAddHandle, "curl_multi_add_handle");
    resolve(library.multiCleanup, "curl_multi_cleanup");
    resolve(library.multiInfoRead, "curl_multi_info_read");
    resolve(library.multiInit, "curl_multi_init");
    resolve(library.multiPerform, "curl_multi_perform");
    resolve(library.multiPoll, "curl_multi_poll");
    resolve(library.multiRemoveHandle, "curl_multi_remove_handle");
    resolve(library.multiStrerror, "curl_multi_strerror");
    resolve(library.multiWakeup, "curl_multi_wakeup");
    resolve(library.shareCleanup, "curl_share_cleanup");
    resolve(library.shareInit, "curl_share_init");
    resolve(library.shareSetopt, "curl_share_setopt");
    resolve(library.slistAppend, "curl_slist_append");
    resolve(library.slistFreeAll, "curl_slist_free_all");
    if (!missing.isEmpty()) {
        loaded.error = QStringLiteral("libcurl.so.4 has no %1").arg(missing);
        return loaded;
    }
    loaded.ok = true;
    return loaded;
}

const Loaded &shared()
{
    static const Loaded loaded = loadLibrary();
    return loaded;
}

} // namespace

const HXCurlLibrary *HXCurlLibrary::load()
{
    const Loaded &loaded = shared();
    return loaded.ok ? &loaded.library : nullptr;
}

QString HXCurlLibrary::loadError()
{
    return shared().error;
}
