#include "HXCurlCommandImporter.h"

#include "HXShellWords.h"

#include <QRegularExpression>
#include <QUrl>

namespace {

const QStringList optionsWithValue = {
    QStringLiteral("-X"), QStringLiteral("--request"), QStringLiteral("-H"), QStringLiteral("--header"),
    QStringLiteral("-d"), QStringLiteral("--data"), QStringLiteral("--data-ascii"), QStringLiteral("--data-binary"),
    QStringLiteral("--data-raw"), QStringLiteral("--data-urlencode"), QStringLiteral("--json"), QStringLiteral("-F"),
    QStringLiteral("--form"), QStringLiteral("--form-string"), QStringLiteral("-u"), QStringLiteral("--user"),
    QStringLiteral("-b"), QStringLiteral("--cookie"), QStringLiteral("--url"), QStringLiteral("-A"),
    QStringLiteral("--user-agent"), QStringLiteral("-e"), QStringLiteral("--referer"), QStringLiteral("-r"),
    QStringLiteral("--range"), QStringLiteral("-m"), QStringLiteral("--max-time"), QStringLiteral("--oauth2-bearer"),
    // Taking a value, but not part of the request.
    QStringLiteral("-o"), QStringLiteral("--output"), QStringLiteral("-w"), QStringLiteral("--write-out"),
    QStringLiteral("-x"), QStringLiteral("--proxy"), QStringLiteral("-c"), QStringLiteral("--cookie-jar"),
    QStringLiteral("--cacert"), QStringLiteral("--cert"), QStringLiteral("-E"), QStringLiteral("--key"),
    QStringLiteral("--connect-timeout"), QStringLiteral("--retry"), QStringLiteral("-T"),
    QStringLiteral("--upload-file"), QStringLiteral("--resolve"), QStringLiteral("--interface"), QStringLiteral("-K"),
    QStringLiteral("--config"), QStringLiteral("-D"), QStringLiteral("--dump-header")};

// The long name of a short option, for reports and the tables below.
QString longName(const QString &option)
{
    static const QHash<QString, QString> names = {
        {QStringLiteral("-X"), QStringLiteral("--request")},    {QStringLiteral("-H"), QStringLiteral("--header")},
        {QStringLiteral("-d"), QStringLiteral("--data")},       {QStringLiteral("-F"), QStringLiteral("--form")},
        {QStringLiteral("-u"), QStringLiteral("--user")},       {QStringLiteral("-b"), QStringLiteral("--cookie")},
        {QStringLiteral("-A"), QStringLiteral("--user-agent")}, {QStringLiteral("-e"), QStringLiteral("--referer")},
        {QStringLiteral("-r"), QStringLiteral("--range")},      {QStringLiteral("-m"), QStringLiteral("--max-time")},
        {QStringLiteral("-G"), QStringLiteral("--get")},        {QStringLiteral("-I"), QStringLiteral("--head")},
        {QStringLiteral("-L"), QStringLiteral("--location")},   {QStringLiteral("-T"), QStringLiteral("--upload-file")},
    };
    return names.value(option, option);
}

QString percentEncoded(const QString &text)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(text));
}

struct Parsed
{
    HXInteropRequest request;
    QString url;
    QString method;
    QStringList data;
    bool get = false;
    bool head = false;
    bool compressed = false;
};

void addHeader(HXInteropRequest &request, const QString &line)
{
    const qsizetype colon = line.indexOf(u':');
    const qsizetype semicolon = line.indexOf(u';');
    if (colon < 0 && semicolon > 0 && line.mid(semicolon + 1).trimmed().isEmpty()) {
        request.headers.append({line.left(semicolon).trimmed(), QString()});
        return;
    }
    if (colon <= 0)
        return;
    // cURL sends the value from its first non-blank character on; "Name:"
    // with nothing after it removes one of cURL's own headers instead.
    QString value = line.mid(colon + 1);
    while (value.startsWith(u' ') || value.startsWith(u'\t'))
        value.remove(0, 1);
    if (!value.trimmed().isEmpty())
        request.headers.append({line.left(colon).trimmed(), value});
}

bool hasHeader(const HXInteropRequest &request, const QString &name)
{
    return std::any_of(request.headers.begin(), request.headers.end(),
                       [&](const HXInteropField &field) { return field.name.compare(name, Qt::CaseInsensitive) == 0; });
}

