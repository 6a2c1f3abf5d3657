#include "HXAmazonS3HeaderDynamicValue.h"
#include "HXAmazonS3SignatureParameterDynamicValue.h"
#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXDocument.h"
#include "HXDynamicValueEngine.h"
#include "HXFileContentDynamicValue.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXNonceDynamicValue.h"
#include "HXRequest.h"
#include "HXTestSupport.h"
#include "HXTimestampDynamicValue.h"
#include "HXUndoManager.h"
#include "HXUserDefaults.h"

#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class WarningTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        HXUserDefaults::standardUserDefaults().removeObjectForKey(QStringLiteral("HXUserDefaultAutoContentType"));
    }

    HXManagedObjectContext *context() { return document.managedObjectContext(); }
    HXUndoManager *undo() { return context()->undoManager(); }

    HXRequest *request(const QString &method = QStringLiteral("GET"),
                       const QString &url = QStringLiteral("http://h.test/"))
    {
        auto *request = context()->insertNewObject<HXRequest>(HXRequest::staticEntityName());
        request->setMethod(method);
        request->setUrl(url);
        context()->processPendingChanges();
        return request;
    }
    HXKeyValue *header(HXRequest *r, const QString &name, const QString &value)
    {
        HXKeyValue *row = HXKeyValue::addKeyValueName(name, value, QStringLiteral("request"), r);
        context()->processPendingChanges();
        return row;
    }
    QStringList texts(HXRequest *r)
    {
        QStringList result;
        for (const HXWarning &warning : r->warningsWithDocument(&document))
            result.append(warning.text());
        return result;
    }
    // The one warning with `text`; fails the test when it is missing.
    HXWarning warning(HXRequest *r, const QString &text)
    {
        for (const HXWarning &warning : r->warningsWithDocument(&document)) {
            if (warning.text() == text)
                return warning;
        }
        ADD_FAILURE() << "no warning " << text.toStdString();
        return HXWarning(QString());
    }
    // Presses the button: one undo step named like it, views told.
    void press(const HXWarning &warning, const QString &button)
    {
        context()->processPendingChanges(); // close the test's own edits first
        QSignalSpy changes(context(), &HXManagedObjectContext::objectsDidChange);
        const int steps = undo()->undoCount();
        ASSERT_TRUE(warning.performButtonNamed(button)) << button.toStdString();
        EXPECT_EQ(undo()->undoCount(), steps + 1);
        EXPECT_EQ(undo()->undoActionName(), button);
        EXPECT_GE(changes.count(), 1);
    }
    static void setAutoContentType(bool on)
    {
        HXUserDefaults::standardUserDefaults().setBool(on, QStringLiteral("HXUserDefaultAutoContentType"));
    }

    HXDocument document;
};

TEST_F(WarningTest, ACorrectRequestHasNone)
{
    HXRequest *r = request(QStringLiteral("POST"));
    header(r, QStringLiteral("Accept-Encoding"), QStringLiteral("gzip, identity"));
    header(r, QStringLiteral("Accept"), QStringLiteral("*/*"));
    r->setBody(QStringLiteral("x"));
    EXPECT_EQ(texts(r), QStringList());
    r->setMethod(QStringLiteral("get"));
    r->setBody(QString());
    EXPECT_EQ(texts(r), QStringList());
}

TEST_F(WarningTest, BodyOnAMethodWithoutOne)
{
    HXRequest *r = request(QStringLiteral("delete"));
    r->setBody(QStringLiteral("payload"));
    const HXWarning w = warning(r, QStringLiteral("DELETE requests shouldn't have a body"));
    EXPECT_EQ(w.buttonsNames(), (QStringList{QStringLiteral("Remove Body"), QStringLiteral("Change to POST")}));
    EXPECT_EQ(w.buttonsActions().size(), 2);

    press(w, QStringLiteral("Remove Body"));
    EXPECT_EQ(r->body(), QString());
    EXPECT_EQ(texts(r), QStringList());
    undo()->undo();
    EXPECT_EQ(r->body(), QStringLiteral("payload"));

    press(warning(r, QStringLiteral("DELETE requests shouldn't have a body")), QStringLiteral("Change to POST"));
    EXPECT_EQ(r->method(), QStringLiteral("POST"));
    EXPECT_EQ(texts(r), QStringList());
    undo()->undo();
    EXPECT_EQ(r->storedMethod(), QStringLiteral("delete"));
}

