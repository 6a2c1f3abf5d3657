#include "HXBodyMultipartFormDataDynamicValue.h"
#include "HXDocument.h"
#include "HXEncodingValueTestSupport.h"
#include "HXFileContentDynamicValue.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestEvaluationContext.h"
#include "HXTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace HXEncodingValueTest;

namespace {

HXDynamicKeyValueRow row(const QString &name, const QString &value, bool enabled = true)
{
    return HXDynamicKeyValueRow{name, value, enabled};
}

std::shared_ptr<HXBodyMultipartFormDataDynamicValue> multipart(const HXDynamicKeyValueRows &rows)
{
    auto value = HXDynamicValue::make<HXBodyMultipartFormDataDynamicValue>();
    value->setKeyValues(rows);
    return value;
}

HXDynamicValuePtr fileToken(const QString &path)
{
    auto file = HXDynamicValue::make<HXFileContentDynamicValue>();
    file->setFilePath(path);
    return file;
}

} // namespace

TEST(HXBodyMultipartFormDataDynamicValue, FilePartsEscapedNamesAndSkippedRows)
{
    QTemporaryDir folder;
    const QString png = folder.filePath(QStringLiteral("pixel.png"));
    const QByteArray pngBytes = QByteArray::fromHex("89504e470d0a1a0a0000000d49484452");
    ASSERT_TRUE(HXTest::writeFile(png, pngBytes));
    const QString odd = folder.filePath(QStringLiteral("we\"ird\u00e9.unknownext"));
    ASSERT_TRUE(HXTest::writeFile(odd, "?"));

    auto body = multipart({
        row(QStringLiteral("image"), archived({fileToken(png)})),
        row(QStringLiteral("say \"hi\"\\"), QStringLiteral("x")),
        row(QStringLiteral("beside"), archived({fileToken(png), QStringLiteral("!")})),
        row(QStringLiteral("disabled"), QStringLiteral("no"), false),
        row(QString(), QString()),
        row(QStringLiteral("n\u00e4me"), QString()),
        row(QString(), archived({fileToken(odd)})),
    });
    const QByteArray expected =
        "--abc\r\n"
        "Content-Disposition: form-data; name=\"image\"; filename=\"pixel.png\"\r\n"
        "Content-Type: image/png\r\n"
        "\r\n" +
        pngBytes +
        "\r\n"
        "--abc\r\n"
        "Content-Disposition: form-data; name=\"say \\\"hi\\\"\\\\\"\r\n"
        "\r\n"
        "x\r\n"
        "--abc\r\n"
        "Content-Disposition: form-data; name=\"beside\"\r\n"
        "\r\n" +
        pngBytes +
        "!\r\n"
        "--abc\r\n"
        "Content-Disposition: form-data; name=\"n\\303\\244me\"\r\n"
        "\r\n"
        "\r\n"
        "--abc\r\n"
        "Content-Disposition: form-data; name=\"\"; filename=\"we\\\"ird\\303\\251.unknownext\"\r\n"
        "Content-Type: application/octet-stream\r\n"
        "\r\n"
        "?\r\n"
        "--abc--\r\n";
    EXPECT_EQ(body->evaluatedBodyWithBoundary(QStringLiteral("abc")), expected);
}

TEST(HXBodyMultipartFormDataDynamicValue, BoundaryFromContentType)
{
    using Headers = QList<std::pair<QString, QString>>;
    const auto boundary = [](const QString &contentType) {
        return HXBodyMultipartFormDataDynamicValue::boundaryFromHeaders(
            Headers{{QStringLiteral("Accept"), QStringLiteral("*/*")}, {QStringLiteral("content-TYPE"), contentType}});
    };
    EXPECT_EQ(boundary(QStringLiteral("multipart/form-data; boundary=abc")), QStringLiteral("abc"));
    EXPECT_EQ(boundary(QStringLiteral("multipart/form-data;boundary = x y ;charset=utf-8")), QStringLiteral("x y"));
    // Quotes are kept; pieces with more than one "=" do not count.
    EXPECT_EQ(boundary(QStringLiteral("multipart/form-data; boundary=\"q\"")), QStringLiteral("\"q\""));
    EXPECT_EQ(boundary(QStringLiteral("multipart/form-data; boundary=a=b")), QStringLiteral("__X_KEA_BOUNDARY__"));
    EXPECT_EQ(boundary(QStringLiteral("multipart/form-data; Boundary=abc")), QStringLiteral("__X_KEA_BOUNDARY__"));
    EXPECT_EQ(HXBodyMultipartFormDataDynamicValue::boundaryFromHeaders({}), QStringLiteral("__X_KEA_BOUNDARY__"));
    // No request being evaluated: the default.
    EXPECT_EQ(HXBodyMultipartFormDataDynamicValue::currentBoundary(), QStringLiteral("__X_KEA_BOUNDARY__"));
    EXPECT_EQ(evaluatedData(multipart({})), QByteArray("--__X_KEA_BOUNDARY__--\r\n"));
}

TEST(HXBodyMultipartFormDataDynamicValue, BoundaryOfTheRequestBeingEvaluated)
{
    HXDocument document;
    HXManagedObjectContext *objects = document.managedObjectContext();
    auto *request = objects->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
    const auto addHeader = [&](const QString &name, const QString &value, bool enabled, quint64 order) {
        auto *header = objects->insertNewObject<HXKeyValue>(QStringLiteral("HXKeyValue"));
        header->setName(name);
        header->setValue(value);
        header->setEnabled(enabled);
        header->setOrder(order);
        header->setRequest(request);
    };
    addHeader(QStringLiteral("Content-Type"), QStringLiteral("multipart/form-data; boundary=disabled"), false, 0);
    addHeader(QStringLiteral("Accept"), QStringLiteral("*/*"), true, 1);
    addHeader(QStringLiteral("content-type"), QStringLiteral("multipart/form-data; boundary=abc"), true, 2);

    HXRequestEvaluationContext context(&document);
    context.setRequest(request);
    QByteArray body;
    auto value = multipart({row(QStringLiteral("f"), QStringLiteral("v"))});
    context.executeWithBlock([&] { body = HXDynamicValueEngine::evaluateStringAsData(value->archivedString()); });
    EXPECT_EQ(body, QByteArray("--abc\r\nContent-Disposition: form-data; name=\"f\"\r\n\r\nv\r\n--abc--\r\n"));

    // An installed evaluator (request assembly's full header list) wins.
    HXBodyMultipartFormDataDynamicValue::setRequestHeadersEvaluator([](HXRequest *) {
        return QList<std::pair<QString, QString>>{{QStringLiteral("Content-Type"), QStringLiteral("x; boundary=z")}};
    });
    HXRequestEvaluationContext secondPass(&document); // a new pass: nothing cached
    secondPass.setRequest(request);
    secondPass.executeWithBlock([&] { body = HXDynamicValueEngine::evaluateStringAsData(value->archivedString()); });
    HXBodyMultipartFormDataDynamicValue::setRequestHeadersEvaluator(nullptr);
    EXPECT_TRUE(body.startsWith("--z\r\n")) << body.constData();
}
