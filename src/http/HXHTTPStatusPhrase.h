#pragma once

#include <QString>

// The platform's text for an HTTP status code, for engines whose library does
// not hand over the reason phrase the server sent: lower case, "no error" for
// 200, and a text for the code's class when the code itself is not known.
namespace HXHTTPStatusPhrase {

QString localizedStringForStatusCode(qint64 statusCode);

} // namespace HXHTTPStatusPhrase
