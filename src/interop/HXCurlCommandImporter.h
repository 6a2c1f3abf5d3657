#pragma once

#include "HXInteropCollection.h"
#include "HXResult.h"

// Requests from cURL command lines, one per "curl" command in the text (a
// script of several commands gives several requests, each named by the
// comment line above it when there is one). Understood: the URL (positional
// or --url; "http://" added when it has no scheme), -X, -H, -d and the other
// --data forms (joined with "&"; -G moves them into the query), --json, -F
// and --form-string, -u, --oauth2-bearer, -b with cookies, -A, -e, -r, -I,
// -L, -m and --compressed. Options that only change how cURL runs or
// prints, and data read from files, are listed in `skipped`.
class HXCurlCommandImporter
{
public:
    static constexpr const char *errorDomain = "kestrelworks.Kea.Import";
    static HXResult<HXInteropCollection> import(const QString &text);
    // Whether `text` looks like a cURL command (its first word is curl).
    static bool looksLikeCurl(const QString &text);
};
