#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <optional>

class HXEvaluationDocument;
class HXRequest;

// A request as it goes on the wire, the input of every code generator: the
// method, the URL (fully encoded, without fragment), the headers in wire
// order (repeated names kept) and the body bytes.
struct HXCodeRequest
{
    QString name;
    QByteArray method;
    QByteArray url;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    bool hasHeader(const QByteArray &name) const;
};

// The choices a user makes for generated code.
struct HXCodeOptions
{
    bool curlLongOptions = false; // --header rather than -H
    bool curlVerbose = true;      // the command asks cURL to show the exchange (-v)
    bool curlIndent = true;       // one option per line, joined with " \"
    bool addComments = true;      // a comment naming the request above the code

    // The settings "HXUserDefaultcURLUseLongOptions", "HXUserDefaultcURLVerbose",
    // "HXUserDefaultcURLIndent" and "HXUserDefaultCodeAddComments".
    static HXCodeOptions fromUserDefaults();
};

// Code that sends a request from other tools and languages: a cURL command,
// an HTTPie command, a Python program using requests, a JavaScript program
// using fetch, and a Go program using net/http. Every generator writes the
// method, URL, headers and body bytes exactly; what a tool adds by itself
// (Host, User-Agent, Accept) is left to the tool, except that a
// Content-Type a tool would invent for a body is suppressed.
class HXCodeGenerator
{
public:
    enum class Language { Curl, HTTPie, Python, JavaScript, Go };

    // The names kea-cli and the settings use: "curl", "httpie", "python",
    // "javascript", "go".
    static QStringList languageNames();
    // A language by one of those names, without regard to case ("cURL" too,
    // and the short names "py", "js", "node", "http").
    static std::optional<Language> languageNamed(const QString &name);
    static QByteArray generate(Language language, const HXCodeRequest &request, const HXCodeOptions &options);

    // The request as Kea would send it in `document`'s current environment.
    // As the engines do, headers with an empty name or value are left out,
    // and so is the body of a method that carries none unless "always send
    // body" is set. Main thread only.
    static HXCodeRequest codeRequest(HXRequest *request, HXEvaluationDocument *document);

    // `text` on one line, control characters replaced by blanks, for
    // comments.
    static QByteArray commentText(const QString &text);
    // `bytes` between two `quote` characters, as C-like languages (Python,
    // JavaScript, Go) read it: "\", the quote and line feeds escaped,
    // printable ASCII as it is, every other byte as \xHH.
    static QByteArray escapedLiteral(const QByteArray &bytes, char quote);
    // A shell command: `input` (when not empty) piped in through printf, the
    // program and its (quoted) arguments, one per line with `indent`, after
    // a comment line with `comment` when that is not null.
    static QByteArray shellCommand(const QByteArray &program, const QList<QByteArray> &arguments, bool indent,
                                   const QString &comment, const QByteArray &input = {});
};
