#pragma once

#include "HXInteropCollection.h"
#include "HXResult.h"

#include <QJsonObject>

// Postman collections (format v2.0 and v2.1) and Postman environment files.
// A collection gives its folders and requests in order, headers, raw,
// url-encoded and form-data bodies, basic and bearer authorization (set on
// the request or inherited from its folders and the collection) and its
// variables. Scripts, other authorization types, file and GraphQL bodies
// and disabled variables are listed in `skipped`.
class HXPostmanImporter
{
public:
    // Whether the object is a collection (an "info" with a "schema", or
    // with "item") or an environment file ("values" and "name").
    static bool isCollection(const QJsonObject &root);
    static bool isEnvironment(const QJsonObject &root);
    static HXResult<HXInteropCollection> importCollection(const QJsonObject &root);
    // An environment file: a collection with no requests and one environment.
    static HXResult<HXInteropCollection> importEnvironment(const QJsonObject &root);
};
