#include "HXGoCodeGenerator.h"

#include "HXJavaScriptCodeGenerator.h"

QByteArray HXGoCodeGenerator::literal(const QByteArray &bytes)
{
    // Go's escapes for these bytes are the same as JavaScript's.
    return HXJavaScriptCodeGenerator::literal(bytes);
}

QByteArray HXGoCodeGenerator::generate(const HXCodeRequest &request, const HXCodeOptions &options)
{
    const bool hasBody = !request.body.isEmpty();
    QByteArray code;
    if (options.addComments)
        code += "// " + HXCodeGenerator::commentText(request.name) + '\n';
    code += "package main\n\nimport (\n\t\"fmt\"\n\t\"io\"\n\t\"net/http\"\n";
    if (hasBody)
        code += "\t\"strings\"\n";
    code += ")\n\nfunc main() {\n";
    if (hasBody)
        code += "\tbody := strings.NewReader(" + literal(request.body) + ")\n";
    code += "\trequest, err := http.NewRequest(" + literal(request.method) + ", " + literal(request.url) + ", " +
            (hasBody ? "body" : "nil") + ")\n";
    code += "\tif err != nil {\n\t\tpanic(err)\n\t}\n";
    for (const auto &[name, value] : request.headers) {
        if (name.compare("Host", Qt::CaseInsensitive) == 0)
            code += "\trequest.Host = " + literal(value) + '\n';
        else
            code += "\trequest.Header[" + literal(name) + "] = append(request.Header[" + literal(name) + "], " +
                    literal(value) + ")\n";
    }
    code += "\tresponse, err := http.DefaultClient.Do(request)\n";
    code += "\tif err != nil {\n\t\tpanic(err)\n\t}\n";
    code += "\tdefer response.Body.Close()\n";
    code += "\tdata, _ := io.ReadAll(response.Body)\n";
    code += "\tfmt.Println(response.Status)\n";
    code += "\tfmt.Println(string(data))\n";
    code += "}\n";
    return code;
}
