#include "HXJSONPrintingSettings.h"

#include "HXJSONPrinter.h"

QString HXJSONPrintingSettings::indentString() const
{
    if (!indentWithSpaces)
        return QStringLiteral("\t");
    return QString(qBound(0, indentSize, maximumIndentSize), u' ');
}

uint HXJSONPrintingSettings::stringOptions() const
{
    return (escapeUnicodeCharacters ? 0x1u : 0x2u) | (escapeForwardSlashes ? 0x10u : 0x20u);
}

void HXJSONPrintingSettings::configure(HXJSONPrinter &printer) const
{
    printer.setNewlines(prettyPrint);
    printer.setIndentString(prettyPrint ? indentString() : QString());
    printer.setKeyValueSeparator(prettyPrint ? QStringLiteral(": ") : QStringLiteral(":"));
    printer.setObjectSeparator(QStringLiteral(","));
    printer.setSortDictKeys(sortKeys);
    printer.setStringOptions(stringOptions());
}
