#include "HXModelLogging.h"

Q_LOGGING_CATEGORY(lcKeaModel, "kea.model")
