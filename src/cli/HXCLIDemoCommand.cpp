// kea-cli demo: writes a small document that shows what Kea does, aimed at
// Kea's echo service: a login whose token a second request uses through a
// response-derived value, a form POST, a multipart upload of a file, a
// redirect chain, and two environments that change who logs in.

#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXCLICommand.h"
#include "HXCLIDocumentAccess.h"
#include "HXDynamicValueEngine.h"
#include "HXEchoServiceAddress.h"
#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableDynamicValue.h"
#include "HXEnvironmentVariableValue.h"
#include "HXFileContentDynamicValue.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXResponseBodyPathDynamicValue.h"
#include "HXUndoManager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

class DemoBuilder
{
public:
    DemoBuilder(HXManagedObjectContext *context, quint16 port) : m_context(context), m_port(port) {}

    HXRequestGroup *folder(const QString &name, HXRequestGroup *parent, qint64 order)
    {
        auto *group = m_context->insertNewObject<HXRequestGroup>(QStringLiteral("HXRequestGroup"));
        group->setName(name);
        group->setParent(parent);
        group->setOrder(order);
        return group;
    }
    HXRequest *request(HXRequestGroup *parent, qint64 order, const QString &name, const QString &method,
                       const QString &path)
    {
        auto *request = m_context->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        request->setName(name);
        request->setMethod(method);
        request->setUrl(
            QStringLiteral("http://%1:%2%3").arg(QLatin1String(HXEchoServiceAddress::host)).arg(m_port).arg(path));
        request->setParent(parent);
        request->setOrder(order);
        return request;
    }
    void header(HXRequest *request, const QString &name, const QString &value)
    {
        HXKeyValue::addKeyValueName(name, value, QStringLiteral("request"), request);
    }

private:
    HXManagedObjectContext *m_context;
    quint16 m_port;
};

QString archived(const HXDynamicString &string)
{
    return HXDynamicValueEngine::archiveAttributedString(string);
}

int runDemo(const QStringList &arguments)
{
    const QString usage = QStringLiteral("usage: kea-cli demo FILE [--port N]");
    QString path;
    quint16 port = HXEchoServiceAddress::port;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == u"--port" && i + 1 < arguments.size()) {
            bool ok = false;
            port = arguments.at(++i).toUShort(&ok);
            if (!ok || port == 0)
                return HXCLI::usageError(usage);
        } else if (arguments.at(i).startsWith(u'-') || !path.isEmpty()) {
            return HXCLI::usageError(usage);
        } else {
            path = arguments.at(i);
        }
    }
    if (path.isEmpty())
        return HXCLI::usageError(usage);
    if (QFileInfo::exists(path))
        return HXCLI::usageError(
            QStringLiteral("%1: a file of that name already exists; choose another name or remove it first").arg(path));

    // The file the upload sends lives beside the document.
    const QString folderPath = QFileInfo(path).absolutePath();
    const QString avatarPath = QDir(folderPath).filePath(QStringLiteral("avatar.txt"));
    if (!QFileInfo::exists(avatarPath)) {
        QFile avatar(avatarPath);
        if (!avatar.open(QIODevice::WriteOnly) || avatar.write("a small file uploaded by Kea's demo\n") < 0)
            return HXCLI::usageError(QStringLiteral("%1: cannot write the demo's upload file").arg(avatarPath));
    }

    HXDocument document;
    HXManagedObjectContext *context = document.managedObjectContext();
    context->undoManager()->disableUndoRegistration();
    DemoBuilder build(context, port);

    // Two environments: the variable "user" decides who logs in.
    HXEnvironment *local = HXEnvironment::addEnvironment(QStringLiteral("Local"), context);
    HXEnvironment *staging = HXEnvironment::addEnvironment(QStringLiteral("Staging"), context);
    HXEnvironmentVariable *user = HXEnvironment::addEnvironmentVariable(QStringLiteral("user"), QString(), context);
    local->valueForVariable(user)->setValue(QStringLiteral("kea"));
    staging->valueForVariable(user)->setValue(QStringLiteral("staging-tester"));
    document.setCurrentEnvironment(local);

    HXRequestGroup *accounts = build.folder(QStringLiteral("Accounts"), nullptr, 0);
    HXKeyValue::addKeyValueName(QStringLiteral("Accept"), QStringLiteral("application/json"),
                                QStringLiteral("groupForHeaders"), accounts);

    HXRequest *login =
        build.request(accounts, 0, QStringLiteral("Log in"), QStringLiteral("POST"), QStringLiteral("/login"));
    build.header(login, QStringLiteral("Content-Type"), QStringLiteral("application/json"));
    auto userToken = HXDynamicValue::make<HXEnvironmentVariableDynamicValue>();
    userToken->setEnvironmentVariable(user);
    HXDynamicString loginBody(QStringLiteral("{\"user\": \""));
    loginBody.appendDynamicValue(userToken);
    loginBody.append(QStringLiteral("\", \"password\": \"secret\"}"));
    login->setBody(archived(loginBody));

    // The profile request sends the token the last login returned.
    HXRequest *profile =
        build.request(accounts, 1, QStringLiteral("Profile"), QStringLiteral("GET"), QStringLiteral("/bearer"));
    auto token = HXDynamicValue::make<HXResponseBodyPathDynamicValue>();
    token->setRequest(login);
    token->setKeyPath(QStringLiteral("token"));
    HXDynamicString bearer(QStringLiteral("Bearer "));
    bearer.appendDynamicValue(token);
    build.header(profile, QStringLiteral("Authorization"), archived(bearer));

    HXRequestGroup *forms = build.folder(QStringLiteral("Forms"), nullptr, 1);
    HXRequest *form =
        build.request(forms, 0, QStringLiteral("Post a form"), QStringLiteral("POST"), QStringLiteral("/post"));
    auto formBody = HXDynamicValue::make<HXBodyFormKeyValueDynamicValue>();
    formBody->setKeyValues({{QStringLiteral("name"), QStringLiteral("Kea"), true},
                            {QStringLiteral("language"), QStringLiteral("C++ & Qt"), true}});
    form->setBody(formBody->archivedString());

    HXRequest *upload =
        build.request(forms, 1, QStringLiteral("Upload a file"), QStringLiteral("POST"), QStringLiteral("/upload"));
    auto file = HXDynamicValue::make<HXFileContentDynamicValue>();
    file->setFilePath(avatarPath, folderPath);
    auto multipart = HXDynamicValue::make<HXBodyMultipartFormDataDynamicValue>();
    multipart->setKeyValues({{QStringLiteral("title"), QStringLiteral("My avatar"), true},
                             {QStringLiteral("avatar"), file->archivedString(), true}});
    upload->setBody(multipart->archivedString());

    build.request(nullptr, 2, QStringLiteral("Redirect chain"), QStringLiteral("GET"), QStringLiteral("/redirect/3"));
    build.request(nullptr, 3, QStringLiteral("Not found"), QStringLiteral("GET"), QStringLiteral("/status/404"));

    context->processPendingChanges();
    context->undoManager()->enableUndoRegistration();
    if (!HXCLI::saveDocumentOrReport(document, path))
        return HXCLIExitUsage;
    HXCLI::rememberSelectedEnvironment(document, local);
    return HXCLIExitSuccess;
}

const bool registered =
    HXCLICommandRegistry::add({QStringLiteral("demo"), QStringLiteral("demo FILE [--port N]"),
                               QStringLiteral("create a small demo document for Kea's echo service"), runDemo});

} // namespace
