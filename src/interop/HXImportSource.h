#pragma once

#include "HXInteropCollection.h"
#include "HXResult.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

// Reading a file to import: its format, told or recognised, and the
// collection in it. Errors say what is wrong and where, in one line.
class HXImportSource
{
public:
    enum class Format { Automatic, Curl, Postman, HAR, OpenAPI };
    // Larger files are refused before they are parsed.
    static constexpr qsizetype maximumSize = 8 * 1024 * 1024;

    // "curl", "postman", "har", "openapi" (or "auto"); none for other names.
    static std::optional<Format> formatNamed(const QString &name);
    static QStringList formatNames();

    // The collection in `data`. Automatic recognises JSON (a Postman
    // collection or environment, a HAR log, an OpenAPI description) and cURL
    // command lines; YAML is recognised only to say that it is not read.
    static HXResult<HXInteropCollection> read(const QByteArray &data, Format format = Format::Automatic);
};
