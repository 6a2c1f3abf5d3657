#include "HXCLIDocumentAccess.h"

#include "HXCLICommand.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironment.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXUIPreferencesManager.h"

#include <QJsonDocument>

#include <QFile>
#include <QSet>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Holds an advisory lock on the document file at `path` until the process
// ends, so that two kea-cli runs never read, change and write one document
// at the same time: the second waits for the first. A save replaces the file
// with a new one, so the lock is taken again when the path names another
// file once it is granted. Nothing is locked when the file cannot be opened
// (opening it then reports why).
void lockDocumentFile(const QString &path)
{
    static QSet<QString> locked;
    const QByteArray file = QFile::encodeName(path);
    for (int attempt = 0; attempt < 100; ++attempt) {
        const int fd = ::open(file.constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return;
        struct stat opened
        {};
        if (::fstat(fd, &opened) != 0) {
            ::close(fd);
            return;
        }
        const QString key = QStringLiteral("%1:%2").arg(opened.st_dev).arg(opened.st_ino);
        if (locked.contains(key)) {
            ::close(fd);
            return;
        }
        int result;
        while ((result = ::flock(fd, LOCK_EX)) != 0 && errno == EINTR) {
        }
        struct stat current
        {};
        if (result != 0 || (::stat(file.constData(), &current) == 0 && current.st_dev == opened.st_dev &&
                            current.st_ino == opened.st_ino)) {
            // Locked (or locks are not supported here); kept open until exit.
            locked.insert(key);
            return;
        }
        ::close(fd);
    }
}

} // namespace

namespace HXCLI {

std::unique_ptr<HXDocument> openDocumentOrReport(const QString &path, bool toChange)
{
    if (toChange)
        lockDocumentFile(path);
    auto document = HXDocument::openDocument(path);
    if (!document) {
        writeErr(QStringLiteral("kea-cli: %1\n").arg(document.error().description));
        return nullptr;
    }
    if ((*document)->wasChangedOutsideKea())
        writeErr(QStringLiteral("kea-cli: note: %1 was changed outside Kea (its checksum does not match); it was "
                                "opened as it is\n")
                     .arg(path));
    return std::move(document).value();
}

bool saveDocumentOrReport(HXDocument &document, const QString &path)
{
    auto saved = document.saveAs(path);
    if (!saved)
        writeErr(QStringLiteral("kea-cli: %1\n").arg(saved.error().description));
    return saved.ok();
}

namespace {

QList<HXRequestTreeItem *> childrenOf(HXDocument &document, HXRequestGroup *folder)
{
    return folder != nullptr ? HXDocument::sortedItems(folder->children()) : document.topLevelItems();
}

void collectRequests(HXDocument &document, HXRequestGroup *folder, QList<HXRequest *> &found)
{
    for (HXRequestTreeItem *item : childrenOf(document, folder)) {
        if (auto *group = dynamic_cast<HXRequestGroup *>(item))
            collectRequests(document, group, found);
        else if (auto *request = dynamic_cast<HXRequest *>(item))
            found.append(request);
    }
}

} // namespace

QList<HXRequest *> allRequests(HXDocument &document)
{
    QList<HXRequest *> requests;
    collectRequests(document, nullptr, requests);
    return requests;
}

QString itemPath(const HXRequestTreeItem *item)
{
    QStringList names;
    for (; item != nullptr; item = item->parent())
        names.prepend(item->name());
    return names.join(u'/');
}

HXRequest *findRequest(HXDocument &document, const QString &reference, QString &error)
{
    if (HXRequest *byUUID = HXRequest::requestWithUUID(reference, document.managedObjectContext()))
        return byUUID;
    if (HXRequest *byUpperUUID = HXRequest::requestWithUUID(reference.toUpper(), document.managedObjectContext()))
        return byUpperUUID;
    const qsizetype slash = reference.lastIndexOf(u'/');
    if (slash > 0) {
        if (HXRequestGroup *folder = findFolder(document, reference.left(slash), false)) {
            for (HXRequestTreeItem *item : childrenOf(document, folder)) {
                auto *request = dynamic_cast<HXRequest *>(item);
                if (request != nullptr && request->name() == reference.mid(slash + 1))
                    return request;
            }
        }
    }
    QList<HXRequest *> named = allRequests(document);
    named.removeIf([&reference](const HXRequest *request) { return request->name() != reference; });
    if (named.size() == 1)
        return named.first();
    if (named.isEmpty())
        error = QStringLiteral("no request '%1' (give its name, its folder path like Folder/Name, or its uuid)")
                    .arg(reference);
    else
        error = QStringLiteral("%1 requests are named '%2'; give the folder path (Folder/Name) or the uuid")
                    .arg(named.size())
                    .arg(reference);
    return nullptr;
}

HXRequestGroup *findFolder(HXDocument &document, const QString &path, bool create)
{
    HXRequestGroup *folder = nullptr;
    const QStringList names = path.split(u'/', Qt::SkipEmptyParts);
    if (names.isEmpty())
        return nullptr;
    for (const QString &name : names) {
        const QList<HXRequestTreeItem *> children = childrenOf(document, folder);
        HXRequestGroup *next = nullptr;
        for (HXRequestTreeItem *item : children) {
            auto *group = dynamic_cast<HXRequestGroup *>(item);
            if (group != nullptr && group->name() == name) {
                next = group;
                break;
            }
        }
        if (next == nullptr) {
            if (!create)
                return nullptr;
            next = document.managedObjectContext()->insertNewObject<HXRequestGroup>(HXRequestGroup::staticEntityName());
            next->setName(name);
            next->setOrderAndParent(folder, children.isEmpty() ? nullptr : children.last());
        }
        folder = next;
    }
    return folder;
}

QString storedDynamicString(const QString &given)
{
    QJsonParseError error;
    const QJsonDocument json = QJsonDocument::fromJson(given.toUtf8(), &error);
    if (error.error == QJsonParseError::NoError && json.isArray())
        return given;
    return HXDynamicValueEngine::archiveAttributedString(HXDynamicString(given));
}

HXEnvironment *environmentNamed(HXDocument &document, const QString &name)
{
    for (HXEnvironment *environment : HXEnvironment::environmentsSortedByName(document.managedObjectContext())) {
        if (environment->name() == name)
            return environment;
    }
    return nullptr;
}

bool useEnvironmentOrReport(HXDocument &document, const QString &name, const QString &command, const QString &path)
{
    if (name.isEmpty()) {
        restoreSelectedEnvironment(document);
        return true;
    }
    HXEnvironment *environment = environmentNamed(document, name);
    if (environment == nullptr) {
        usageError(QStringLiteral("%1: no environment '%2' in %3").arg(command, name, path));
        return false;
    }
    document.setCurrentEnvironment(environment);
    return true;
}

HXEnvironment *restoreSelectedEnvironment(HXDocument &document)
{
    HXEnvironment *environment = HXUIPreferencesManager::sharedManager()->selectedEnvironmentForDocument(&document);
    if (environment == nullptr) {
        const QList<HXEnvironment *> all = HXEnvironment::environmentsSortedByName(document.managedObjectContext());
        environment = all.isEmpty() ? nullptr : all.first();
    }
    document.setCurrentEnvironment(environment);
    return environment;
}

void rememberSelectedEnvironment(const HXDocument &document, const HXEnvironment *environment)
{
    HXUIPreferencesManager *preferences = HXUIPreferencesManager::sharedManager();
    preferences->setSelectedEnvironment(environment, &document);
    preferences->saveUpdates();
}

} // namespace HXCLI
