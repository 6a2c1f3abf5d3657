#include "HXBase64EncodingDynamicValue.h"
#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXDocument.h"
#include "HXDynamicValueContext.h"
#include "HXDynamicValueEngine.h"
#include "HXFileContentDynamicValue.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXNonceDynamicValue.h"
#include "HXRequest.h"
#include "HXRequestEvaluationContext.h"
#include "HXRequestGroup.h"
#include "HXTestSupport.h"
#include "HXUserDefaults.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Pairs = QList<std::pair<QString, QString>>;

class RequestAssemblyTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        for (const char *key : {"HXUserDefaultAutoContentType", "HXUserDefaultURLEncodingURLPaths",
                                "HXUserDefaultConvertInternationalizedDomainNames"})
            HXUserDefaults::standardUserDefaults().removeObjectForKey(QLatin1String(key));
    }

    HXManagedObjectContext *context() { return document.managedObjectContext(); }
    HXRequestGroup *folder(const QString &name, HXRequestGroup *parent = nullptr)
    {
        auto *group = context()->insertNewObject<HXRequestGroup>(HXRequestGroup::staticEntityName());
        group->setName(name);
        group->setParent(parent);
        return group;
    }
    HXRequest *request(HXRequestGroup *parent = nullptr, const QString &method = QStringLiteral("GET"))
    {
        auto *request = context()->insertNewObject<HXRequest>(HXRequest::staticEntityName());
        request->setName(QStringLiteral("r"));
        request->setMethod(method);
        request->setUrl(QStringLiteral("http://example.test/"));
        request->setParent(parent);
        return request;
    }
    static HXKeyValue *row(HXManagedObject *owner, const QString &relationship, const QString &name,
                           const QString &value)
    {
        return HXKeyValue::addKeyValueName(name, value, relationship, owner);
    }
    static Pairs pairs(const HXRequestHeaderList &headers)
    {
        Pairs result;
        for (const HXRequestHeaderEntry &entry : headers)
            result.append({entry.name, entry.value});
        return result;
    }
    static QString formBody(const HXDynamicKeyValueRows &rows)
    {
        auto form = HXDynamicValue::make<HXBodyFormKeyValueDynamicValue>();
        form->setKeyValues(rows);
        return form->archivedString();
    }
    static QString multipartBody(const HXDynamicKeyValueRows &rows)
    {
        auto multipart = HXDynamicValue::make<HXBodyMultipartFormDataDynamicValue>();
        multipart->setKeyValues(rows);
        return multipart->archivedString();
    }
    static void setBool(const char *key, bool value)
    {
        HXUserDefaults::standardUserDefaults().setBool(value, QLatin1String(key));
    }

    HXDocument document;
};

TEST_F(RequestAssemblyTest, EmptyURLGoesToTheEchoServiceAndURLsAreTrimmed)
{
    HXRequest *r = request();
    r->setUrl(QString());
    HXRequestAssembly assembly = r->evaluateWithDocument(&document);
    ASSERT_TRUE(assembly.URL.has_value());
    EXPECT_EQ(assembly.URL->toString(), QStringLiteral("http://127.0.0.1:8765/"));
    EXPECT_EQ(HXRequest::defaultURL(), QStringLiteral("http://127.0.0.1:8765/"));

    r->setUrl(QStringLiteral("  http://a.test/x?y=1 \n"));
    bool called = false;
    assembly = r->evaluateWithDocument(&document, [&](const HXRequestAssembly &given) {
        called = true;
        EXPECT_EQ(given.URL, std::optional<QUrl>(QUrl(QStringLiteral("http://a.test/x?y=1"))));
    });
    EXPECT_TRUE(called);
    EXPECT_EQ(assembly.URL->toString(), QStringLiteral("http://a.test/x?y=1"));

    r->setUrl(QStringLiteral("http://exa mple.test/"));
    EXPECT_FALSE(r->evaluateWithDocument(&document).URL.has_value());
    r->setUrl(QStringLiteral("http://[::1/"));
    EXPECT_FALSE(r->evaluatedURLUsingEncoding(HXStringEncoding::UTF8).has_value());
}

