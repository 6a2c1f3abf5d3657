#pragma once

#include <QString>

// Where Kea's own echo service listens: a loopback HTTP server that answers
// any request by echoing it. An empty request URL is sent there, so a new
// request can be tried at once without a network. The port is fixed so that
// stored documents and scripts can rely on it.
namespace HXEchoServiceAddress {

inline constexpr const char *host = "127.0.0.1";
inline constexpr quint16 port = 8765;

// "http://127.0.0.1:8765/"
inline QString defaultURL()
{
    return QStringLiteral("http://%1:%2/").arg(QLatin1String(host)).arg(port);
}

} // namespace HXEchoServiceAddress
