#include "HXShellWords.h"

namespace {

int hexValue(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    return -1;
}

// Reads $'...' from just after the opening quote; returns the position after
// the closing quote, or -1 when it is not closed. Bytes from \x and octal
// escapes are collected as UTF-8.
qsizetype readANSIQuoted(const QString &text, qsizetype i, QString &word)
{
    QByteArray bytes;
    auto flush = [&] {
        word += QString::fromUtf8(bytes);
        bytes.clear();
    };
    while (i < text.size()) {
        const QChar c = text.at(i);
        if (c == u'\'') {
            flush();
            return i + 1;
        }
        if (c != u'\\' || i + 1 >= text.size()) {
            flush();
            word += c;
            ++i;
            continue;
        }
        const QChar e = text.at(i + 1);
        i += 2;
        switch (e.unicode()) {
        case u'n':
            bytes += '\n';
            break;
        case u't':
            bytes += '\t';
            break;
        case u'r':
            bytes += '\r';
            break;
        case u'e':
        case u'E':
            bytes += '\x1b';
            break;
        case u'a':
            bytes += '\a';
            break;
        case u'b':
            bytes += '\b';
            break;
        case u'f':
            bytes += '\f';
            break;
        case u'v':
            bytes += '\v';
            break;
        case u'x': {
            int value = 0;
            int digits = 0;
            while (digits < 2 && i < text.size() && hexValue(text.at(i)) >= 0)
                value = value * 16 + hexValue(text.at(i++)), ++digits;
            bytes += char(value);
            break;
        }
        case u'u': {
            uint value = 0;
            int digits = 0;
            while (digits < 4 && i < text.size() && hexValue(text.at(i)) >= 0)
                value = value * 16 + uint(hexValue(text.at(i++))), ++digits;
            flush();
            word += QChar(char16_t(value));
            break;
        }
        default:
            if (e >= u'0' && e <= u'7') {
                int value = e.unicode() - u'0';
                int digits = 1;
                while (digits < 3 && i < text.size() && text.at(i) >= u'0' && text.at(i) <= u'7')
                    value = value * 8 + (text.at(i++).unicode() - u'0'), ++digits;
                bytes += char(value);
            } else {
                flush();
                word += e;
            }
        }
    }
    return -1;
}

} // namespace

bool HXShellWords::split(const QString &text, QList<Command> &commands, QString &error)
{
    Command command;
    QString word;
    bool inWord = false;
    bool skipping = false; // after a pipe or redirection, to the end of the command
    QString comment;
    auto endWord = [&] {
        if (inWord && !skipping)
            command.words.append(word);
        word.clear();
        inWord = false;
    };
    auto endCommand = [&] {
        endWord();
        if (!command.words.isEmpty()) {
            command.comment = comment;
            commands.append(command);
            comment.clear();
        }
        command = Command();
        skipping = false;
    };
    qsizetype i = 0;
    while (i < text.size()) {
        const QChar c = text.at(i);
        if (skipping && c != u'\n' && c != u';') {
            command.ignored += c;
            ++i;
            continue;
        }
        if (c == u'#' && !inWord) {
            const qsizetype end = text.indexOf(u'\n', i);
            const QString line = text.mid(i + 1, end < 0 ? -1 : end - i - 1).trimmed();
            if (command.words.isEmpty())
                comment = line;
            i = end < 0 ? text.size() : end;
            continue;
        }
        if (c == u'\\' && i + 1 < text.size()) {
            const QChar next = text.at(i + 1);
            if (next == u'\n') {
                i += 2;
                continue;
            }
            if (next == u'\r' && i + 2 < text.size() && text.at(i + 2) == u'\n') {
                i += 3;
                continue;
            }
            word += next;
            inWord = true;
            i += 2;
            continue;
        }
        if (c == u'\'') {
            const qsizetype close = text.indexOf(u'\'', i + 1);
            if (close < 0) {
                error = QStringLiteral("a single quote opened at character %1 is never closed").arg(i + 1);
                return false;
            }
            word += text.mid(i + 1, close - i - 1);
            inWord = true;
            i = close + 1;
            continue;
        }
        if (c == u'$' && i + 1 < text.size() && text.at(i + 1) == u'\'') {
            const qsizetype after = readANSIQuoted(text, i + 2, word);
            if (after < 0) {
                error = QStringLiteral("a $'...' quote opened at character %1 is never closed").arg(i + 1);
                return false;
            }
            inWord = true;
            i = after;
            continue;
        }
        if (c == u'"') {
            qsizetype j = i + 1;
            for (; j < text.size() && text.at(j) != u'"'; ++j) {
                if (text.at(j) == u'\\' && j + 1 < text.size()) {
                    const QChar e = text.at(j + 1);
                    if (e == u'\\' || e == u'"' || e == u'$' || e == u'`') {
                        word += e;
                        ++j;
                        continue;
                    }
                    if (e == u'\n') {
                        ++j;
                        continue;
                    }
                }
                word += text.at(j);
            }
            if (j >= text.size()) {
                error = QStringLiteral("a double quote opened at character %1 is never closed").arg(i + 1);
                return false;
            }
            inWord = true;
            i = j + 1;
            continue;
        }
        if (c == u'\n' || c == u';') {
            endCommand();
            ++i;
            continue;
        }
        if (c == u'&' && i + 1 < text.size() && text.at(i + 1) == u'&') {
            endCommand();
            i += 2;
            continue;
        }
        if (c == u'|' || c == u'>' || c == u'<') {
            endWord();
            skipping = true;
            command.ignored += c;
            ++i;
            continue;
        }
        if (c.isSpace()) {
            endWord();
            ++i;
            continue;
        }
        word += c;
        inWord = true;
        ++i;
    }
    endCommand();
    return true;
}
