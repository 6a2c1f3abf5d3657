#include "HXFileContentDynamicValue.h"
#include "HXDocument.h"
#include "HXEncodingValueTestSupport.h"
#include "HXRequestEvaluationContext.h"
#include "HXTestSupport.h"

#include <QCborMap>
#include <QCborValue>
#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace HXEncodingValueTest;

namespace {

// Collects warning texts while alive.
struct WarningCollector
{
    static inline QStringList messages;
    QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
            if (type == QtWarningMsg)
                messages.append(text);
        });
    WarningCollector() { messages.clear(); }
    ~WarningCollector() { qInstallMessageHandler(previous); }
};

} // namespace

TEST(HXFileContentDynamicValue, EvaluatesToTheFileBytes)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("data.bin"));
    QByteArray bytes = QByteArray::fromHex("00ff0d0a80c3");
    bytes.append(QByteArray(70000, 'z'));
    ASSERT_TRUE(HXTest::writeFile(path, bytes));

    auto value = HXDynamicValue::make<HXFileContentDynamicValue>();
    EXPECT_TRUE(value->bookmarkData().isEmpty());
    EXPECT_EQ(value->displayString(), QStringLiteral("File Content"));
    EXPECT_EQ(value->secondaryDisplayString(), QStringLiteral("(Not specified)"));
    value->setFilePath(path);
    EXPECT_EQ(evaluatedData(value), bytes);
    EXPECT_EQ(value->displayString(), QStringLiteral("data.bin"));
    // Bytes that are not text: nothing when a string is asked for.
    EXPECT_EQ(evaluatedString(value), QString());
}

TEST(HXFileContentDynamicValue, ReferencesFollowTheDocumentBeingEvaluated)
{
    QTemporaryDir root;
    const QString project = root.filePath(QStringLiteral("project"));
    ASSERT_TRUE(QDir().mkpath(project + QStringLiteral("/files")));
    ASSERT_TRUE(HXTest::writeFile(project + QStringLiteral("/files/a.txt"), "first"));
    HXDocument document;
    ASSERT_TRUE(document.saveAs(project + QStringLiteral("/api.kea")).ok());
    HXRequestEvaluationContext context(&document);

    auto value = HXDynamicValue::make<HXFileContentDynamicValue>();
    context.executeWithBlock([&] {
        EXPECT_EQ(HXFileContentDynamicValue::currentDocumentFolder(), project);
        value->setFilePath(project + QStringLiteral("/files/a.txt"));
    });
    EXPECT_EQ(QCborValue::fromCbor(value->bookmarkData()).toMap().value(QStringLiteral("relativePath")).toString(),
              QStringLiteral("files/a.txt"));

    // The project is copied elsewhere and the document saved there: the
    // value reads the copy beside the document.
    const QString copy = root.filePath(QStringLiteral("copy"));
    ASSERT_TRUE(QDir().mkpath(copy + QStringLiteral("/files")));
    ASSERT_TRUE(HXTest::writeFile(copy + QStringLiteral("/files/a.txt"), "second"));
    ASSERT_TRUE(document.saveAs(copy + QStringLiteral("/api.kea")).ok());
    QByteArray bytes;
    context.executeWithBlock([&] { bytes = HXDynamicValueEngine::evaluateStringAsData(value->archivedString()); });
    EXPECT_EQ(bytes, QByteArray("second"));
    // Outside the document the absolute path is all there is.
    EXPECT_EQ(evaluatedData(value), QByteArray("first"));
}

TEST(HXFileContentDynamicValue, FailuresAreLoggedAndGiveNothing)
{
    const WarningCollector collector;
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("gone.txt"));
    ASSERT_TRUE(HXTest::writeFile(path, "soon gone"));

    auto value = HXDynamicValue::make<HXFileContentDynamicValue>();
    value->setFilePath(path);
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_EQ(evaluatedData(value), QByteArray());
    EXPECT_EQ(value->displayString(), QStringLiteral("File Content"));
    ASSERT_EQ(WarningCollector::messages.size(), 1);
    EXPECT_TRUE(WarningCollector::messages.at(0).startsWith(QLatin1String("Error when reading bookmark data: ")));

    value->setBookmarkData("not a reference");
    EXPECT_EQ(value->resolvedFilePath(QString()), std::nullopt);
    EXPECT_EQ(WarningCollector::messages.size(), 2);

    value->setFilePath(folder.filePath(QStringLiteral("never-existed")));
    EXPECT_TRUE(value->bookmarkData().isEmpty());
    ASSERT_EQ(WarningCollector::messages.size(), 3);
    EXPECT_TRUE(WarningCollector::messages.at(2).startsWith(QLatin1String("Error during bookmark creation: ")));
    // No file chosen: nothing, silently.
    EXPECT_EQ(evaluatedData(value), QByteArray());
    EXPECT_EQ(WarningCollector::messages.size(), 3);
}
