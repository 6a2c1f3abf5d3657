#pragma once

#include "HXResult.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUrl>

// OAuth 2.0 client-credentials tokens: fetched from the token endpoint with
// the engine chosen in the settings and kept, per endpoint, client and
// scope, until they expire.
//
// Evaluation runs on the main thread and cannot wait for a callback, so a
// fetch runs a local event loop that takes no user input until the engine
// reports back or the time limit passes. Every engine delivers its
// callbacks to the main thread through queued calls, which that loop
// processes, so waiting there cannot deadlock. A fetch asked for while one
// is running (from an evaluation inside that loop) fails at once instead of
// nesting.
class HXOAuth2TokenFetcher
{
public:
    struct Parameters
    {
        QUrl tokenURL;
        QString clientId;
        QString clientSecret;
        QString scope; // empty: none sent
        // The client's credentials as form fields instead of Basic
        // authentication.
        bool credentialsInBody = false;
        double timeoutSeconds = 30;
    };

    struct Token
    {
        QString accessToken;
        QDateTime expires; // invalid: does not expire
    };

    // The cached token while it is valid, else a fetched one. A failed fetch
    // is answered from the cache for the next 10 seconds.
    static HXResult<Token> token(const Parameters &parameters);
    // Forgets every cached token and failure.
    static void clearCache();

    // The form body and the headers of the token request.
    static QByteArray requestBody(const Parameters &parameters);
    static QString basicCredentials(const Parameters &parameters);
    // Reads the endpoint's answer: a JSON object with "access_token" and
    // optionally "expires_in" (seconds from `now`); an error object
    // ("error", "error_description") or any other status gives an error that
    // says what the endpoint answered. A token holding a character outside
    // printable ASCII is refused.
    static HXResult<Token> tokenFromResponse(qint64 statusCode, const QByteArray &body, const QDateTime &now);

    // The error domain of failed fetches.
    static QString errorDomain() { return QStringLiteral("HXOAuth2TokenErrorDomain"); }

private:
    static HXResult<Token> fetch(const Parameters &parameters);
};