TEST_F(WarningTest, URLProtocolAndInvalidURL)
{
    HXRequest *r = request(QStringLiteral("GET"), QStringLiteral("ftp://h.test/file"));
    press(warning(r, QStringLiteral("Invalid URL protocol")), QStringLiteral("Use http"));
    EXPECT_EQ(r->url(), QStringLiteral("http://h.test/file"));
    undo()->undo();
    EXPECT_EQ(r->url(), QStringLiteral("ftp://h.test/file"));

    // Without a scheme, "http://" is put in front; tokens are kept.
    HXDynamicString url(QStringLiteral("h.test/"));
    url.appendDynamicValue(HXDynamicValue::make<HXTimestampDynamicValue>());
    r->setUrl(HXDynamicValueEngine::archiveAttributedString(url));
    press(warning(r, QStringLiteral("Invalid URL protocol")), QStringLiteral("Use http"));
    const HXDynamicString fixed = HXDynamicValueEngine::unarchiveAttributedString(r->url());
    EXPECT_TRUE(fixed.string().startsWith(u"http://h.test/"));
    EXPECT_EQ(fixed.attachments().size(), 1);

    r->setUrl(QStringLiteral("http://h .test/"));
    EXPECT_EQ(texts(r), QStringList{QStringLiteral("Invalid URL")});
    press(warning(r, QStringLiteral("Invalid URL")), QStringLiteral("Reset the default URL"));
    EXPECT_EQ(r->url(), QString());
    EXPECT_EQ(texts(r), QStringList());
    undo()->undo();
    EXPECT_EQ(r->url(), QStringLiteral("http://h .test/"));
}