TEST_F(RequestAssemblyTest, FolderHeadersAreInheritedAndOverriddenInOrder)
{
    HXRequestGroup *outer = folder(QStringLiteral("outer"));
    HXRequestGroup *inner = folder(QStringLiteral("inner"), outer);
    HXRequest *r = request(inner);
    row(outer, QStringLiteral("groupForHeaders"), QStringLiteral("Accept"), QStringLiteral("a"));
    row(outer, QStringLiteral("groupForHeaders"), QStringLiteral("X-Level"), QStringLiteral("outer"));
    row(outer, QStringLiteral("groupForHeaders"), QStringLiteral("X-Outer"), QStringLiteral("o"));
    row(inner, QStringLiteral("groupForHeaders"), QStringLiteral("x-level"), QStringLiteral("inner"));
    // Rows are taken by `order`, not by insertion.
    HXKeyValue *second = row(r, QStringLiteral("request"), QStringLiteral("X-Twice"), QStringLiteral("2"));
    HXKeyValue *first = row(r, QStringLiteral("request"), QStringLiteral("X-Twice"), QStringLiteral("1"));
    first->setOrder(0);
    second->setOrder(1);
    row(r, QStringLiteral("request"), QStringLiteral("accept"), QStringLiteral("b"))->setOrder(2);
    row(r, QStringLiteral("request"), QStringLiteral("X-Off"), QStringLiteral("x"))->setEnabled(false);
    row(r, QStringLiteral("request"), QString(), QStringLiteral("nameless"));
    row(r, QStringLiteral("request"), QStringLiteral("X-Empty"), QString());

    const HXRequestHeaderList headers = r->evaluateWithDocument(&document).headers;
    EXPECT_EQ(pairs(headers), (Pairs{{QStringLiteral("X-Twice"), QStringLiteral("1")},
                                     {QStringLiteral("X-Twice"), QStringLiteral("2")},
                                     {QStringLiteral("accept"), QStringLiteral("b")},
                                     {QStringLiteral("X-Empty"), QString()},
                                     {QStringLiteral("x-level"), QStringLiteral("inner")},
                                     {QStringLiteral("X-Outer"), QStringLiteral("o")}}));
    // The stored texts travel with each entry.
    EXPECT_EQ(headers.at(4).attributedStringName, QStringLiteral("x-level"));
    EXPECT_EQ(headers.at(4).attributedStringValue, QStringLiteral("inner"));
    EXPECT_EQ(r->evaluatedHeadersDictionaryRevealedEncoding().value(QStringLiteral("X-Twice")), QStringLiteral("2"));
}

TEST_F(RequestAssemblyTest, ContentTypeCharsetEncodesURLAndBodyButNotHeaders)
{
    // Tokens that encode their input use ASCII in headers and the request's
    // charset in the URL and the body.
    auto base64 = [](const QString &input) {
        auto value = HXDynamicValue::make<HXBase64EncodingDynamicValue>();
        value->setInput(input);
        return value->archivedString();
    };
    HXRequest *r = request(nullptr, QStringLiteral("POST"));
    r->setUrl(QStringLiteral("http://h.test/caf\u00e9?q=\u00e9"));
    r->setBody(QStringLiteral("caf\u00e9"));
    row(r, QStringLiteral("request"), QStringLiteral("X-Name"), base64(QStringLiteral("\u00e9")));
    HXKeyValue *type = row(r, QStringLiteral("request"), QStringLiteral("content-type"),
                           QStringLiteral("text/plain; charset=iso-8859-1"));

    HXRequestAssembly assembly = r->evaluateWithDocument(&document);
    EXPECT_EQ(assembly.bodyEncoding, HXStringEncoding::ISOLatin1);
    EXPECT_EQ(assembly.bodyData, QByteArray("caf\xe9"));
    EXPECT_EQ(assembly.URL->toString(QUrl::FullyEncoded), QStringLiteral("http://h.test/caf%E9?q=%E9"));
    EXPECT_EQ(assembly.headers.at(0).value, QStringLiteral("Pw==")); // "?"
    r->setBody(base64(QStringLiteral("\u00e9\u00e9")));
    EXPECT_EQ(r->evaluateWithDocument(&document).bodyData, QByteArray("6ek="));
    r->setBody(QStringLiteral("caf\u00e9"));

    // Without a charset the request stays UTF-8; an unknown one falls back to it.
    type->setValue(QStringLiteral("text/plain"));
    assembly = r->evaluateWithDocument(&document);
    EXPECT_EQ(assembly.bodyEncoding, HXStringEncoding::UTF8);
    EXPECT_EQ(assembly.bodyData, QByteArray("caf\xc3\xa9"));
    EXPECT_EQ(assembly.URL->toString(QUrl::FullyEncoded), QStringLiteral("http://h.test/caf%C3%A9?q=%C3%A9"));
    type->setValue(QStringLiteral("text/plain; charset=\"no-such-charset\""));
    EXPECT_EQ(r->evaluateWithDocument(&document).bodyEncoding, HXStringEncoding::UTF8);
}

