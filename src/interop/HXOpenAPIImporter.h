#pragma once

#include "HXInteropCollection.h"
#include "HXResult.h"

#include <QByteArray>
#include <QJsonObject>

// An OpenAPI 3.0 or 3.1 description (JSON): one request per operation, in
// the order the paths and their operations are written, in a folder per
// first tag (untagged operations at the top). The URL is {{baseUrl}} and the
// path, with path parameters as variables; each server becomes an
// environment setting baseUrl and the server's variables. Required query
// parameters and those with an example go into the URL, header parameters
// and cookies into headers, the request body example (or one made from its
// schema) into the body. Basic, bearer and API-key security become
// authorization with variables. What is left out is listed in `skipped`.
class HXOpenAPIImporter
{
public:
    static bool isOpenAPI(const QJsonObject &root);
    // `json` is the document's text, read again for the order of paths and
    // operations (objects of `root` are unordered).
    static HXResult<HXInteropCollection> import(const QJsonObject &root, const QByteArray &json);
};
