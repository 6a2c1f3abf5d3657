#pragma once

#include <QByteArray>

class HXDocument;

// The stored responses of a document's requests as a HAR 1.2 log, oldest
// first, each with its request. The response store keeps responses only,
// so each entry's request is the request as it would be sent now (in the
// current environment). Bodies that are not UTF-8 text are written in
// Base64.
class HXHARExporter
{
public:
    static QByteArray exportDocument(HXDocument *document);
};
