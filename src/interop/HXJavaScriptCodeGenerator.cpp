#include "HXJavaScriptCodeGenerator.h"

#include <QStringDecoder>

QByteArray HXJavaScriptCodeGenerator::literal(const QByteArray &bytes)
{
    return HXCodeGenerator::escapedLiteral(bytes, '"');
}

QByteArray HXJavaScriptCodeGenerator::generate(const HXCodeRequest &request, const HXCodeOptions &options)
{
    QByteArray code;
    if (options.addComments)
        code += "// " + HXCodeGenerator::commentText(request.name) + '\n';
    code += "async function send() {\n";
    code += "  const response = await fetch(" + literal(request.url) + ", {\n";
    code += "    method: " + literal(request.method) + ",\n";
    code += "    headers: [";
    for (const auto &[name, value] : request.headers)
        code += "\n      [" + literal(name) + ", " + literal(value) + "],";
    code += request.headers.isEmpty() ? "],\n" : "\n    ],\n";
    if (!request.body.isEmpty()) {
        QStringDecoder decoder(QStringDecoder::Utf8);
        const QString text = decoder(request.body);
        const bool plain = !decoder.hasError() && std::none_of(text.begin(), text.end(), [](QChar c) {
            return c.unicode() < 0x20 && c != u'\n' && c != u'\t';
        });
        if (plain) {
            // fetch sends a string as UTF-8, so text goes as a string.
            QByteArray quoted = "\"";
            for (const QChar c : text) {
                if (c == u'\\' || c == u'"')
                    quoted += QByteArray("\\") + char(c.unicode());
                else if (c == u'\n')
                    quoted += "\\n";
                else if (c == u'\t')
                    quoted += "\\t";
                else if (c.unicode() < 0x7F)
                    quoted += char(c.unicode());
                else
                    quoted += "\\u" + QByteArray::number(c.unicode(), 16).rightJustified(4, '0');
            }
            code += "    body: " + quoted + "\",\n";
        } else {
            code += "    body: new Uint8Array([";
            for (qsizetype i = 0; i < request.body.size(); ++i) {
                code += (i % 16 == 0 ? "\n      " : " ") +
                        QByteArray::number(static_cast<unsigned char>(request.body.at(i))) + ',';
            }
            code += "\n    ]),\n";
        }
    }
    code += "  });\n";
    code += "  console.log(response.status, response.statusText);\n";
    code += "  console.log(await response.text());\n";
    code += "}\n\nsend();\n";
    return code;
}