TEST_F(WarningTest, HeaderRowsInListOrder)
{
    HXRequest *r = request();
    HXKeyValue *nameless = header(r, QString(), QStringLiteral("v"));
    HXKeyValue *valueless = header(r, QStringLiteral("Cache-Control"), QString());
    HXKeyValue *custom = header(r, QStringLiteral("X-Custom"), QString());
    HXKeyValue *connection = header(r, QStringLiteral("connection"), QStringLiteral("close"));
    header(r, QStringLiteral("Content-Length"), QStringLiteral("3"));
    HXKeyValue *encoding = header(r, QStringLiteral("Accept-Encoding"), QStringLiteral("gzip;q=1, deflate"));
    header(r, QStringLiteral("X-A"), QStringLiteral("1"));
    HXKeyValue *a2 = header(r, QStringLiteral("X-A"), QStringLiteral("2"));
    HXKeyValue *a3 = header(r, QStringLiteral("X-A"), QStringLiteral("3"));
    header(r, QStringLiteral("x-a"), QStringLiteral("other case"));
    header(r, QStringLiteral("X-Off"), QString())->setEnabled(false);
    header(r, QString(), QString());
    EXPECT_EQ(texts(r),
              (QStringList{QStringLiteral("Header v won't be sent because its name is empty"),
                           QStringLiteral("Header Cache-Control won't be sent because its value is empty"),
                           QStringLiteral("Header X-Custom won't be sent because its value is empty"),
                           QStringLiteral("Connection type shouldn't be changed"),
                           QStringLiteral("Setting manually the Content-Length can create a malformed request"),
                           QStringLiteral("Kea supports only gzip and identity encodings"),
                           QStringLiteral("Multiple occurrences of header X-A")}));
    const QList<HXWarning> all = r->warningsWithDocument(&document);
    EXPECT_EQ(all.at(1).buttonsNames(),
              (QStringList{QStringLiteral("Disable header"), QStringLiteral("Set default value")}));
    EXPECT_EQ(all.at(2).buttonsNames(), QStringList{QStringLiteral("Disable header")});
    EXPECT_EQ(all.at(3).buttonsNames(), QStringList{QStringLiteral("Delete connection header")});
    EXPECT_EQ(all.at(5).buttonsNames(),
              (QStringList{QStringLiteral("Set default encoding"), QStringLiteral("Delete Accept-Encoding header")}));

    press(all.at(0), QStringLiteral("Disable header"));
    EXPECT_FALSE(nameless->enabled());
    press(all.at(1), QStringLiteral("Set default value"));
    EXPECT_EQ(valueless->value(), QStringLiteral("no-cache"));
    press(all.at(2), QStringLiteral("Disable header"));
    EXPECT_FALSE(custom->enabled());
    press(all.at(3), QStringLiteral("Delete connection header"));
    EXPECT_FALSE(connection->isLive());
    press(all.at(5), QStringLiteral("Set default encoding"));
    EXPECT_EQ(encoding->value(), QStringLiteral("gzip, identity"));
    press(all.at(6), QStringLiteral("Disable last occurrences"));
    EXPECT_FALSE(a2->enabled());
    EXPECT_FALSE(a3->enabled());
    EXPECT_EQ(texts(r),
              QStringList{QStringLiteral("Setting manually the Content-Length can create a malformed request")});

    // Each press was its own step: undo them back to the start.
    undo()->undo();
    EXPECT_TRUE(a2->enabled());
    EXPECT_TRUE(a3->enabled());
    undo()->undo();
    EXPECT_EQ(encoding->value(), QStringLiteral("gzip;q=1, deflate"));
    undo()->undo();
    EXPECT_TRUE(connection->isLive());
    EXPECT_EQ(connection->request(), r);
    undo()->undo();
    EXPECT_TRUE(custom->enabled());
    undo()->undo();
    EXPECT_EQ(valueless->value(), QString());
    undo()->undo();
    EXPECT_TRUE(nameless->enabled());
    EXPECT_EQ(texts(r).size(), 7);
}

TEST_F(WarningTest, LineBreaksInAHeader)
{
    HXRequest *r = request();
    HXKeyValue *token = header(r, QStringLiteral("X-Token"), QStringLiteral("t\r\nX-Injected: 1"));
    const QList<HXWarning> warnings = r->warningsWithDocument(&document);
    ASSERT_EQ(texts(r), QStringList{QStringLiteral("Header X-Token contains a line break and can't be sent")});
    press(warnings.first(), QStringLiteral("Disable header"));
    EXPECT_FALSE(token->enabled());
}

TEST_F(WarningTest, AcceptEncodingCodings)
{
    HXRequest *r = request();
    HXKeyValue *row = header(r, QStringLiteral("accept-encoding"), QString());
    const QString warningText = QStringLiteral("Kea supports only gzip and identity encodings");
    for (const char *value : {"gzip, identity", "gzip ; q=1,identity;q=0.5", "gzip,,", ";q=1"}) {
        row->setValue(QLatin1String(value));
        EXPECT_FALSE(texts(r).contains(warningText)) << value;
    }
    for (const char *value : {"br", "gzip, deflate", "GZIP", "gzip;q=1, x-gzip"}) {
        row->setValue(QLatin1String(value));
        EXPECT_TRUE(texts(r).contains(warningText)) << value;
    }
    press(warning(r, warningText), QStringLiteral("Delete Accept-Encoding header"));
    EXPECT_FALSE(row->isLive());
    undo()->undo();
    EXPECT_TRUE(row->isLive());
}

