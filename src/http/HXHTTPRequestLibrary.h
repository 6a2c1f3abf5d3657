#pragma once

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

class HXHTTPRequest;

// One engine's description in the engine registry.
struct HXHTTPRequestLibrary
{
    using Factory = std::function<std::unique_ptr<HXHTTPRequest>(const QUrl &url)>;

    QString identifier;      // the stored identifier ("GCDHTTPRequest", ...)
    const char *displayName; // untranslated display name
    Factory factory;         // null while the engine is not part of the build

    QString libraryIdentifier() const { return identifier; }
    QString localizedName() const;
    bool isAvailable() const { return bool(factory); }
    // A new request of this engine; the own engine's when this one is not
    // available.
    std::unique_ptr<HXHTTPRequest> createRequest(const QUrl &url) const;
};

// The engine registry behind HXHTTPRequest::HTTPLibrary, libraries and
// registerLibraryFactory: the own engine, libcurl, Qt Network, in menu order.
namespace HXHTTPRequestLibraries {
const HXHTTPRequestLibrary &library(const QString &identifier);
QList<const HXHTTPRequestLibrary *> all();
void registerFactory(const QString &identifier, HXHTTPRequestLibrary::Factory factory);
} // namespace HXHTTPRequestLibraries
