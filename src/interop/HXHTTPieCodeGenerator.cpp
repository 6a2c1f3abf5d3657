#include "HXHTTPieCodeGenerator.h"

#include "HXShellQuoting.h"
#include "HXStringEncoding.h"

namespace {

QByteArray escapedItemName(const QByteArray &name)
{
    QByteArray escaped;
    for (const char c : name) {
        if (c == ':' || c == '=' || c == '@' || c == ';' || c == '\\')
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

} // namespace

QByteArray HXHTTPieCodeGenerator::generate(const HXCodeRequest &request, const HXCodeOptions &options)
{
    const bool hasBody = !request.body.isEmpty();
    const bool bodyFromInput =
        hasBody && (request.body.contains('\0') || !HXStringEncodings::decode(request.body, HXStringEncoding::UTF8));

    QList<QByteArray> arguments;
    if (!bodyFromInput)
        arguments.append("--ignore-stdin");
    if (hasBody && !bodyFromInput)
        arguments.append("--raw " + HXShellQuoting::quote(request.body));
    arguments.append(HXShellQuoting::quote(request.method));
    arguments.append(HXShellQuoting::quote(request.url));
    for (const auto &[name, value] : request.headers) {
        const QByteArray item =
            value.isEmpty() ? QByteArray(escapedItemName(name) + ";") : QByteArray(escapedItemName(name) + ":" + value);
        arguments.append(HXShellQuoting::quote(item));
    }
    if (hasBody && !request.hasHeader("Content-Type"))
        arguments.append(HXShellQuoting::quote("Content-Type:"));

    return HXCodeGenerator::shellCommand("http", arguments, options.curlIndent,
                                         options.addComments ? request.name : QString(),
                                         bodyFromInput ? request.body : QByteArray());
}
