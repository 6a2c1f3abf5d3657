#include "HXCookieDynamicValue.h"
#include "HXDocument.h"
#include "HXDynamicValueEngine.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXResponse.h"
#include "HXResponseBodyLengthDynamicValue.h"
#include "HXResponseBodyPathDynamicValue.h"
#include "HXResponseBodyReader.h"
#include "HXResponseHeaderDynamicValue.h"
#include "HXResponseProvider.h"
#include "HXResponseRawBodyDynamicValue.h"

#include <gtest/gtest.h>

namespace {

// Responses kept in memory by request uuid, standing in for the response store.
class MemoryResponses : public HXResponseProvider
{
public:
    QHash<QString, std::shared_ptr<HXResponse>> latest;
    std::shared_ptr<HXResponse> lastResponseForRequest(const HXRequest *request) override
    {
        return latest.value(request->uuid());
    }
};

class ResponseValuesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HXResponseProvider::setSharedProvider(&responses);
        source = document.managedObjectContext()->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        source->setName(QStringLiteral("Login"));
    }
    void TearDown() override { HXResponseProvider::setSharedProvider(nullptr); }

    void respond(const QByteArray &head, const QByteArray &body)
    {
        auto response = std::make_shared<HXResponse>();
        response->setHeadersData(head);
        response->setBodyData(body);
        response->setRequestUUID(source->uuid());
        responses.latest.insert(source->uuid(), response);
    }
    // Evaluates the value the way a request would: through its stored form.
    QString evaluate(const HXDynamicValuePtr &value)
    {
        return HXDynamicValueEngine::evaluateStringAsString(value->archivedString());
    }
    QString atPath(const QString &path, quint32 format = HXResponseBodyPathDynamicValue::FormatAutomatic)
    {
        auto value = HXDynamicValue::make<HXResponseBodyPathDynamicValue>();
        value->setRequest(source);
        value->setKeyPath(path);
        value->setFormat(format);
        return evaluate(value);
    }

    MemoryResponses responses;
    HXDocument document;
    HXRequest *source = nullptr;
};

TEST_F(ResponseValuesTest, ParsedJSONBodyByKeyPath)
{
    respond("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n",
            R"({"a":{"b":[10,20]},"ok":true,"no":false,"pi":0.1,"dot.key":"d","s":"text","n":null})");
    EXPECT_EQ(atPath(QStringLiteral("a.b[1]")), QStringLiteral("20"));
    EXPECT_EQ(atPath(QStringLiteral("a[b].1")), QStringLiteral("20"));
    EXPECT_EQ(atPath(QStringLiteral("a..b[1]")), QStringLiteral("20"));
    EXPECT_EQ(atPath(QStringLiteral("a.b[2]")), QString());
    EXPECT_EQ(atPath(QStringLiteral("a")), QString()); // a map is not text
    EXPECT_EQ(atPath(QStringLiteral("ok")), QStringLiteral("1"));
    EXPECT_EQ(atPath(QStringLiteral("no")), QStringLiteral("0"));
    EXPECT_EQ(atPath(QStringLiteral("pi")), QStringLiteral("0.1"));
    EXPECT_EQ(atPath(QStringLiteral("dot\\.key")), QStringLiteral("d"));
    EXPECT_EQ(atPath(QStringLiteral("s")), QStringLiteral("text"));
    EXPECT_EQ(atPath(QStringLiteral("n")), QString());
    EXPECT_EQ(atPath(QStringLiteral("s"), HXResponseBodyPathDynamicValue::FormatXML), QString()); // not XML
}

TEST_F(ResponseValuesTest, ParsedXMLAndFormBodies)
{
    respond("HTTP/1.1 200 OK\r\nContent-Type: application/xml\r\n\r\n",
            "<user id=\"7\"><name>Kea</name><tag>a</tag><tag>b</tag><note lang=\"en\"> hi </note></user>");
    EXPECT_EQ(atPath(QStringLiteral("user.id")), QStringLiteral("7"));
    EXPECT_EQ(atPath(QStringLiteral("user.name")), QStringLiteral("Kea"));
    EXPECT_EQ(atPath(QStringLiteral("user.tag[1]")), QStringLiteral("b"));
    EXPECT_EQ(atPath(QStringLiteral("user.note.text")), QStringLiteral("hi"));
    EXPECT_EQ(atPath(QStringLiteral("user.note.lang")), QStringLiteral("en"));

    respond("HTTP/1.1 200 OK\r\nContent-Type: application/x-www-form-urlencoded\r\n\r\n", "token=a%2Fb+c&empty=&flag");
    EXPECT_EQ(atPath(QStringLiteral("token")), QStringLiteral("a/b c"));
    EXPECT_EQ(atPath(QStringLiteral("empty")), QString());
    // Text bodies are not parsed automatically.
    respond("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n", "{\"a\":1}");
    EXPECT_EQ(atPath(QStringLiteral("a")), QString());
    EXPECT_EQ(atPath(QStringLiteral("a"), HXResponseBodyPathDynamicValue::FormatJSON), QStringLiteral("1"));
}