TEST_F(RequestAssemblyTest, FolderBodyParametersMakeFormsOfEmptyBodies)
{
    HXRequestGroup *outer = folder(QStringLiteral("outer"));
    HXRequestGroup *inner = folder(QStringLiteral("inner"), outer);
    row(outer, QStringLiteral("groupForBodyParameters"), QStringLiteral("o"), QStringLiteral("1"));
    row(inner, QStringLiteral("groupForBodyParameters"), QStringLiteral("i"), QStringLiteral("a b"));
    row(inner, QStringLiteral("groupForBodyParameters"), QStringLiteral("off"), QStringLiteral("x"))->setEnabled(false);

    HXRequest *post = request(inner, QStringLiteral("post"));
    EXPECT_EQ(post->evaluateWithDocument(&document).bodyData, QByteArray("i=a+b&o=1"));

    HXRequest *get = request(inner);
    EXPECT_EQ(get->evaluateWithDocument(&document).bodyData, QByteArray());
    // A form Content-Type makes a form even on GET.
    row(get, QStringLiteral("request"), QStringLiteral("Content-Type"),
        QStringLiteral("application/x-www-form-urlencoded; charset=utf-8"));
    EXPECT_EQ(get->evaluateWithDocument(&document).bodyData, QByteArray("i=a+b&o=1"));

    // A form body keeps its own rows first; a text body ignores folder fields.
    post->setBody(formBody({{QStringLiteral("own"), QStringLiteral("&"), true}}));
    EXPECT_EQ(post->evaluateWithDocument(&document).bodyData, QByteArray("own=%26&i=a+b&o=1"));
    post->setBody(QStringLiteral("raw"));
    EXPECT_EQ(post->evaluateWithDocument(&document).bodyData, QByteArray("raw"));

    // A multipart Content-Type on an inherited header gives multipart parts
    // with the boundary it names.
    HXRequest *put = request(inner, QStringLiteral("PUT"));
    row(outer, QStringLiteral("groupForHeaders"), QStringLiteral("Content-Type"),
        QStringLiteral("multipart/form-data; boundary=abc"));
    EXPECT_EQ(put->evaluateWithDocument(&document).bodyData,
              QByteArray("--abc\r\nContent-Disposition: form-data; name=\"i\"\r\n\r\na b\r\n"
                         "--abc\r\nContent-Disposition: form-data; name=\"o\"\r\n\r\n1\r\n--abc--\r\n"));
}

