// kea-cli echo: runs Kea's echo service in the foreground until the process
// is stopped.

#include "HXCLICommand.h"
#include "HXEchoService.h"

#include <QCoreApplication>

namespace {

const char echoUsage[] = "usage: kea-cli echo [--port N] [--host ADDRESS]";

int runEcho(const QStringList &arguments)
{
    QHostAddress address(QString::fromLatin1(HXEchoServiceAddress::host));
    quint16 port = HXEchoServiceAddress::port;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &option = arguments.at(i);
        if ((option == u"--port" || option == u"--host") && i + 1 < arguments.size()) {
            const QString value = arguments.at(++i);
            if (option == u"--port") {
                bool ok = false;
                const uint number = value.toUInt(&ok);
                if (!ok || number > 65535)
                    return HXCLI::usageError(
                        QStringLiteral("echo: a port is a number from 0 to 65535, not '%1'").arg(value));
                port = quint16(number);
            } else if (!address.setAddress(value)) {
                return HXCLI::usageError(QStringLiteral("echo: '%1' is not an IP address").arg(value));
            }
            continue;
        }
        return HXCLI::usageError(QString::fromLatin1(echoUsage));
    }
    HXEchoService service;
    if (auto listening = service.listen(address, port); !listening) {
        HXCLI::writeErr(QStringLiteral("kea-cli: echo: %1\n").arg(listening.error().description));
        return HXCLIExitFailure;
    }
    // The first line of output tells scripts (and --port 0 users) where to go.
    HXCLI::writeOut(QStringLiteral("Kea echo service listening on %1\n").arg(service.baseURL()));
    return QCoreApplication::exec() == 0 ? HXCLIExitSuccess : HXCLIExitFailure;
}

const bool registered = HXCLICommandRegistry::add(
    {QStringLiteral("echo"), QStringLiteral("echo [--port N] [--host ADDRESS]"),
     QStringLiteral("run Kea's echo service (127.0.0.1:8765 unless told otherwise) until stopped"), runEcho});

} // namespace
