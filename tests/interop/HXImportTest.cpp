#include "HXInteropTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct ImportCase
{
    QStringList fixtures; // imported in this order into one document
    QStringList expected; // the listing
    QStringList skipped;  // the report's lines
};

TEST(ImportTest, FixturesBecomeFoldersRequestsAndEnvironments)
{
    const QList<ImportCase> cases = {
        {{u"curl-browser.txt"_s},
         {u"POST shop.example.test/api/cart/items: POST https://shop.example.test/api/cart/items?session=abc"_s,
          u"  authority: shop.example.test"_s, u"  accept: application/json, text/plain, */*"_s,
          u"  accept-language: en-GB,en;q=0.9"_s, u"  content-type: application/json;charset=UTF-8"_s,
          u"  Cookie: sid=s%3A12345; theme=dark"_s, u"  origin: https://shop.example.test"_s,
          u"  x-note: it's \"quoted\""_s, u"  Accept-Encoding: gzip"_s,
          u"  body {\"sku\":\"K-100\",\"qty\":2,\"note\":\"line one\\nline two \u00E9\"}"_s},
         {}},
        {{u"curl-script.sh"_s},
         {u"Log in: POST https://api.example.test/v1/login"_s, u"  Accept: application/json"_s,
          u"  Authorization: {{basic ada s3cr3t:colon}}"_s,
          u"Search: GET https://api.example.test/v1/search?q=kea&name=a%20b%26c"_s,
          u"Upload avatar: POST https://api.example.test/v1/avatars"_s,
          u"  body {{multipart title=Portrait avatar=\"{{file}}\"}}"_s,
          u"Remove: DELETE https://api.example.test/v1/items/{{env itemId}}"_s,
          u"  Authorization: Bearer {{env token}}"_s, u"env Default: itemId=, token="_s},
         {u"Log in: -s: changes only how cURL runs or prints, not imported"_s,
          u"Log in: -S: changes only how cURL runs or prints, not imported"_s,
          u"Search: -o out.json: not part of the request, not imported"_s,
          u"'| jq .': what follows the command is not imported"_s, u"'echo done...': not a cURL command"_s,
          u"Upload avatar: file 'avatar.png' of field 'avatar' not found; choose it again"_s}},
        {{u"postman-environment.json"_s, u"postman-v2.1.json"_s},
         {u"Sightings/"_s,
          u"Sightings/List sightings: GET {{env baseUrl}}/sightings?species={{env species}}&limit=20"_s,
          u"  Accept: application/json"_s,
          u"  !X-Debug: 1"_s,
          u"  Authorization: {{basic \"{{env user}}\" \"{{env password}}\"}}"_s,
          u"Sightings/Report sighting: POST {{env baseUrl}}/sightings"_s,
          u"  Content-Type: application/json"_s,
          u"  Authorization: {{basic \"{{env user}}\" \"{{env password}}\"}}"_s,
          u"  body {\u23CE  \"species\": \"{{env species}}\",\u23CE  \"count\": 3,\u23CE  \"id\": \"{{env "
          u"$guid}}\",\u23CE  "
          u"\"at\": \"{{timestamp iso8601}}\"\u23CE}"_s,
          u"Sightings/Photos/"_s,
          u"Sightings/Photos/Upload photo: POST {{env baseUrl}}/photos"_s,
          u"  X-Trace: upload-{{timestamp epoch}}"_s,
          u"  Authorization: Bearer {{env photoToken}}"_s,
          u"  body {{multipart caption=\"Heron at dawn\" photo=\"{{file FOLDER/heron.jpg}}\" !private=yes}}"_s,
          u"Observers/"_s,
          u"Observers/Register observer: PUT {{env baseUrl}}/observers/{{env observerId}}"_s,
          u"  Content-Type: application/x-www-form-urlencoded"_s,
          u"  body {{form name=\"Ada Lovelace\" email=\"{{env email}}\" !newsletter=no}}"_s,
          u"Observers/Observer by key: GET {{env baseUrl}}/observers/me"_s,
          u"Health: HEAD {{env baseUrl}}/health"_s,
          u"  Authorization: {{basic \"{{env user}}\" \"{{env password}}\"}}"_s,
          u"env Staging: $guid=, baseUrl=https://staging.birds.example.test/v2, email=, observerId=42, password=pa55, photoToken=, species=Ardea cinerea, user=tester"_s},
         {u"variable unused: disabled, not imported"_s, u"variable legacy: disabled, not imported"_s,
          u"Sightings/Report sighting: scripts are not supported"_s,
          u"Observers/Observer by key: authorization 'apikey' is not supported"_s,
          u"{{$guid}}: a generated value with no Kea counterpart; it became a variable"_s}},
        {{u"postman-v2.0.json"_s},
         {u"Forecast: GET {{env host}}/forecast?city=Oslo"_s, u"  Accept-Language: nb"_s,
          u"  Authorization: {{basic met \"{{env metPassword}}\"}}"_s,
          u"Station note: POST {{env host}}/stations/7/notes"_s, u"  Content-Type: text/plain"_s,
          u"  body Gauge \\\\{{env gauge}} cleaned; \\{{ not closed"_s, u"Bare URL: GET {{env host}}/ping"_s,
          u"env Default: gauge=, host=, metPassword="_s},
         {}},
        {{u"har-1.2.json"_s},
         {u"GET tiles.example.test/map/3/4/5.png: GET https://tiles.example.test/map/3/4/5.png?style=dark"_s,
          u"  accept: image/png"_s, u"  referer: https://maps.example.test/"_s,
          u"POST maps.example.test/api/places: POST https://maps.example.test/api/places"_s,
          u"  Content-Type: application/json"_s, u"  X-Client: web"_s,
          u"  body {\"name\":\"Caf\u00E9 {{env city}}\"}"_s,
          u"POST maps.example.test/login: POST https://maps.example.test/login"_s,
          u"  Content-Type: application/x-www-form-urlencoded"_s, u"  body {{form user=ada remember=1}}"_s,
          u"PUT maps.example.test/api/blob: PUT https://maps.example.test/api/blob"_s,
          u"  Content-Type: application/octet-stream"_s, u"env Default: city="_s},
         {u"PUT maps.example.test/api/blob: a binary body is not imported"_s,
          u"HTTP/2 pseudo-headers and Content-Length are left out: Kea sends its own"_s}},
        {{u"openapi-3.0.json"_s},
         {u"books/"_s,
          u"books/List books: GET {{env baseUrl}}/books?author=Le Guin"_s,
          u"  X-Request-Id: r-1"_s,
          u"  Authorization: {{basic \"{{env username}}\" \"{{env password}}\"}}"_s,
          u"books/addBook: POST {{env baseUrl}}/books"_s,
          u"  Content-Type: application/json"_s,
          u"  Authorization: Bearer {{env bearerToken}}"_s,
          u"  body {\u23CE    \"author\": {\u23CE        \"books\": [\u23CE            null\u23CE        ],\u23CE        \"name\": \"string\"\u23CE    },\u23CE    \"tags\": [\u23CE        \"string\"\u23CE    ],\u23CE    \"title\": \"The Dispossessed\",\u23CE    \"year\": 0\u23CE}\u23CE"_s,
          u"books/Remove a book: DELETE {{env baseUrl}}/books/{{env bookId}}"_s,
          u"books/Get a book: GET {{env baseUrl}}/books/{{env bookId}}"_s,
          u"  X-API-Key: {{env apiKey}}"_s,
          u"members/"_s,
          u"members/Replace card: PUT {{env baseUrl}}/members/{{env memberId}}/card"_s,
          u"  Cookie: session=abc"_s,
          u"  Authorization: {{basic \"{{env username}}\" \"{{env password}}\"}}"_s,
          u"  body {{multipart note=lost photo=\"{{file}}\"}}"_s,
          u"Log in: POST {{env baseUrl}}/login"_s,
          u"  Content-Type: application/json"_s,
          u"  body {\u23CE}\u23CE"_s,
          u"env Local: apiKey=, basePath=, baseUrl=http://localhost:8080/v1, bearerToken=, bookId=12, memberId=m-7, password=, region=, username="_s,
          u"env Production: apiKey=, basePath=v1, baseUrl=https://{{env region}}.library.example.test/{{env basePath}}, bearerToken=, bookId=12, memberId=m-7, password=, region=eu, username="_s},
         {u"GET /books: optional parameters without an example left out: page"_s,
          u"DELETE /books/{bookId}: security scheme 'oauth' (oauth2) is not supported"_s,
          u"POST /login: only the application/json body of 2 media types is imported"_s,
          u"Replace card: field 'photo' names no file; choose one"_s}},
        {{u"openapi-3.1.json"_s},
         {u"Create note: POST {{env baseUrl}}/notes"_s, u"  Content-Type: application/json"_s,
          u"  body {\u23CE    \"text\": \"Buy milk\"\u23CE}\u23CE"_s,
          u"Written last, listed last: GET {{env baseUrl}}/zebra"_s,
          u"Written after zebra: GET {{env baseUrl}}/alpha"_s, u"env Default: baseUrl=http://localhost"_s},
         {u"no servers: baseUrl is http://localhost"_s, u"webhooks are not imported"_s}},
    };
    for (const ImportCase &test : cases) {
        SCOPED_TRACE(test.fixtures.join(u", ").toStdString());
        QTemporaryDir folder;
        QFile(folder.filePath(u"heron.jpg"_s)).open(QIODevice::WriteOnly);
        HXDocument document;
        QStringList report;
        for (const QString &name : test.fixtures) {
            auto collection = HXImportSource::read(HXInteropTest::fixture(name));
            ASSERT_TRUE(collection) << collection.error().description.toStdString();
            report += HXCollectionImport::importCollection(*collection, &document, nullptr, folder.path()).skipped;
        }
        const QStringList lines = HXInteropTest::listing(document).replaceInStrings(folder.path(), u"FOLDER"_s);
        EXPECT_EQ(lines, test.expected);
        EXPECT_EQ(report, test.skipped);
    }
}

// Imported tokens evaluate: variables from the imported environment, the
// inherited basic authorization.
TEST(ImportTest, ImportedRequestsSendWithTheirEnvironment)
{
    HXDocument document;
    for (const QString &name : {u"postman-environment.json"_s, u"postman-v2.1.json"_s})
        HXCollectionImport::importCollection(*HXImportSource::read(HXInteropTest::fixture(name)), &document, nullptr,
                                             {});
    document.setCurrentEnvironment(HXEnvironment::environmentsSortedByName(document.managedObjectContext()).first());
    auto *folder = static_cast<HXRequestGroup *>(document.topLevelItems().first());
    auto *request = static_cast<HXRequest *>(HXDocument::sortedItems(folder->children()).first());
    const HXRequestAssembly sent = request->assemblyAsSent(&document);
    ASSERT_TRUE(sent.URL);
    EXPECT_EQ(sent.URL->toString(QUrl::FullyEncoded),
              u"https://staging.birds.example.test/v2/sightings?species=Ardea%20cinerea&limit=20"_s);
    EXPECT_EQ(sent.headers.valueForHTTPHeaderName(u"Authorization"_s), u"Basic dGVzdGVyOnBhNTU="_s);
}

} // namespace
