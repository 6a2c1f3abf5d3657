#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// The words of shell command lines as bash would split them, for commands
// people paste (cURL commands copied from browsers and documentation):
// blanks separate words; '...' is literal; "..." keeps everything but
// \\, \", \$, \` and \newline; $'...' knows \n, \t, \r, \e, \xHH, \NNN,
// \uHHHH, \\ and \'; a backslash elsewhere quotes the next character and a
// backslash before a line break joins the lines. Unquoted ";", "|", "&&"
// and line breaks end a command; a line starting with "#" is a comment. No
// expansion happens: "$HOME" stays as written.
class HXShellWords
{
public:
    struct Command
    {
        QStringList words;
        // The last comment line right before the command, without "#".
        QString comment;
        // Set when something after the command on its line (a pipe, a
        // redirection) was left out.
        QString ignored;
    };
    // The commands of `text`; false with a one-line `error` for an unclosed
    // quote.
    static bool split(const QString &text, QList<Command> &commands, QString &error);
};
