#pragma once

#include <QByteArray>

// Quoting for POSIX shells (bash, zsh) of arguments that may hold any byte.
class HXShellQuoting
{
public:
    // One shell word that stands for exactly `bytes`: as it is when it holds
    // only characters that need no quoting, in single quotes when every byte
    // is printable ASCII ("it's" becomes 'it'\''s'), otherwise in $'...'
    // with \xHH for every byte outside printable ASCII. A NUL byte cannot be
    // passed in an argument at all: see printfFormat.
    static QByteArray quote(const QByteArray &bytes);
    // A quoted printf(1) format that prints exactly `bytes`, NUL included:
    // every byte outside printable ASCII as a three-digit octal escape, "%"
    // and "\" doubled.
    static QByteArray printfFormat(const QByteArray &bytes);
    // Whether every byte is printable ASCII (space to "~").
    static bool isPrintableASCII(const QByteArray &bytes);
};
