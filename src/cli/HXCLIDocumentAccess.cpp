#include "HXCLIDocumentAccess.h"

#include "HXCLICommand.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironment.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXUIPreferencesManager.h"

#include <QJsonDocument>

namespace HXCLI {

std::unique_ptr<HXDocument> openDocumentOrReport(const QString &path)
{
    auto document = HXDocument::openDocument(path);
    if (!document) {
        writeErr(QStringLiteral("kea-cli: %1\n").arg(document.error().description));
        return nullptr;
    }
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
