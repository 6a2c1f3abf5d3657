#pragma once

#include "HXJSONPrintingSettings.h"

class HXUserDefaults;

// Reads the "HXUserDefaultJSON..." settings into the options of the JSON
// printer.
class HXJSONPrintingPreferences
{
public:
    static HXJSONPrintingSettings settingsFromUserDefaults(const HXUserDefaults &defaults);
    static HXJSONPrintingSettings standardSettings();
};
