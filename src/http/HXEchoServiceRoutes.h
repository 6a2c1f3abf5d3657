#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

using HXEchoHeaderList = QList<QPair<QByteArray, QByteArray>>;

// One request as the echo service received it, the body already decoded.
struct HXEchoRequest
{
    QByteArray method;
    QByteArray target;
    QByteArray version;
    HXEchoHeaderList headers;
    QByteArray body;

    QByteArray header(const QByteArray &name) const
    {
        for (const auto &[key, value] : headers)
            if (key.compare(name, Qt::CaseInsensitive) == 0)
                return value;
        return QByteArray();
    }
    QList<QByteArray> headerValues(const QByteArray &name) const
    {
        QList<QByteArray> values;
        for (const auto &[key, value] : headers)
            if (key.compare(name, Qt::CaseInsensitive) == 0)
                values.append(value);
        return values;
    }
};

// What the echo service answers. Plain and Chunked carry their body;
// Stream and StreamChunked send streamLength bytes of the /bytes pattern;
// Delayed is a Plain answer sent after delayMilliseconds; Drop closes the
// connection without an answer.
struct HXEchoResponse
{
    enum Kind { Plain, Chunked, Stream, StreamChunked, Delayed, Drop };
    int status = 200;
    HXEchoHeaderList headers;
    QByteArray body;
    Kind kind = Plain;
    int chunkLength = 16;
    qint64 streamLength = 0;
    int delayMilliseconds = 0;
};

// The echo service's paths (see HXEchoService) as a function from request
// to response, apart from sockets and timers.
class HXEchoServiceRoutes
{
public:
    // `serverAuthority` ("host:port") stands in for a missing Host header.
    static HXEchoResponse responseTo(const HXEchoRequest &request, const QByteArray &serverAuthority);
    // The answer to a request the service refuses (400, 413, 431, ...).
    static HXEchoResponse errorResponse(int status);
    // The reason phrase of a status line.
    static QByteArray reasonPhrase(int status);
};
