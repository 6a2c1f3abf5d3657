#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <utility>

class HXDocument;
class HXRequest;

// The request-field options that "kea-cli add" and "kea-cli set" share:
// --name, --method, --url, --header, --unset-header, --body, --body-type,
// --field, --follow-redirects, --redirect-method, --redirect-authorization,
// --timeout. Values are written in the readable token form (see
// HXDynamicStringTextFormat); a value that is a JSON array is taken as the
// stored form.
struct HXCLIRequestOptions
{
    std::optional<QString> name;
    std::optional<QString> method;
    std::optional<QString> url;
    QList<std::pair<QString, QString>> headers;
    QStringList unsetHeaders;
    // Whether each --header adds a row rather than setting the header by name.
    bool appendHeaders = false;
    std::optional<QString> body;
    std::optional<QString> bodyType;
    QList<std::pair<QString, QString>> fields; // value "@path": a file
    std::optional<bool> followRedirects;
    std::optional<bool> redirectMethod;
    std::optional<bool> redirectAuthorization;
    std::optional<double> timeout;
    std::optional<QString> literalBody; // read from --body @FILE

    enum class Match { NotMine, Taken, Bad };
    // Takes the option at `arguments[i]` with its value (advancing `i`) when
    // it is one of these; Bad with a one-line `error` for a wrong value.
    Match take(const QStringList &arguments, qsizetype &i, QString &error);
    // Reads files (--body @FILE) and checks the combination; before the
    // document is touched.
    bool prepare(QString &error);
    // Sets the fields on the request. On a parse error of a token nothing
    // further is set and `error` says where.
    bool apply(HXRequest *request, HXDocument &document, const QString &documentPath, QString &error) const;

    // The option lines for --help, and the token syntax with examples.
    static QString help();
};