TEST_F(WarningTest, ContentTypeOfFormFileAndMultipartBodies)
{
    const QString formText = QStringLiteral("Set Content-Type header to 'application/x-www-form-urlencoded'");
    HXRequest *r = request(QStringLiteral("POST"));
    auto form = HXDynamicValue::make<HXBodyFormKeyValueDynamicValue>();
    form->setKeyValues({{QStringLiteral("a"), QStringLiteral("1"), true}});
    r->setBody(form->archivedString());
    EXPECT_EQ(texts(r), QStringList()); // the automatic Content-Type will do
    setAutoContentType(false);
    EXPECT_EQ(texts(r), QStringList{formText});
    setAutoContentType(true);
    HXKeyValue *type = header(r, QStringLiteral("content-type"), QStringLiteral("text/plain"));
    press(warning(r, formText), QStringLiteral("Set Content-Type header"));
    // setHeaderName compares names exactly: a new row is added.
    EXPECT_EQ(type->value(), QStringLiteral("text/plain"));
    EXPECT_EQ(r->headers().size(), 2);
    undo()->undo();
    EXPECT_EQ(r->headers().size(), 1);
    type->setName(QStringLiteral("Content-Type"));
    press(warning(r, formText), QStringLiteral("Set Content-Type header"));
    EXPECT_EQ(type->value(), QStringLiteral("application/x-www-form-urlencoded"));
    EXPECT_EQ(texts(r), QStringList());

    // A file body: only with the automatic Content-Type off.
    QTemporaryDir folder;
    const QString png = folder.filePath(QStringLiteral("picture.png"));
    ASSERT_TRUE(HXTest::writeFile(png, QByteArray("png")));
    auto file = HXDynamicValue::make<HXFileContentDynamicValue>();
    file->setFilePath(png, QString());
    HXRequest *upload = request(QStringLiteral("PUT"));
    upload->setBody(file->archivedString());
    EXPECT_EQ(texts(upload), QStringList());
    setAutoContentType(false);
    const HXWarning fileWarning =
        warning(upload, QStringLiteral("Sending a file without setting a Content-Type header"));
    EXPECT_EQ(fileWarning.buttonsNames(), QStringList{QStringLiteral("Set image/png")});
    press(fileWarning, QStringLiteral("Set image/png"));
    EXPECT_EQ(upload->evaluateWithDocument(&document).headers.valueForHTTPHeaderName(QStringLiteral("Content-Type")),
              QStringLiteral("image/png"));
    EXPECT_EQ(texts(upload), QStringList());

    // A multipart body needs the multipart type and a boundary.
    const QString multipartText = QStringLiteral("Set Content-Type to 'multipart/form-data' and include a boundary");
    auto multipart = HXDynamicValue::make<HXBodyMultipartFormDataDynamicValue>();
    multipart->setKeyValues({{QStringLiteral("a"), QStringLiteral("1"), true}});
    HXRequest *parts = request(QStringLiteral("POST"));
    parts->setBody(multipart->archivedString());
    EXPECT_EQ(texts(parts), QStringList{multipartText});
    setAutoContentType(true);
    EXPECT_EQ(texts(parts), QStringList());
    HXKeyValue *partsType = header(parts, QStringLiteral("Content-Type"), QStringLiteral("multipart/form-data"));
    EXPECT_EQ(texts(parts), QStringList{multipartText});
    press(warning(parts, multipartText), QStringLiteral("Set Content-Type header"));
    EXPECT_EQ(texts(parts), QStringList());
    const HXRequestAssembly assembly = parts->evaluateWithDocument(&document);
    const QString sent = *assembly.headers.valueForHTTPHeaderName(QStringLiteral("Content-Type"));
    ASSERT_TRUE(sent.startsWith(u"multipart/form-data; boundary="));
    const QString boundary = sent.mid(30);
    EXPECT_EQ(boundary.size(), 32);
    EXPECT_TRUE(assembly.bodyData.startsWith(QStringLiteral("--%1\r\n").arg(boundary).toLatin1()));
    undo()->undo();
    EXPECT_EQ(partsType->value(), QStringLiteral("multipart/form-data"));
}

