#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdio>
#include <functional>
#include <vector>

// Exit statuses shared by every kea-cli command.
enum HXCLIExitStatus : int {
    HXCLIExitSuccess = 0,
    HXCLIExitFailure = 1, // the command ran, and what it did failed (a request, a comparison)
    HXCLIExitUsage = 2,   // bad usage, or a file that is missing, unreadable or malformed
};

// One kea-cli subcommand. `run` gets the arguments after the command's name.
struct HXCLICommand
{
    QString name;
    QString synopsis; // one line for --help: "format json|xml [options] [FILE|-]"
    QString summary;  // what it does, one short sentence
    std::function<int(const QStringList &arguments)> run;
    QString help; // what "kea-cli COMMAND --help" adds below the synopsis: options, examples
};

// The commands, in the order they registered. Each command's source file
// registers it with a file-scope `static const bool` initialiser:
//   static const bool registered = HXCLICommandRegistry::add({...});
class HXCLICommandRegistry
{
public:
    static bool add(HXCLICommand command);
    static const std::vector<HXCLICommand> &commands();
    static const HXCLICommand *find(const QString &name);
};

// Output helpers: stdout carries results (bytes exactly as produced), stderr
// carries messages. Every write is flushed before the process exits.
//
// Text (QString) is shown safely: the password of any URL in it is masked
// ("user:***@"), and control characters other than tab and line ends are
// written as escapes ("\x1B"), so that nothing in a document or from a
// server can drive the terminal.
namespace HXCLI {
void writeOut(const QByteArray &bytes);
void writeOut(const QString &text); // UTF-8
void writeErr(const QString &text); // UTF-8; add the newline yourself
// A server's header or status text: control characters always escaped.
void writeServerText(const QByteArray &bytes);
// A server's body: exactly as received, or with control characters escaped
// when standard output is a terminal.
void writeServerBody(const QByteArray &bytes);
// `text` with the password of every URL replaced by "***".
QString maskedPasswords(const QString &text);
// `bytes` with control characters other than tab, line feed and a carriage
// return before a line feed written as "\xHH".
QByteArray escapedControlCharacters(const QByteArray &bytes);
// "kea-cli: <message>\n" on stderr and returns HXCLIExitUsage.
int usageError(const QString &message);
// Reads a whole file, or standard input for "-". On failure returns false and
// sets `error` to a one-line message naming the file.
bool readInput(const QString &path, QByteArray &data, QString &error);
// Prints the command's synopsis, summary and help.
void printCommandHelp(const HXCLICommand &command);
} // namespace HXCLI
