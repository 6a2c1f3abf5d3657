#include "HXInteropTestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Bad sources give one clear line and no collection; nothing crashes.
TEST(ImportErrorsTest, BadSourcesAreRefusedWithAReason)
{
    QByteArray huge = "{\"log\": {\"version\": \"1.2\", \"entries\": [";
    while (huge.size() < 10 * 1024 * 1024)
        huge += "{\"request\": {\"method\": \"GET\", \"url\": \"http://h.example.test/\"}},";
    const QByteArray deep = QByteArray(5000, '[') + QByteArray(5000, ']');
    struct Row
    {
        QByteArray data;
        std::optional<HXImportSource::Format> format;
        QString phrase;
    };
    const QList<Row> rows = {
        {HXInteropTest::fixture(u"postman-truncated.json"_s), {}, u"not valid JSON at line 25, column 22"_s},
        {HXInteropTest::fixture(u"postman-v1.json"_s), {}, u"format v1, which is not supported"_s},
        {HXInteropTest::fixture(u"postman-unknown-schema.json"_s), {}, u"unsupported Postman collection schema"_s},
        {HXInteropTest::fixture(u"har-wrong-version.json"_s), {}, u"unsupported HAR version '2.0'"_s},
        {HXInteropTest::fixture(u"swagger-2.0.json"_s), {}, u"Swagger 2.0 is not supported"_s},
        {HXInteropTest::fixture(u"openapi-3.0.yaml"_s), {}, u"YAML are not supported"_s},
        {HXInteropTest::fixture(u"har-1.2.json"_s), HXImportSource::Format::OpenAPI, u"not an OpenAPI description"_s},
        {huge, {}, u"the file is 10.0 MB; files to import may be at most 8 MB"_s},
        {deep, {}, u"not valid JSON"_s},
        {"curl 'https://h.example.test/ -H 'A: b'", {}, u"never closed"_s},
        {"wget https://h.example.test/", {}, u"not a format Kea imports"_s},
        {"curl -s -v", {}, u"no cURL command with a URL"_s},
        {"\xff\xfe{}", {}, u"not UTF-8"_s},
        {"[1, 2]", {}, u"not an object"_s},
        {"{\"a\": 1}", {}, u"does not recognise"_s},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.phrase.toStdString());
        const auto result = HXImportSource::read(row.data, row.format.value_or(HXImportSource::Format::Automatic));
        ASSERT_FALSE(result);
        EXPECT_TRUE(result.error().description.contains(row.phrase)) << result.error().description.toStdString();
    }
}

} // namespace