TEST_F(WarningTest, AmazonS3NeedsADateAndQueryParameters)
{
    HXRequest *r = request();
    HXKeyValue *authorization = header(r, QStringLiteral("Authorization"),
                                       HXDynamicValue::make<HXAmazonS3HeaderDynamicValue>()->archivedString());
    press(warning(r, QStringLiteral("Amazon S3 requires a Date header")), QStringLiteral("Add Date header"));
    ASSERT_EQ(r->headers().size(), 2);
    const QList<HXKeyValue *> rows = HXKeyValue::keyValuesForRelationship(QStringLiteral("request"), r);
    EXPECT_EQ(rows.at(1)->name(), QStringLiteral("Date"));
    const auto date = std::dynamic_pointer_cast<HXTimestampDynamicValue>(
        HXDynamicValueEngine::unarchiveAttributedString(rows.at(1)->value()).onlyDynamicValue());
    ASSERT_NE(date, nullptr);
    EXPECT_EQ(date->format(), 2u);
    EXPECT_EQ(texts(r), QStringList());
    undo()->undo();
    EXPECT_EQ(r->headers().size(), 1);
    header(r, QStringLiteral("X-Amz-Date"), QStringLiteral("today"));
    EXPECT_EQ(texts(r), QStringList());
    authorization->setValue(QStringLiteral("AWS key:secret"));

    auto signature = HXDynamicValue::make<HXAmazonS3SignatureParameterDynamicValue>();
    signature->setAccessKeyId(QStringLiteral("AKID"));
    HXDynamicString url(QStringLiteral("http://b.s3.test/o?Signature="));
    url.appendDynamicValue(signature);
    HXRequest *signedURL = request();
    signedURL->setUrl(HXDynamicValueEngine::archiveAttributedString(url));
    EXPECT_EQ(texts(signedURL),
              (QStringList{QStringLiteral("Amazon S3 Signature requires an Expires parameter"),
                           QStringLiteral("Amazon S3 Signature requires an AWSAccessKeyId parameter")}));
    press(warning(signedURL, QStringLiteral("Amazon S3 Signature requires an Expires parameter")),
          QStringLiteral("Add Expires parameter"));
    press(warning(signedURL, QStringLiteral("Amazon S3 Signature requires an AWSAccessKeyId parameter")),
          QStringLiteral("Add AWSAccessKeyId parameter"));
    EXPECT_EQ(texts(signedURL), QStringList());
    const HXDynamicString stored = HXDynamicValueEngine::unarchiveAttributedString(signedURL->url());
    EXPECT_TRUE(stored.string().startsWith(u"http://b.s3.test/o?Signature=\uFFFC&Expires=\uFFFC&AWSAccessKeyId=AKID"));
    ASSERT_NE(stored.attachmentAt(stored.string().indexOf(u"Expires=") + 8), nullptr);
    const auto expires = std::dynamic_pointer_cast<HXTimestampDynamicValue>(
        stored.attachmentAt(stored.string().indexOf(u"Expires=") + 8)->dynamicValue());
    ASSERT_NE(expires, nullptr);
    EXPECT_EQ(expires->format(), 1u);
    EXPECT_EQ(expires->delta(), 60.0);
    undo()->undo();
    undo()->undo();
    EXPECT_EQ(texts(signedURL).size(), 2);
}

TEST_F(WarningTest, ActionsDoNothingOnceTheRequestIsGone)
{
    HXRequest *r = request(QStringLiteral("GET"));
    r->setBody(QStringLiteral("x"));
    const HXWarning w = warning(r, QStringLiteral("GET requests shouldn't have a body"));
    context()->deleteObject(r);
    context()->processPendingChanges();
    const int steps = undo()->undoCount();
    EXPECT_TRUE(w.performButtonNamed(QStringLiteral("Remove Body")));
    EXPECT_EQ(undo()->undoCount(), steps);
    EXPECT_FALSE(w.performButtonNamed(QStringLiteral("No such button")));
}

} // namespace
