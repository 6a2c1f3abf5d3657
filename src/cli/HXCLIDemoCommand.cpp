#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXEnvironment.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"

#include <QFileInfo>

namespace {

HXRequest *addRequest(HXManagedObjectContext *context, HXRequestGroup *folder, int order, const QString &name,
                      const QString &method, const QString &url)
{
    auto *request = context->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
    request->setName(name);
    request->setMethod(method);
    request->setUrl(url);
    request->setParent(folder);
    request->setOrder(order);
    return request;
}

void addHeader(HXManagedObjectContext *context, HXRequest *request, quint64 order, const QString &name,
               const QString &value)
{
    auto *row = context->insertNewObject<HXKeyValue>(QStringLiteral("HXKeyValue"));
    row->setName(name);
    row->setValue(value);
    row->setOrder(order);
    row->setRequest(request);
}

int runDemo(const QStringList &arguments)
{
    if (arguments.size() != 1 || arguments.first().startsWith(u'-'))
        return HXCLI::usageError(QStringLiteral("usage: kea-cli demo FILE"));
    const QString path = arguments.first();
    if (QFileInfo::exists(path))
        return HXCLI::usageError(
            QStringLiteral("%1: a file of that name already exists; choose another name or remove it first").arg(path));

    HXDocument document;
    HXManagedObjectContext *context = document.managedObjectContext();
    const QString base = QStringLiteral("http://127.0.0.1:8765");

    auto *accounts = context->insertNewObject<HXRequestGroup>(QStringLiteral("HXRequestGroup"));
    accounts->setName(QStringLiteral("Accounts"));
    accounts->setOrder(0);
    HXRequest *login = addRequest(context, accounts, 0, QStringLiteral("Log in"), QStringLiteral("POST"),
                                  base + QStringLiteral("/login"));
    addHeader(context, login, 0, QStringLiteral("Content-Type"), QStringLiteral("application/json"));
    login->setBody(QStringLiteral("{\"user\": \"kea\", \"password\": \"secret\"}"));
    HXRequest *profile = addRequest(context, accounts, 1, QStringLiteral("Profile"), QStringLiteral("GET"),
                                    base + QStringLiteral("/profile"));
    addHeader(context, profile, 0, QStringLiteral("Accept"), QStringLiteral("application/json"));

    auto *uploads = context->insertNewObject<HXRequestGroup>(QStringLiteral("HXRequestGroup"));
    uploads->setName(QStringLiteral("Uploads"));
    uploads->setParent(accounts);
    uploads->setOrder(2);
    addRequest(context, uploads, 0, QStringLiteral("Upload avatar"), QStringLiteral("PUT"),
               base + QStringLiteral("/avatar"));

    addRequest(context, nullptr, 1, QStringLiteral("Redirect chain"), QStringLiteral("GET"),
               base + QStringLiteral("/redirect/3"));
    addRequest(context, nullptr, 2, QStringLiteral("Status 404"), QStringLiteral("GET"),
               base + QStringLiteral("/status/404"));

    auto *environment = context->insertNewObject<HXEnvironment>(QStringLiteral("HXEnvironment"));
    environment->setName(QStringLiteral("Default"));
    context->processPendingChanges();
    return HXCLI::saveDocumentOrReport(document, path) ? HXCLIExitSuccess : HXCLIExitUsage;
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("demo"), QStringLiteral("demo FILE"), QStringLiteral("create a small demo document"), runDemo});

} // namespace
