#include "HXHTTPRequestLibrary.h"

#include "HXASIHTTPRequest.h"
#include "HXGCDHTTPRequest.h"
#include "HXURLConnectionHTTPRequest.h"

#include <QCoreApplication>
#include <QMutex>

#include <vector>

namespace {

struct LibraryTable
{
    QMutex mutex;
    std::vector<HXHTTPRequestLibrary> libraries;
};

LibraryTable &libraryTable()
{
    static LibraryTable *table = [] {
        auto *created = new LibraryTable;
        created->libraries.push_back({QStringLiteral("GCDHTTPRequest"),
                                      QT_TRANSLATE_NOOP("HXHTTPRequest", "Kea HTTP/1.1"),
                                      [](const QUrl &url) -> std::unique_ptr<HXHTTPRequest> {
                                          return std::make_unique<HXGCDHTTPRequest>(url);
                                      }});
        created->libraries.push_back({QStringLiteral("ASIHTTPRequest"), QT_TRANSLATE_NOOP("HXHTTPRequest", "libcurl"),
                                      [](const QUrl &url) -> std::unique_ptr<HXHTTPRequest> {
                                          return std::make_unique<HXASIHTTPRequest>(url);
                                      }});
        created->libraries.push_back({QStringLiteral("URLConnection"), QT_TRANSLATE_NOOP("HXHTTPRequest", "Qt Network"),
                                      [](const QUrl &url) -> std::unique_ptr<HXHTTPRequest> {
                                          return std::make_unique<HXURLConnectionHTTPRequest>(url);
                                      }});
        return created;
    }();
    return *table;
}

} // namespace

QString HXHTTPRequestLibrary::localizedName() const
{
    return QCoreApplication::translate("HXHTTPRequest", displayName);
}

std::unique_ptr<HXHTTPRequest> HXHTTPRequestLibrary::createRequest(const QUrl &url) const
{
    if (factory)
        return factory(url);
    return HXHTTPRequestLibraries::library(QString()).createRequest(url);
}

const HXHTTPRequestLibrary &HXHTTPRequestLibraries::library(const QString &identifier)
{
    LibraryTable &table = libraryTable();
    QMutexLocker lock(&table.mutex);
    for (const HXHTTPRequestLibrary &library : table.libraries) {
        if (library.identifier == identifier)
            return library;
    }
    return table.libraries.front();
}

QList<const HXHTTPRequestLibrary *> HXHTTPRequestLibraries::all()
{
    LibraryTable &table = libraryTable();
    QMutexLocker lock(&table.mutex);
    QList<const HXHTTPRequestLibrary *> result;
    for (const HXHTTPRequestLibrary &library : table.libraries)
        result.append(&library);
    return result;
}

void HXHTTPRequestLibraries::registerFactory(const QString &identifier, HXHTTPRequestLibrary::Factory factory)
{
    LibraryTable &table = libraryTable();
    QMutexLocker lock(&table.mutex);
    for (HXHTTPRequestLibrary &library : table.libraries) {
        if (library.identifier == identifier)
            library.factory = std::move(factory);
    }
}
