#pragma once

#include "HXCodeGenerator.h"

// A Go program using net/http. Headers are set through the header map by
// their exact names (Header.Add would change their case); net/http writes
// them sorted by name, not in the request's order.
class HXGoCodeGenerator
{
public:
    static QByteArray generate(const HXCodeRequest &request, const HXCodeOptions &options);
    // A Go interpreted string literal; Go strings hold any bytes.
    static QByteArray literal(const QByteArray &bytes);
};