void takeOption(Parsed &parsed, const QString &option, const QString &value, QStringList &skipped)
{
    const QString name = longName(option);
    HXInteropRequest &request = parsed.request;
    if (name == u"--request") {
        parsed.method = value.toUpper();
    } else if (name == u"--header") {
        addHeader(request, value);
    } else if (name == u"--data" || name == u"--data-ascii" || name == u"--data-binary" || name == u"--data-raw") {
        if (name != u"--data-raw" && value.startsWith(u'@'))
            skipped.append(QStringLiteral("%1 %2: data read from a file is not imported").arg(option, value));
        else
            parsed.data.append(value);
    } else if (name == u"--data-urlencode") {
        const qsizetype equals = value.indexOf(u'=');
        const qsizetype at = value.indexOf(u'@');
        if (at >= 0 && (equals < 0 || at < equals))
            skipped.append(QStringLiteral("%1 %2: data read from a file is not imported").arg(option, value));
        else if (equals < 0)
            parsed.data.append(percentEncoded(value));
        else
            parsed.data.append((equals > 0 ? value.left(equals) + u'=' : QString()) +
                               percentEncoded(value.mid(equals + 1)));
    } else if (name == u"--json") {
        parsed.data.append(value);
        if (!hasHeader(request, QStringLiteral("Content-Type")))
            request.headers.append({QStringLiteral("Content-Type"), QStringLiteral("application/json")});
        if (!hasHeader(request, QStringLiteral("Accept")))
            request.headers.append({QStringLiteral("Accept"), QStringLiteral("application/json")});
    } else if (name == u"--form" || name == u"--form-string") {
        const qsizetype equals = value.indexOf(u'=');
        if (equals <= 0) {
            skipped.append(QStringLiteral("%1 %2: not name=value").arg(option, value));
            return;
        }
        HXInteropField field{value.left(equals), value.mid(equals + 1)};
        if (name == u"--form" && field.value.startsWith(u'@')) {
            field.isFile = true;
            field.value = field.value.mid(1).section(u';', 0, 0);
        } else if (name == u"--form" && field.value.startsWith(u'<')) {
            skipped.append(QStringLiteral("%1 %2: a field read from a file is not imported").arg(option, value));
            return;
        }
        request.body = HXInteropRequest::Body::FormData;
        request.fields.append(field);
    } else if (name == u"--user") {
        request.auth = HXInteropRequest::Auth::Basic;
        request.username = value.section(u':', 0, 0);
        request.password = value.section(u':', 1);
        if (!value.contains(u':'))
            skipped.append(
                QStringLiteral("%1 %2: cURL would ask for the password; it is left empty").arg(option, value));
    } else if (name == u"--oauth2-bearer") {
        request.auth = HXInteropRequest::Auth::Bearer;
        request.token = value;
    } else if (name == u"--cookie") {
        if (value.contains(u'='))
            request.headers.append({QStringLiteral("Cookie"), value});
        else
            skipped.append(QStringLiteral("%1 %2: cookies read from a file are not imported").arg(option, value));
    } else if (name == u"--url") {
        parsed.url = value;
    } else if (name == u"--user-agent") {
        request.headers.append({QStringLiteral("User-Agent"), value});
    } else if (name == u"--referer") {
        request.headers.append({QStringLiteral("Referer"), value});
    } else if (name == u"--range") {
        request.headers.append({QStringLiteral("Range"), QStringLiteral("bytes=") + value});
    } else if (name == u"--max-time") {
        bool ok = false;
        const double seconds = value.toDouble(&ok);
        if (ok && seconds > 0)
            request.timeout = seconds;
    } else {
        skipped.append(QStringLiteral("%1 %2: not part of the request, not imported").arg(option, value));
    }
}

void takeFlag(Parsed &parsed, const QString &flag, QStringList &skipped)
{
    const QString name = longName(flag);
    if (name == u"--get")
        parsed.get = true;
    else if (name == u"--head")
        parsed.head = true;
    else if (name == u"--location")
        parsed.request.followRedirects = true;
    else if (name == u"--compressed")
        parsed.compressed = true;
    else
        skipped.append(QStringLiteral("%1: changes only how cURL runs or prints, not imported").arg(flag));
}