TEST_F(ResponseValuesTest, HeadersRawBodyAndLength)
{
    respond("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nX-Token: abc\r\n\r\n", "hello");
    auto header = HXDynamicValue::make<HXResponseHeaderDynamicValue>();
    header->setRequest(source);
    header->setHeader(QStringLiteral("content-type"));
    EXPECT_EQ(evaluate(header), QStringLiteral("text/plain"));
    EXPECT_EQ(header->displayString(), QStringLiteral("Login: content-type"));
    header->setHeader(QStringLiteral("X-Missing"));
    EXPECT_EQ(evaluate(header), QString());

    auto length = HXDynamicValue::make<HXResponseBodyLengthDynamicValue>();
    length->setRequest(source);
    EXPECT_EQ(evaluate(length), QStringLiteral("5"));
    respond("HTTP/1.1 200 OK\r\ncontent-length: 0042\r\n\r\n", "hello");
    EXPECT_EQ(evaluate(length), QStringLiteral("0042")); // as it stands

    auto raw = HXDynamicValue::make<HXResponseRawBodyDynamicValue>();
    raw->setRequest(source);
    respond("HTTP/1.1 200 OK\r\n\r\n", QByteArray("\x00\xff\x01", 3));
    EXPECT_EQ(HXDynamicValueEngine::evaluateStringAsData(raw->archivedString()), QByteArray("\x00\xff\x01", 3));
}

TEST_F(ResponseValuesTest, NothingWithoutARequestOrAResponse)
{
    auto header = HXDynamicValue::make<HXResponseHeaderDynamicValue>();
    header->setHeader(QStringLiteral("Content-Type"));
    auto raw = HXDynamicValue::make<HXResponseRawBodyDynamicValue>();
    auto length = HXDynamicValue::make<HXResponseBodyLengthDynamicValue>();
    auto path = HXDynamicValue::make<HXResponseBodyPathDynamicValue>();
    path->setKeyPath(QStringLiteral("a"));
    const QList<std::pair<HXDynamicValuePtr, QString>> values = {{header, QStringLiteral("Response Header")},
                                                                 {raw, QStringLiteral("Response Raw Body")},
                                                                 {length, QStringLiteral("Response Body Length")},
                                                                 {path, QStringLiteral("Response Parsed Body")}};
    for (const auto &[value, title] : values) {
        EXPECT_EQ(value->displayString(), title);
        EXPECT_EQ(evaluate(value), QString()) << title.toStdString();
        static_cast<HXResponseDynamicValue *>(value.get())->setRequest(source); // never sent
        EXPECT_EQ(evaluate(value), QString()) << title.toStdString();
    }
    EXPECT_EQ(raw->displayString(), QStringLiteral("Login"));
}

TEST_F(ResponseValuesTest, CookiesJoinEnabledRows)
{
    auto cookies = HXDynamicValue::make<HXCookieDynamicValue>();
    cookies->setKeyValues({{QStringLiteral("a"), QStringLiteral("1"), true},
                           {QStringLiteral("b"), QStringLiteral("2"), false},
                           {QStringLiteral("c"), QStringLiteral("3 4;"), true}});
    EXPECT_EQ(evaluate(cookies), QStringLiteral("a=1; c=3 4;"));
    EXPECT_EQ(cookies->displayString(), QStringLiteral("Cookies"));
    const auto cookieDefault = HXRequest::defaultValueForHeader(QStringLiteral("COOKIE"));
    ASSERT_TRUE(cookieDefault.has_value());
    EXPECT_EQ(HXDynamicValueEngine::unarchiveAttributedString(*cookieDefault).onlyDynamicValue()->className(),
              QStringLiteral("HXCookieDynamicValue"));
}

TEST(ResponseBodyReaderTest, KeyPathsAndDeepXML)
{
    EXPECT_EQ(HXResponseBodyReader::keyPathComponents(QStringLiteral("a.b[0]..c\\.d\\[e]")),
              QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("0"), QStringLiteral("c.d[e")}));
    EXPECT_EQ(HXResponseBodyReader::stringAtKeyPath(QString(), QStringLiteral("whole")), QStringLiteral("whole"));
    EXPECT_EQ(HXResponseBodyReader::stringAtKeyPath(QStringLiteral("0"), QVariantList{QStringLiteral("x")}),
              QStringLiteral("x"));
    EXPECT_EQ(HXResponseBodyReader::stringAtKeyPath(QStringLiteral("-1"), QVariantList{QStringLiteral("x")}),
              QString());

    // Deeply nested XML is read without exhausting the stack.
    QByteArray deep;
    for (int i = 0; i < 5000; ++i)
        deep += "<e>";
    deep += "x";
    for (int i = 0; i < 5000; ++i)
        deep += "</e>";
    // libxml2 may refuse such depth by its own limit; either way, no crash.
    (void)HXResponseBodyReader::objectFromXML(deep);
    EXPECT_FALSE(HXResponseBodyReader::objectFromXML("<broken>").isValid());
    EXPECT_FALSE(HXResponseBodyReader::objectFromJSON("{\"a\":").isValid());
    EXPECT_EQ(HXResponseBodyReader::objectFromJSON("42").toLongLong(), 42);
}

} // namespace
