#pragma once

#include "HXCodeGenerator.h"

// A cURL command for bash and zsh that sends exactly the request's method,
// URL, headers and body bytes:
//   - the method with -X (HEAD with -I, as -X HEAD waits for a body that
//     never comes), left out for a GET without a body and a POST with one;
//   - every header with -H in order; an empty value as "Name;" (cURL's way
//     of sending an empty header); "Content-Type:" suppresses the type cURL
//     would add to a body the request sends without one;
//   - the body with -d, with --data-raw when it starts with "@" (which -d
//     reads as a file name), and through standard input from printf when it
//     holds a NUL byte, which no argument can carry;
//   - -g when the URL holds brackets or braces, which cURL would expand;
//   - every argument quoted by HXShellQuoting.
// Options: long option names, -v, one option per line, a comment line.
class HXCurlCodeGenerator
{
public:
    static QByteArray generate(const HXCodeRequest &request, const HXCodeOptions &options);
};
