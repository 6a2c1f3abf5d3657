#include "HXCLICommand.h"

#include <QFile>

#include <algorithm>

namespace {
std::vector<HXCLICommand> &registry()
{
    static std::vector<HXCLICommand> commands;
    return commands;
}
} // namespace

bool HXCLICommandRegistry::add(HXCLICommand command)
{
    registry().push_back(std::move(command));
    return true;
}

const std::vector<HXCLICommand> &HXCLICommandRegistry::commands()
{
    std::vector<HXCLICommand> &commands = registry();
    std::stable_sort(commands.begin(), commands.end(),
                     [](const HXCLICommand &a, const HXCLICommand &b) { return a.name < b.name; });
    return commands;
}

const HXCLICommand *HXCLICommandRegistry::find(const QString &name)
{
    for (const HXCLICommand &command : registry()) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

namespace HXCLI {

void writeOut(const QByteArray &bytes)
{
    if (!bytes.isEmpty())
        std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

void writeOut(const QString &text)
{
    writeOut(text.toUtf8());
}

void writeErr(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
    std::fflush(stderr);
}

int usageError(const QString &message)
{
    writeErr(QStringLiteral("kea-cli: ") + message + u'\n');
    return HXCLIExitUsage;
}

bool readInput(const QString &path, QByteArray &data, QString &error)
{
    QFile file;
    bool opened = false;
    if (path == u"-")
        opened = file.open(stdin, QIODevice::ReadOnly);
    else {
        file.setFileName(path);
        opened = file.open(QIODevice::ReadOnly);
    }
    if (!opened) {
        error = QStringLiteral("cannot read %1: %2")
                    .arg(path == u"-" ? QStringLiteral("standard input") : path, file.errorString());
        return false;
    }
    data = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

void printCommandHelp(const HXCLICommand &command)
{
    QString text = QStringLiteral("Usage: kea-cli %1\n\n%2.\n").arg(command.synopsis, command.summary);
    if (!command.help.isEmpty())
        text += u'\n' + command.help + (command.help.endsWith(u'\n') ? QString() : QStringLiteral("\n"));
    writeOut(text);
}

} // namespace HXCLI
