#include "HXJSONPrintingPreferences.h"

#include "HXUserDefaults.h"

HXJSONPrintingSettings HXJSONPrintingPreferences::settingsFromUserDefaults(const HXUserDefaults &defaults)
{
    HXJSONPrintingSettings settings;
    settings.prettyPrint = defaults.boolForKey(QStringLiteral("HXUserDefaultJSONPrettyPrint"));
    settings.sortKeys = defaults.boolForKey(QStringLiteral("HXUserDefaultJSONSortKeys"));
    settings.indentWithSpaces = defaults.boolForKey(QStringLiteral("HXUserDefaultJSONIndentWithSpaces"));
    settings.indentSize = int(qBound<qint64>(0, defaults.integerForKey(QStringLiteral("HXUserDefaultJSONIndentSize")),
                                             qint64(HXJSONPrintingSettings::maximumIndentSize)));
    settings.escapeForwardSlashes = defaults.boolForKey(QStringLiteral("HXUserDefaultJSONEscapeForwardSlashes"));
    settings.escapeUnicodeCharacters = defaults.boolForKey(QStringLiteral("HXUserDefaultJSONEscapeUnicodeCharacters"));
    return settings;
}

HXJSONPrintingSettings HXJSONPrintingPreferences::standardSettings()
{
    return settingsFromUserDefaults(HXUserDefaults::standardUserDefaults());
}
