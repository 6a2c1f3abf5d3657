#include "HXDocumentLogging.h"

Q_LOGGING_CATEGORY(lcKeaDocument, "kea.document")
