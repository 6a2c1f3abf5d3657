#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Pretty-printing of XML bodies through libxml2.
class HXXMLString
{
public:
    // The text re-serialized with one element per line, indented by two
    // spaces; the text itself when it is not well-formed XML.
    static QString stringByPrettyPrintingXML(const QString &text);

    // XML re-serialized as UTF-8: indented by `indent` per level when
    // `format` is set, otherwise without added whitespace. The bytes are read
    // as `encoding`, or by their declaration when it is null. None when they
    // are not well-formed XML. No network access, no external entities.
    static std::optional<QByteArray> prettyPrintXML(const QByteArray &bytes, const QByteArray &indent = "  ",
                                                    bool format = true, const char *encoding = "UTF-8");
};
