#pragma once

#include <QByteArray>

// A JSON text without the white space between its tokens (strings kept as
// written): what the printer gives with its default settings.
inline QByteArray HXJSONWithoutWhitespace(const QByteArray &text)
{
    QByteArray result;
    bool inString = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char c = text.at(i);
        if (inString) {
            result += c;
            if (c == '\\' && i + 1 < text.size())
                result += text.at(++i);
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
            result += c;
        } else if (c != ' ' && c != '\t' && c != '\n' && c != '\r') {
            result += c;
        }
    }
    return result;
}
