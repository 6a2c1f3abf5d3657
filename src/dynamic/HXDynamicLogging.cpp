#include "HXDynamicLogging.h"

Q_LOGGING_CATEGORY(lcKeaDynamic, "kea.dynamic")
