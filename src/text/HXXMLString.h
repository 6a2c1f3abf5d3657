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

    // UTF-8 XML re-serialized as UTF-8: indented by `indent` per level when
    // `format` is set, otherwise without added whitespace. None when the
    // bytes are not well-formed XML. No network access, no external entities.
    static std::optional<QByteArray> prettyPrintXML(const QByteArray &utf8, const QByteArray &indent = "  ",
                                                    bool format = true);
};
