#pragma once

#include <QString>

#include <curl/curl.h>

// The libcurl entry points Kea uses, resolved when first needed. Linked
// directly, libcurl and the libraries it pulls in (TLS, IDN, LDAP, Kerberos,
// SSH...) would cost every process start about as much as Qt Core does, and
// most runs never use them. Call sites go through api() instead of the plain
// functions.
class HXCurlLibrary
{
public:
    // The loaded library, or null when it cannot be loaded (then
    // loadError() says why). Thread-safe; loads once per process.
    static const HXCurlLibrary *load();
    static QString loadError();
    // For call sites reached only after a successful load().
    static const HXCurlLibrary &api() { return *load(); }

    decltype(&::curl_easy_cleanup) easyCleanup = nullptr;
    decltype(&::curl_easy_getinfo) easyGetinfo = nullptr;
    decltype(&::curl_easy_init) easyInit = nullptr;
    decltype(&::curl_easy_perform) easyPerform = nullptr;
    decltype(&::curl_easy_setopt) easySetopt = nullptr;
    decltype(&::curl_easy_strerror) easyStrerror = nullptr;
    decltype(&::curl_global_init) globalInit = nullptr;
    decltype(&::curl_multi_add_handle) multiAddHandle = nullptr;
    decltype(&::curl_multi_cleanup) multiCleanup = nullptr;
    decltype(&::curl_multi_info_read) multiInfoRead = nullptr;
    decltype(&::curl_multi_init) multiInit = nullptr;
    decltype(&::curl_multi_perform) multiPerform = nullptr;
    decltype(&::curl_multi_poll) multiPoll = nullptr;
    decltype(&::curl_multi_remove_handle) multiRemoveHandle = nullptr;
    decltype(&::curl_multi_strerror) multiStrerror = nullptr;
    decltype(&::curl_multi_wakeup) multiWakeup = nullptr;
    decltype(&::curl_share_cleanup) shareCleanup = nullptr;
    decltype(&::curl_share_init) shareInit = nullptr;
    decltype(&::curl_share_setopt) shareSetopt = nullptr;
    decltype(&::curl_slist_append) slistAppend = nullptr;
    decltype(&::curl_slist_free_all) slistFreeAll = nullptr;
};
