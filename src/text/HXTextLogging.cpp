#include "HXTextLogging.h"

Q_LOGGING_CATEGORY(lcKeaText, "kea.text")