HXInteropRequest finish(Parsed &parsed)
{
    HXInteropRequest request = parsed.request;
    QString url = parsed.url;
    if (!url.contains(QStringLiteral("://")))
        url.prepend(QStringLiteral("http://"));
    const QString data = parsed.data.join(u'&');
    if (parsed.get && !parsed.data.isEmpty()) {
        url += (url.contains(u'?') ? u'&' : u'?') + data;
    } else if (!parsed.data.isEmpty()) {
        request.body = HXInteropRequest::Body::Raw;
        request.rawBody = data;
        if (!hasHeader(request, QStringLiteral("Content-Type")))
            request.headers.append(
                {QStringLiteral("Content-Type"), QStringLiteral("application/x-www-form-urlencoded")});
    }
    if (parsed.compressed && !hasHeader(request, QStringLiteral("Accept-Encoding")))
        request.headers.append({QStringLiteral("Accept-Encoding"), QStringLiteral("gzip")});
    request.url = url;
    if (!parsed.method.isEmpty())
        request.method = parsed.method;
    else if (parsed.head)
        request.method = QStringLiteral("HEAD");
    else if (request.body != HXInteropRequest::Body::None)
        request.method = QStringLiteral("POST");
    else
        request.method = QStringLiteral("GET");
    const QUrl parsedURL(url);
    const QString path = parsedURL.path().isEmpty() ? QStringLiteral("/") : parsedURL.path();
    request.name = request.method + u' ' + parsedURL.host() + path;
    return request;
}

} // namespace

bool HXCurlCommandImporter::looksLikeCurl(const QString &text)
{
    // The first line that is neither blank nor a comment starts with curl.
    static const QRegularExpression command(QStringLiteral("^\\s*(\\S*/)?curl(\\s|$)"));
    for (const QStringView line : QStringView(text).left(64 * 1024).split(u'\n')) {
        const QStringView trimmed = line.trimmed();
        if (trimmed.isEmpty() || trimmed.startsWith(u'#'))
            continue;
        return command.match(trimmed).hasMatch();
    }
    return false;
}

HXResult<HXInteropCollection> HXCurlCommandImporter::import(const QString &text)
{
    QList<HXShellWords::Command> commands;
    QString error;
    if (!HXShellWords::split(text, commands, error))
        return HXError(QString::fromLatin1(errorDomain), 1,
                       QStringLiteral("not a complete cURL command: %1").arg(error));
    HXInteropCollection collection;
    for (const HXShellWords::Command &command : std::as_const(commands)) {
        const QString program = command.words.first();
        if (program != u"curl" && !program.endsWith(QStringLiteral("/curl"))) {
            collection.skipped.append(
                QStringLiteral("'%1...': not a cURL command").arg(command.words.join(u' ').left(40)));
            continue;
        }
        if (!command.ignored.trimmed().isEmpty())
            collection.skipped.append(QStringLiteral("'%1': what follows the command is not imported")
                                          .arg(command.ignored.trimmed().left(40)));
        Parsed parsed;
        QStringList skipped;
        for (qsizetype i = 1; i < command.words.size(); ++i) {
            const QString &word = command.words.at(i);
            if (word.startsWith(QStringLiteral("--")) && word.size() > 2) {
                if (optionsWithValue.contains(word)) {
                    if (i + 1 >= command.words.size()) {
                        skipped.append(QStringLiteral("%1: its value is missing").arg(word));
                        break;
                    }
                    takeOption(parsed, word, command.words.at(++i), skipped);
                } else {
                    takeFlag(parsed, word, skipped);
                }
            } else if (word.startsWith(u'-') && word.size() > 1) {
                // Short options may be bundled (-sSL) and the last may carry
                // its value attached (-XPOST) or in the next word.
                for (qsizetype j = 1; j < word.size(); ++j) {
                    const QString option = QStringLiteral("-") + word.at(j);
                    if (!optionsWithValue.contains(option)) {
                        takeFlag(parsed, option, skipped);
                        continue;
                    }
                    QString value = word.mid(j + 1);
                    if (value.isEmpty()) {
                        if (i + 1 >= command.words.size()) {
                            skipped.append(QStringLiteral("%1: its value is missing").arg(option));
                            break;
                        }
                        value = command.words.at(++i);
                    }
                    takeOption(parsed, option, value, skipped);
                    break;
                }
            } else if (parsed.url.isEmpty()) {
                parsed.url = word;
            } else {
                skipped.append(QStringLiteral("%1: only the first URL is imported").arg(word));
            }
        }
        if (parsed.url.isEmpty()) {
            collection.skipped.append(QStringLiteral("a cURL command without a URL is not imported"));
            continue;
        }
        HXInteropRequest request = finish(parsed);
        if (!command.comment.isEmpty())
            request.name = command.comment;
        for (const QString &line : std::as_const(skipped))
            collection.skipped.append(request.name + QStringLiteral(": ") + line);
        collection.items.append({false, request.name, request, {}});
    }
    if (collection.items.isEmpty())
        return HXError(QString::fromLatin1(errorDomain), 2,
                       QStringLiteral("no cURL command with a URL found (a command starts with 'curl')"));
    return collection;
}
