#pragma once

#include <QByteArray>
#include <QStringList>

class HXDocument;

// A document as a Postman collection (format v2.1): folders and requests in
// order, headers (disabled rows kept as disabled), bodies (a {{form}} token
// as url-encoded fields, {{multipart}} as form data with file fields, other
// bodies raw), a {{basic}} Authorization header as basic authorization and
// "Bearer ..." as bearer authorization. Environment variable tokens become
// {{name}}, timestamps {{$timestamp}} and {{$isoTimestamp}}; any other token
// becomes a collection variable "kea_<kind>_<n>" whose value is its
// readable form and whose description says so. The variables of the
// current environment (else the first) are collection variables.
class HXPostmanExporter
{
public:
    // The collection's JSON; `notes` gets one line per token that became a
    // variable.
    static QByteArray exportDocument(HXDocument *document, QStringList *notes = nullptr);
};
