#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <utility>

// HTTP Digest access authentication, the client's side: reading a server's
// WWW-Authenticate challenges and answering one. Algorithms MD5 and SHA-256
// and their "-sess" variants; qop "auth" (preferred) and "auth-int"; a
// challenge without qop is answered in the older form without nc and cnonce.
class HXHTTPDigestAuth
{
public:
    struct Challenge
    {
        QString realm;
        QString nonce;
        QString opaque;    // empty: none
        QString algorithm; // as the server wrote it; empty means MD5
        QStringList qop;   // the offered qop values; empty: the older form
        bool userhash = false;
    };

    // The challenges of a WWW-Authenticate value (one or several, possibly
    // joined from repeated headers), as scheme and parameters with lower-case
    // names. Quoted strings are unescaped.
    using Parameters = QList<std::pair<QString, QString>>;
    static QList<std::pair<QString, Parameters>> parseChallenges(const QString &headerValue);
    // The first Digest challenge with a nonce and an algorithm answered here,
    // or none.
    static std::optional<Challenge> digestChallenge(const QString &headerValue);

    // The Authorization header value: `uri` is the request target as sent
    // ("/dir/index.html?x=1"); `body` is read only for qop "auth-int".
    static QString authorizationHeader(const Challenge &challenge, const QString &username, const QString &password,
                                       const QString &method, const QString &uri, const QString &cnonce,
                                       const QByteArray &body = QByteArray(), int nonceCount = 1);

    // A fresh client nonce: 16 random bytes in hexadecimal.
    static QString makeClientNonce();
};
