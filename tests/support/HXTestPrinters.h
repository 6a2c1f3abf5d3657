#pragma once

#include <QByteArray>
#include <QString>

#include <ostream>

// Readable Qt strings in GoogleTest failure messages.
inline void PrintTo(const QString &string, std::ostream *out)
{
    *out << '"' << string.toStdString() << '"';
}

inline void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    *out << '"' << bytes.toStdString() << '"';
}
