#include "HXCurlCodeGenerator.h"

#include "HXShellQuoting.h"

QByteArray HXCurlCodeGenerator::generate(const HXCodeRequest &request, const HXCodeOptions &options)
{
    const bool longNames = options.curlLongOptions;
    auto option = [longNames](const char *shortName, const char *longName) {
        return QByteArray(longNames ? longName : shortName);
    };
    const bool hasBody = !request.body.isEmpty();
    const bool bodyFromInput = request.body.contains('\0');

    QList<QByteArray> arguments;
    if (options.curlVerbose)
        arguments.append(option("-v", "--verbose"));
    // Brackets and braces in a URL are cURL's globbing unless switched off.
    if (request.url.contains('[') || request.url.contains('{'))
        arguments.append(option("-g", "--globoff"));
    if (request.method == "HEAD")
        arguments.append(option("-I", "--head"));
    else if (!((request.method == "GET" && !hasBody) || (request.method == "POST" && hasBody)))
        arguments.append(option("-X", "--request") + ' ' + HXShellQuoting::quote(request.method));
    for (const auto &[name, value] : request.headers) {
        const QByteArray header = value.isEmpty() ? QByteArray(name + ";") : QByteArray(name + ": " + value);
        arguments.append(option("-H", "--header") + ' ' + HXShellQuoting::quote(header));
    }
    if (hasBody) {
        if (!request.hasHeader("Content-Type"))
            arguments.append(option("-H", "--header") + ' ' + HXShellQuoting::quote("Content-Type:"));
        if (bodyFromInput)
            arguments.append("--data-binary @-");
        else if (request.body.startsWith('@'))
            arguments.append("--data-raw " + HXShellQuoting::quote(request.body));
        else
            arguments.append(option("-d", "--data") + ' ' + HXShellQuoting::quote(request.body));
    }
    arguments.append(HXShellQuoting::quote(request.url));

    return HXCodeGenerator::shellCommand("curl", arguments, options.curlIndent,
                                         options.addComments ? request.name : QString(),
                                         bodyFromInput ? request.body : QByteArray());
}
