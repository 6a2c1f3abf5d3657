#include "HXDynamicValueCatalogue.h"

// One #include and one registerKind() call per kind built into Kea. Keeping
// the calls here (rather than in static initialisers of the kinds' own files)
// makes the linker keep every kind's object file from the static kea_core
// library.

void HXDynamicValueCatalogue::registerBuiltInKinds() {}
