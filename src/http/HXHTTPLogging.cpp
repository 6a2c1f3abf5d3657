#include "HXHTTPLogging.h"

Q_LOGGING_CATEGORY(lcKeaHttp, "kea.http", QtWarningMsg)
