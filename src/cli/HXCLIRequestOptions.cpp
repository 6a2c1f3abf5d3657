#include "HXCLIRequestOptions.h"

#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXCLICommand.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDynamicStringTextFormat.h"
#include "HXDynamicValueEngine.h"
#include "HXFileContentDynamicValue.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXStringEncoding.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

std::optional<bool> switchValue(const QString &text)
{
    const QString lower = text.toLower();
    if (lower == u"on" || lower == u"true" || lower == u"yes" || lower == u"1")
        return true;
    if (lower == u"off" || lower == u"false" || lower == u"no" || lower == u"0")
        return false;
    return std::nullopt;
}

// The stored form of a value given on the command line.
std::optional<QString> stored(const QString &given, HXDocument &document, const QString &documentPath,
                              const QString &what, QString &error)
{
    QJsonParseError jsonError;
    const QJsonDocument json = QJsonDocument::fromJson(given.toUtf8(), &jsonError);
    if (jsonError.error == QJsonParseError::NoError && json.isArray())
        return given;
    const HXDynamicStringTextFormat::Context context{document.managedObjectContext(),
                                                     QFileInfo(documentPath).absolutePath()};
    auto archived = HXDynamicStringTextFormat::archivedStringFromText(given, context);
    if (!archived) {
        error = QStringLiteral("%1: %2").arg(what, archived.error().description);
        return std::nullopt;
    }
    return *archived;
}

} // namespace

HXCLIRequestOptions::Match HXCLIRequestOptions::take(const QStringList &arguments, qsizetype &i, QString &error)
{
    static const QStringList options = {QStringLiteral("--name"),
                                        QStringLiteral("--method"),
                                        QStringLiteral("--url"),
                                        QStringLiteral("--header"),
                                        QStringLiteral("--unset-header"),
                                        QStringLiteral("--body"),
                                        QStringLiteral("--body-type"),
                                        QStringLiteral("--field"),
                                        QStringLiteral("--follow-redirects"),
                                        QStringLiteral("--redirect-method"),
                                        QStringLiteral("--redirect-authorization"),
                                        QStringLiteral("--timeout")};
    const QString option = arguments.at(i);
    if (!options.contains(option))
        return Match::NotMine;
    if (i + 1 >= arguments.size()) {
        error = QStringLiteral("%1 needs a value").arg(option);
        return Match::Bad;
    }
    const QString value = arguments.at(++i);
    if (option == u"--name") {
        name = value;
    } else if (option == u"--method") {
        if (value.trimmed().isEmpty()) {
            error = QStringLiteral("--method needs a method name");
            return Match::Bad;
        }
        method = value.toUpper();
    } else if (option == u"--url") {
        url = value;
    } else if (option == u"--header") {
        const qsizetype colon = value.indexOf(u':');
        const QString headerName = value.left(colon).trimmed();
        if (colon < 0 || headerName.isEmpty()) {
            error = QStringLiteral("--header takes 'Name: value', not '%1'").arg(value);
            return Match::Bad;
        }
        QString headerValue = value.mid(colon + 1);
        while (headerValue.startsWith(u' ') || headerValue.startsWith(u'\t'))
            headerValue.remove(0, 1);
        headers.append({headerName, headerValue});
    } else if (option == u"--unset-header") {
        unsetHeaders.append(value.trimmed());
    } else if (option == u"--body") {
        body = value;
    } else if (option == u"--body-type") {
        if (value != u"text" && value != u"form" && value != u"multipart") {
            error = QStringLiteral("--body-type is text, form or multipart, not '%1'").arg(value);
            return Match::Bad;
        }
        bodyType = value;
    } else if (option == u"--field") {
        const qsizetype equals = value.indexOf(u'=');
        if (equals <= 0) {
            error = QStringLiteral("--field takes name=value or name=@path, not '%1'").arg(value);
            return Match::Bad;
        }
        fields.append({value.left(equals), value.mid(equals + 1)});
    } else if (option == u"--timeout") {
        bool ok = false;
        const double seconds = value.toDouble(&ok);
        if (!ok || seconds <= 0) {
            error = QStringLiteral("--timeout takes seconds, not '%1'").arg(value);
            return Match::Bad;
        }
        timeout = seconds;
    } else {
        const std::optional<bool> on = switchValue(value);
        if (!on) {
            error = QStringLiteral("%1 takes on or off, not '%2'").arg(option, value);
            return Match::Bad;
        }
        (option == u"--follow-redirects"  ? followRedirects
         : option == u"--redirect-method" ? redirectMethod
                                          : redirectAuthorization) = on;
    }
    return Match::Taken;
}

bool HXCLIRequestOptions::prepare(QString &error)
{
    if (!fields.isEmpty() && body) {
        error = QStringLiteral("give the body either with --body or with --field, not both");
        return false;
    }
    if (!fields.isEmpty() && bodyType == u"text") {
        error = QStringLiteral("--field builds a form or multipart body, not --body-type text");
        return false;
    }
    for (const auto &[fieldName, value] : std::as_const(fields)) {
        if (value.startsWith(u'@') && !QFileInfo(value.mid(1)).isFile()) {
            error = QStringLiteral("--field %1: no file '%2'").arg(fieldName, value.mid(1));
            return false;
        }
    }
    if (body && body->startsWith(u'@')) {
        QByteArray bytes;
        if (!HXCLI::readInput(body->mid(1), bytes, error))
            return false;
        const std::optional<QString> text = HXStringEncodings::decode(bytes, HXStringEncoding::UTF8);
        if (!text) {
            error = QStringLiteral("%1: the body file is not UTF-8 text").arg(body->mid(1));
            return false;
        }
        // A file's text is taken as it is: braces in it are not tokens.
        body.reset();
        literalBody = *text;
    }
    return true;
}