TEST_F(RequestAssemblyTest, AutomaticContentTypeFollowsTheBodyKind)
{
    HXRequest *r = request(nullptr, QStringLiteral("POST"));
    auto automatic = [&] {
        HXRequestAssembly assembly = r->evaluateWithDocument(&document);
        const HXRequestAssembly before = assembly;
        r->performAutomaticRequestModificationsWithURL(assembly);
        EXPECT_EQ(assembly.URL, before.URL);
        EXPECT_EQ(assembly.bodyData, before.bodyData);
        return assembly.headers.valueForHTTPHeaderName(QStringLiteral("Content-Type"));
    };
    r->setBody(formBody({{QStringLiteral("a"), QStringLiteral("1"), true}}));
    EXPECT_EQ(automatic(), QStringLiteral("application/x-www-form-urlencoded"));
    r->setBody(multipartBody({{QStringLiteral("a"), QStringLiteral("1"), true}}));
    EXPECT_EQ(automatic(), QStringLiteral("multipart/form-data; boundary=__X_KEA_BOUNDARY__"));

    QTemporaryDir folder;
    const QString png = folder.filePath(QStringLiteral("image.png"));
    ASSERT_TRUE(HXTest::writeFile(png, QByteArray("\x89PNG")));
    auto file = HXDynamicValue::make<HXFileContentDynamicValue>();
    file->setFilePath(png, QString());
    r->setBody(file->archivedString());
    EXPECT_EQ(automatic(), QStringLiteral("image/png"));
    EXPECT_EQ(r->evaluateWithDocument(&document).bodyData, QByteArray("\x89PNG"));
    file->setBookmarkData(QByteArray());
    r->setBody(file->archivedString());
    EXPECT_EQ(automatic(), QStringLiteral("application/octet-stream"));

    // Text bodies, an explicit Content-Type, or the setting off: nothing added.
    r->setBody(QStringLiteral("text"));
    EXPECT_EQ(automatic(), std::nullopt);
    r->setBody(multipartBody({{QStringLiteral("a"), QStringLiteral("1"), true}}));
    setBool("HXUserDefaultAutoContentType", false);
    EXPECT_EQ(automatic(), std::nullopt);
    setBool("HXUserDefaultAutoContentType", true);
    row(r, QStringLiteral("request"), QStringLiteral("content-TYPE"), QStringLiteral("text/x-mine"));
    EXPECT_EQ(automatic(), QStringLiteral("text/x-mine"));
}

TEST_F(RequestAssemblyTest, HeaderListOperations)
{
    const HXRequestHeaderList list{{QStringLiteral("Content-Type"), QStringLiteral("a"), {}, {}},
                                   {QStringLiteral("X-[x]"), QStringLiteral("b"), {}, {}},
                                   {QStringLiteral("content-type"), QStringLiteral("c"), {}, {}},
                                   {QStringLiteral("X-Empty"), QString(), {}, {}}};
    EXPECT_TRUE(list.hasHTTPHeaderName(QStringLiteral("CONTENT-TYPE")));
    EXPECT_TRUE(list.hasHTTPHeaderName(QStringLiteral("content-*")));
    EXPECT_TRUE(list.hasHTTPHeaderName(QStringLiteral("X-[?]")));
    EXPECT_FALSE(list.hasHTTPHeaderName(QStringLiteral("X-[")));
    EXPECT_FALSE(list.hasHTTPHeaderName(QStringLiteral("content")));
    EXPECT_FALSE(list.hasHTTPHeaderName(QStringLiteral("X-x")));
    EXPECT_EQ(list.valueForHTTPHeaderName(QStringLiteral("CONTENT-type")), QStringLiteral("a"));
    EXPECT_EQ(list.valueForHTTPHeaderName(QStringLiteral("X-Empty")), QString());
    EXPECT_EQ(list.valueForHTTPHeaderName(QStringLiteral("missing")), std::nullopt);
    const QMap<QString, QString> expected{{QStringLiteral("Content-Type"), QStringLiteral("a")},
                                          {QStringLiteral("X-[x]"), QStringLiteral("b")},
                                          {QStringLiteral("content-type"), QStringLiteral("c")}};
    EXPECT_EQ(list.headersDictionaryFromArray(), expected);
    EXPECT_EQ(HXRequestHeaderList::HTTPHeaderParameter(QStringLiteral("text/plain; CharSet=\"latin1\" ; x=1"),
                                                       QStringLiteral("charset")),
              QStringLiteral("latin1"));
    EXPECT_EQ(HXRequestHeaderList::HTTPHeaderParameter(QStringLiteral("text/plain"), QStringLiteral("charset")),
              std::nullopt);
}

