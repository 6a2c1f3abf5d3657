#include "HXJSONPrintingSettings.h"

#include "HXJSONPrinter.h"
#include "HXUserDefaults.h"

HXJSONPrintingSettings HXJSONPrintingSettings::fromUserDefaults(const HXUserDefaults &defaults)
{
    HXJSONPrintingSettings settings;
    settings.prettyPrint = defaults.boolForKey(QStringLiteral("HXUserDefaultJSONPrettyPrint"));
    settings.sortKeys = defaults.boolForKey(QStringLiteral("HXUserDefaultJSONSortKeys"));
    settings.indentWithSpaces = defaults.boolForKey(QStringLiteral("HXUserDefaultJSONIndentWithSpaces"));
    settings.indentSize = int(qBound<qint64>(0, defaults.integerForKey(QStringLiteral("HXUserDefaultJSONIndentSize")),
                                             qint64(maximumIndentSize)));
    settings.escapeForwardSlashes = defaults.boolForKey(QStringLiteral("HXUserDefaultJSONEscapeForwardSlashes"));
    settings.escapeUnicodeCharacters = defaults.boolForKey(QStringLiteral("HXUserDefaultJSONEscapeUnicodeCharacters"));
    return settings;
}

HXJSONPrintingSettings HXJSONPrintingSettings::fromStandardUserDefaults()
{
    return fromUserDefaults(HXUserDefaults::standardUserDefaults());
}

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
