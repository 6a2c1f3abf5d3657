#pragma once

#include "HXCodeGenerator.h"

// An HTTPie command (http, version 3 or later): the method and URL, one
// "Name:value" item per header ("Name;" for an empty value; a name holding
// ":" or "=" has those escaped with "\"), and the body with --raw, or from
// standard input through printf when it is not UTF-8 text or holds a NUL.
// "Content-Type:" removes the JSON type HTTPie would give a body sent
// without one. HTTPie puts Content-Type and Accept where its own defaults
// stand, after User-Agent, whatever their place in the request.
class HXHTTPieCodeGenerator
{
public:
    static QByteArray generate(const HXCodeRequest &request, const HXCodeOptions &options);
};
