#include "HXPythonCodeGenerator.h"

#include "HXShellQuoting.h"

QByteArray HXPythonCodeGenerator::literal(const QByteArray &bytes, bool asBytes)
{
    const bool bytesLiteral = asBytes || !HXShellQuoting::isPrintableASCII(bytes);
    return (bytesLiteral ? "b" : "") + HXCodeGenerator::escapedLiteral(bytes, '\'');
}

QByteArray HXPythonCodeGenerator::generate(const HXCodeRequest &request, const HXCodeOptions &options)
{
    QList<QPair<QByteArray, QByteArray>> headers;
    bool joined = false;
    for (const auto &[name, value] : request.headers) {
        auto existing = std::find_if(headers.begin(), headers.end(), [&](const auto &header) {
            return header.first.compare(name, Qt::CaseInsensitive) == 0;
        });
        if (existing == headers.end()) {
            headers.append({name, value});
        } else {
            existing->second += ", " + value;
            joined = true;
        }
    }

    QByteArray code;
    if (options.addComments)
        code += "# " + HXCodeGenerator::commentText(request.name) + '\n';
    code += "import requests\n\n";
    if (options.addComments && joined)
        code += "# Headers given more than once are joined with \", \".\n";
    code += "headers = {";
    for (const auto &[name, value] : std::as_const(headers))
        code += "\n    " + literal(name, false) + ": " + literal(value, false) + ',';
    code += headers.isEmpty() ? "}\n" : "\n}\n";
    if (!request.body.isEmpty())
        code += "body = " + literal(request.body, true) + '\n';
    code += "\nrequest = requests.Request(" + literal(request.method, false) + ", " + literal(request.url, false) +
            ", headers=headers" + (request.body.isEmpty() ? "" : ", data=body") + ").prepare()\n";
    code += "response = requests.Session().send(request)\n";
    code += "print(response.status_code, response.reason)\n";
    code += "print(response.text)\n";
    return code;
}
