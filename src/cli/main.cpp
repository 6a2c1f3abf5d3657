#include "HXCLICommand.h"
#include "HXRequestEvaluationContext.h"
#include "HXUserDefaults.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstring>

namespace {

void printHelp()
{
    QString text = QStringLiteral("Usage: kea-cli [--settings FILE] COMMAND [ARGS...]\n\n"
                                  "Kea's command-line front end: create and inspect request documents,\n"
                                  "send requests, show responses.\n\nCommands:\n");
    for (const HXCLICommand &command : HXCLICommandRegistry::commands())
        text += QStringLiteral("  %1\n      %2\n").arg(command.synopsis, command.summary);
    text += QStringLiteral("\nOptions:\n"
                           "  --help            show this help\n"
                           "  --version         show the version\n"
                           "  --settings FILE   read and write settings in FILE instead of the user's\n"
                           "\nExit status:\n"
                           "  0   success\n"
                           "  1   the command ran and what it did failed: a request got no response (or,\n"
                           "      with send --fail, a 4xx or 5xx one), engines disagreed, a report or the\n"
                           "      responses could not be written\n"
                           "  2   bad usage, or a file that is missing, unreadable or malformed\n");
    HXCLI::writeOut(text);
}

} // namespace

int main(int argc, char *argv[])
{
    // Answered before anything is set up: scripts ask this often.
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::fputs("kea-cli " KEA_VERSION_STRING "\n", stdout);
        return HXCLIExitSuccess;
    }
    // Qt's own event loop rather than GLib's: nothing here needs GLib's, and
    // Qt's wakes itself once per batch of queued work, not once per item.
    qputenv("QT_NO_GLIB", "1");
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("kestrelworks"));
    QCoreApplication::setApplicationName(QStringLiteral("Kea"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KEA_VERSION_STRING));
    HXUserDefaults::registerApplicationDefaults();
    HXRequestEvaluationContext::installDefaultContextFactory();

    QStringList arguments = app.arguments().mid(1);
    while (!arguments.isEmpty()) {
        const QString first = arguments.first();
        if (first == u"--help" || first == u"-h" || first == u"help") {
            printHelp();
            return HXCLIExitSuccess;
        }
        if (first == u"--version") {
            HXCLI::writeOut(QStringLiteral("kea-cli %1\n").arg(QCoreApplication::applicationVersion()));
            return HXCLIExitSuccess;
        }
        if (first == u"--settings") {
            if (arguments.size() < 2)
                return HXCLI::usageError(QStringLiteral("--settings needs a file"));
            HXUserDefaults::standardUserDefaults().useSettingsFile(arguments.at(1));
            arguments = arguments.mid(2);
            continue;
        }
        break;
    }
    if (arguments.isEmpty()) {
        printHelp();
        return HXCLIExitUsage;
    }

    const QString name = arguments.takeFirst();
    const HXCLICommand *command = HXCLICommandRegistry::find(name);
    if (command == nullptr)
        return HXCLI::usageError(QStringLiteral("unknown command '%1' (see kea-cli --help)").arg(name));
    if (arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"))) {
        HXCLI::printCommandHelp(*command);
        return HXCLIExitSuccess;
    }
    const int status = command->run(arguments);
    HXUserDefaults::standardUserDefaults().synchronize();
    return status;
}
