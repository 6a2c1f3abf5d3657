#include "HXCurlCommandImporter.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// One line per request: "METHOD URL", each header "| Name: value", then
// "| body" and its text or fields, "| basic user:password", "| bearer token".
QString summary(const HXInteropRequest &request)
{
    QString line = request.method + u' ' + request.url;
    for (const HXInteropField &header : request.headers)
        line += u" | "_s + header.name + u": "_s + header.value;
    if (request.body == HXInteropRequest::Body::Raw)
        line += u" | body "_s + request.rawBody;
    for (const HXInteropField &field : request.fields)
        line += u" | field "_s + field.name + (field.isFile ? u"=@"_s : u"="_s) + field.value;
    if (request.auth == HXInteropRequest::Auth::Basic)
        line += u" | basic "_s + request.username + u':' + request.password;
    if (request.auth == HXInteropRequest::Auth::Bearer)
        line += u" | bearer "_s + request.token;
    return line;
}

TEST(CurlImportTest, CommandLinesAsPeoplePasteThem)
{
    const QList<QPair<QString, QString>> rows = {
        {u"curl example.test"_s, u"GET http://example.test"_s},
        {u"curl -XPUT -H'A:  b ' https://h.test/x"_s, u"PUT https://h.test/x | A: b "_s},
        {u"curl https://h.test -d a=1 -d b=2"_s,
         u"POST https://h.test | Content-Type: application/x-www-form-urlencoded | body a=1&b=2"_s},
        {u"curl -G https://h.test/s?x=0 --data-urlencode 'q=a&b c' -d n=1"_s,
         u"GET https://h.test/s?x=0&q=a%26b%20c&n=1"_s},
        {u"curl \\\r\n  --json '{\"a\":1}' \\\n  https://h.test"_s,
         u"POST https://h.test | Content-Type: application/json | Accept: application/json | body {\"a\":1}"_s},
        {u"curl -I https://h.test -H 'Drop:' -H 'Empty;'"_s, u"HEAD https://h.test | Empty: "_s},
        {u"curl $'https://h.test/\\x41\\u00e9' --data-raw @literal -X PATCH"_s,
         u"PATCH https://h.test/A\u00E9 | Content-Type: application/x-www-form-urlencoded | body @literal"_s},
        {u"curl \"https://h.test/\\$x\" -u 'u:p' -F 'f=@a.txt;type=text/plain' -F g=2"_s,
         u"POST https://h.test/$x | field f=@a.txt | field g=2 | basic u:p"_s},
        {u"/usr/bin/curl --url https://h.test --oauth2-bearer t -b c=1 -A agent -e https://r.test --compressed"_s,
         u"GET https://h.test | Cookie: c=1 | User-Agent: agent | Referer: https://r.test | Accept-Encoding: gzip | "
         u"bearer t"_s},
    };
    for (const auto &[command, expected] : rows) {
        SCOPED_TRACE(command.toStdString());
        const auto collection = HXCurlCommandImporter::import(command);
        ASSERT_TRUE(collection) << collection.error().description.toStdString();
        ASSERT_EQ(collection->items.size(), 1);
        EXPECT_EQ(summary(collection->items.first().request), expected);
    }
}

} // namespace