bool HXCLIRequestOptions::apply(HXRequest *request, HXDocument &document, const QString &documentPath,
                                QString &error) const
{
    auto convert = [&](const QString &given, const QString &what) {
        return stored(given, document, documentPath, what, error);
    };
    if (name)
        request->setName(*name);
    if (method)
        request->setMethod(*method);
    if (url) {
        const auto value = convert(*url, QStringLiteral("--url"));
        if (!value)
            return false;
        request->setUrl(*value);
    }
    for (const QString &unset : unsetHeaders) {
        for (HXKeyValue *row : request->headers()) {
            if (HXDynamicValueEngine::evaluateStringAsString(row->name(), HXStringEncoding::ASCII)
                    .compare(unset, Qt::CaseInsensitive) == 0)
                request->managedObjectContext()->deleteObject(row);
        }
    }
    for (const auto &[headerName, headerValue] : headers) {
        const auto value = convert(headerValue, QStringLiteral("--header %1").arg(headerName));
        if (!value)
            return false;
        // A new request keeps one row per --header, in order, so a name given
        // twice gives two rows; on an existing one a header is set by name.
        if (appendHeaders)
            HXKeyValue::addKeyValueName(headerName, *value, QStringLiteral("request"), request);
        else
            request->setHeaderName(headerName, *value);
    }
    if (literalBody)
        request->setBody(HXDynamicValueEngine::archiveAttributedString(HXDynamicString(*literalBody)));
    if (body) {
        const auto value = convert(*body, QStringLiteral("--body"));
        if (!value)
            return false;
        if (bodyType == u"form" || bodyType == u"multipart")
            request->setBody(HXDocumentCommands::formBodyWithText(
                HXDynamicValueEngine::unarchiveAttributedString(*value), bodyType == u"multipart"));
        else
            request->setBody(*value);
    }
    if (!fields.isEmpty()) {
        bool multipart = bodyType == u"multipart";
        HXDynamicKeyValueRows rows;
        for (const auto &[fieldName, fieldValue] : fields) {
            QString value;
            if (fieldValue.startsWith(u'@')) {
                multipart = true;
                auto file = HXDynamicValue::make<HXFileContentDynamicValue>();
                file->setBookmarkData(HXFileContentDynamicValue::bookmarkDataForPath(
                    fieldValue.mid(1), QFileInfo(documentPath).absolutePath()));
                value = file->archivedString();
            } else {
                const auto converted = convert(fieldValue, QStringLiteral("--field %1").arg(fieldName));
                if (!converted)
                    return false;
                value = *converted;
            }
            rows.append({HXDynamicValueEngine::archiveAttributedString(HXDynamicString(fieldName)), value, true});
        }
        if (multipart) {
            auto token = HXDynamicValue::make<HXBodyMultipartFormDataDynamicValue>();
            token->setKeyValues(rows);
            request->setBody(token->archivedString());
        } else {
            auto token = HXDynamicValue::make<HXBodyFormKeyValueDynamicValue>();
            token->setKeyValues(rows);
            request->setBody(token->archivedString());
        }
    }
    if (followRedirects)
        request->setFollowRedirects(*followRedirects);
    if (redirectMethod)
        request->setRedirectMethod(*redirectMethod);
    if (redirectAuthorization)
        request->setRedirectAuthorization(*redirectAuthorization);
    if (timeout)
        request->setTimeoutInterval(*timeout);
    return true;
}

QString HXCLIRequestOptions::help()
{
    return QStringLiteral(
               "Request options:\n"
               "  --name NAME                 the request's name\n"
               "  --method METHOD             GET, POST, ... (upper-cased)\n"
               "  --url URL                   the URL; may hold tokens\n"
               "  --header 'Name: value'      sets a header (repeatable); the value may hold tokens\n"
               "  --unset-header NAME         removes a header (set only)\n"
               "  --body TEXT|@FILE           the body; a file's text is taken as it is\n"
               "  --body-type text|form|multipart\n"
               "                              form and multipart read TEXT as a=1&b=2 fields\n"
               "  --field NAME=VALUE          a form field (repeatable); NAME=@PATH uploads a file as multipart\n"
               "  --follow-redirects on|off, --redirect-method on|off, --redirect-authorization on|off\n"
               "  --timeout SECONDS\n"
               "\n") +
           HXDynamicStringTextFormat::syntaxHelp() +
           QStringLiteral(
               "\nExamples:\n"
               "  Use an environment variable in a URL:\n"
               "    kea-cli env api.kea add-variable base https://api.example.com\n"
               "    kea-cli add api.kea --name Users --url '{{env base}}/users'\n"
               "  Chain a login token into the next request:\n"
               "    kea-cli add api.kea --name 'Log in' --method POST --url '{{env base}}/login' \\\n"
               "        --field user=me --field password=secret\n"
               "    kea-cli add api.kea --name Profile --url '{{env base}}/me' \\\n"
               "        --header 'Authorization: Bearer {{response \"Log in\" body token}}'\n"
               "    kea-cli send api.kea 'Log in' Profile\n"
               "  Upload a file as multipart:\n"
               "    kea-cli add api.kea --name Upload --method POST --url '{{env base}}/upload' \\\n"
               "        --field title=Holiday --field photo=@./photo.jpg\n"
               "  Sign a body with HMAC-SHA256:\n"
               "    kea-cli add api.kea --name Signed --method POST --url '{{env base}}/hook' --body '{\"a\":1}' \\\n"
               "        --header 'X-Signature: {{hmac sha256 key=\"{{env secret}}\" input=\"{\\\"a\\\":1}\"}}'\n");
}
