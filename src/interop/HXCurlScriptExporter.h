#pragma once

#include <QByteArray>

class HXDocument;

// A document as a bash script of cURL commands, one per request in tree
// order, each after a comment with its "Folder/Name" path (which the cURL
// import takes as the request's name), evaluated in the current
// environment. The cURL options follow the settings.
class HXCurlScriptExporter
{
public:
    static QByteArray exportDocument(HXDocument *document);
};