TEST_F(RequestAssemblyTest, URLConversionFollowsTheSettings)
{
    const auto convert = &HXRequest::stringByConvertingInternationalDomainNames;
    EXPECT_EQ(convert(QStringLiteral("http://b\u00fccher.test:81/a b?q=\u00fc#f"), true, false, HXStringEncoding::UTF8),
              QStringLiteral("http://xn--bcher-kva.test:81/a%20b?q=%C3%BC#f"));
    EXPECT_EQ(convert(QStringLiteral("http://user@b\u00fccher.test/"), false, false, HXStringEncoding::UTF8),
              QStringLiteral("http://user@b\u00fccher.test/"));
    EXPECT_EQ(convert(QStringLiteral("http://h/%20x?q=%20"), true, true, HXStringEncoding::UTF8),
              QStringLiteral("http://h/%2520x?q=%20"));
    EXPECT_EQ(convert(QStringLiteral("http://h/%20x?q=%20"), true, false, HXStringEncoding::UTF8),
              QStringLiteral("http://h/%20x?q=%20"));
    EXPECT_EQ(convert(QStringLiteral("http://[::1]:80/\"<>\""), true, false, HXStringEncoding::UTF8),
              QStringLiteral("http://[::1]:80/%22%3C%3E%22"));

    // Empty hosts and odd authorities pass through.
    for (const char *text : {"http://", "http:///x", "http://@/", "http://:80/", "mailto:a b", "a b"})
        EXPECT_EQ(convert(QLatin1String(text), true, true, HXStringEncoding::UTF8),
                  QString::fromLatin1(text).replace(QStringLiteral(" "), QStringLiteral("%20")));

    HXRequest *r = request();
    r->setUrl(QStringLiteral("http://h.test/100%"));
    EXPECT_FALSE(r->evaluatedURLUsingEncoding(HXStringEncoding::UTF8).has_value());
    setBool("HXUserDefaultURLEncodingURLPaths", true);
    EXPECT_EQ(r->evaluatedURLUsingEncoding(HXStringEncoding::UTF8)->toString(QUrl::FullyEncoded),
              QStringLiteral("http://h.test/100%25"));
    r->setUrl(QStringLiteral("http://b\u00fccher.test/"));
    EXPECT_EQ(r->evaluatedURLStringUsingEncoding(HXStringEncoding::UTF8), QStringLiteral("http://xn--bcher-kva.test/"));
    setBool("HXUserDefaultConvertInternationalizedDomainNames", false);
    EXPECT_EQ(r->evaluatedURLStringUsingEncoding(HXStringEncoding::UTF8), QStringLiteral("http://b\u00fccher.test/"));
}

TEST_F(RequestAssemblyTest, OnePassSharesValuesAndNestedStepsRestoreTheContext)
{
    HXRequest *r = request(nullptr, QStringLiteral("POST"));
    const QString nonce = HXDynamicValue::make<HXNonceDynamicValue>()->archivedString();
    row(r, QStringLiteral("request"), QStringLiteral("X-Nonce"), nonce);
    r->setBody(nonce);
    const HXRequestAssembly assembly = r->evaluateWithDocument(&document);
    EXPECT_EQ(assembly.headers.at(0).value.size(), 32);
    EXPECT_EQ(assembly.headers.at(0).value.toLatin1(), assembly.bodyData);
    // Separate passes compute it again.
    EXPECT_NE(r->evaluateWithDocument(&document).bodyData, assembly.bodyData);

    // Inside an outer pass (as a signature value would be), the steps leave
    // the context's encoding and header row as they found them.
    auto outer = std::make_shared<HXRequestEvaluationContext>(&document);
    outer->setRequest(r);
    outer->setCurrentStringEncoding(HXStringEncoding::ISOLatin1);
    HXKeyValue *marker = r->headers().first();
    outer->setHeader(marker);
    outer->executeWithBlock([&] {
        r->evaluateWithDocument(&document);
        r->evaluatedHeadersArrayRevealedEncoding();
    });
    EXPECT_EQ(outer->currentStringEncoding(), HXStringEncoding::ISOLatin1);
    EXPECT_EQ(outer->header(), marker);
}

} // namespace
