#include "HXCLICommand.h"

#include <QFile>
#include <QRegularExpression>

#include <unistd.h>

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

QString maskedPasswords(const QString &text)
{
    // scheme://user:password@ -> scheme://user:***@
    static const QRegularExpression userInfo(QStringLiteral("([A-Za-z][A-Za-z0-9+.\\-]*://[^\\s/?#@:]*):[^\\s/?#@]*@"));
    QString masked = text;
    masked.replace(userInfo, QStringLiteral("\\1:***@"));
    return masked;
}

QByteArray escapedControlCharacters(const QByteArray &bytes)
{
    QByteArray out;
    out.reserve(bytes.size());
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const auto c = static_cast<unsigned char>(bytes.at(i));
        const bool lineEnd = c == '\n' || (c == '\r' && i + 1 < bytes.size() && bytes.at(i + 1) == '\n');
        if ((c < 0x20 && c != '\t' && !lineEnd) || c == 0x7F)
            out += "\\x" + QByteArray::number(c, 16).rightJustified(2, '0').toUpper();
        else
            out += char(c);
    }
    return out;
}

void writeServerText(const QByteArray &bytes)
{
    writeOut(escapedControlCharacters(bytes));
}

void writeServerBody(const QByteArray &bytes)
{
    writeOut(::isatty(STDOUT_FILENO) ? escapedControlCharacters(bytes) : bytes);
}

void writeOut(const QString &text)
{
    writeOut(escapedControlCharacters(maskedPasswords(text).toUtf8()));
}

void writeErr(const QString &text)
{
    const QByteArray bytes = escapedControlCharacters(maskedPasswords(text).toUtf8());
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
