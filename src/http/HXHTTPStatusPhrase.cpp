#include "HXHTTPStatusPhrase.h"

#include <QCoreApplication>

#include <algorithm>
#include <map>

QString HXHTTPStatusPhrase::localizedStringForStatusCode(qint64 statusCode)
{
    static const std::map<qint64, const char *> phrases = {
        {100, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "continue")},
        {101, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "switching protocols")},
        {200, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "no error")},
        {201, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "created")},
        {202, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "accepted")},
        {203, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "non-authoritative information")},
        {204, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "no content")},
        {205, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "reset content")},
        {206, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "partial content")},
        {300, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "multiple choices")},
        {301, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "moved permanently")},
        {302, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "found")},
        {303, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "see other")},
        {304, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "not modified")},
        {305, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "use proxy")},
        {307, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "temporary redirect")},
        {308, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "permanent redirect")},
        {400, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "bad request")},
        {401, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "unauthorized")},
        {402, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "payment required")},
        {403, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "forbidden")},
        {404, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "not found")},
        {405, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "method not allowed")},
        {406, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "not acceptable")},
        {407, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "proxy authentication required")},
        {408, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "request timeout")},
        {409, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "conflict")},
        {410, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "gone")},
        {411, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "length required")},
        {412, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "precondition failed")},
        {413, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "content too large")},
        {414, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "URI too long")},
        {415, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "unsupported media type")},
        {416, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "range not satisfiable")},
        {417, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "expectation failed")},
        {421, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "misdirected request")},
        {422, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "unprocessable content")},
        {426, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "upgrade required")},
        {428, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "precondition required")},
        {429, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "too many requests")},
        {431, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "request header fields too large")},
        {500, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "internal server error")},
        {501, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "not implemented")},
        {502, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "bad gateway")},
        {503, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "service unavailable")},
        {504, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "gateway timeout")},
        {505, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "HTTP version not supported")},
        {511, QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "network authentication required")},
    };
    static const char *const classes[] = {
        QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "informational"),
        QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "success"),
        QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "redirected"),
        QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "client error"),
        QT_TRANSLATE_NOOP("HXHTTPStatusPhrase", "server error"),
    };
    const auto found = phrases.find(statusCode);
    if (found != phrases.end())
        return QCoreApplication::translate("HXHTTPStatusPhrase", found->second);
    const qint64 kind = statusCode / 100;
    return QCoreApplication::translate("HXHTTPStatusPhrase", classes[std::clamp<qint64>(kind, 1, 5) - 1]);
}
