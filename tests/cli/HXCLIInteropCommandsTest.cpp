#include "HXCLITestRunner.h"
#include "HXTestSupport.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QString fixture(const QString &name)
{
    return QStringLiteral(KEA_INTEROP_FIXTURES "/") + name;
}

TEST(CLIInteropCommandsTest, ImportReportsAndRefusesBadSourcesWithoutWriting)
{
    QTemporaryDir folder;
    const QString file = folder.filePath(u"api.kea"_s);
    const HXCLIRun imported = HXRunCLI({u"import"_s, file, fixture(u"curl-script.sh"_s)});
    ASSERT_EQ(imported.status, 0) << imported.err.constData();
    EXPECT_TRUE(imported.out.startsWith("Imported 4 requests in 0 folders")) << imported.out.constData();
    EXPECT_TRUE(imported.out.contains("Search: -o out.json: not part of the request")) << imported.out.constData();
    EXPECT_TRUE(imported.out.contains("'| jq .': what follows the command is not imported"))
        << imported.out.constData();
    const QByteArray saved = HXTest::readFile(file);
    ASSERT_FALSE(saved.isEmpty());

    const QString huge = folder.filePath(u"huge.json"_s);
    ASSERT_TRUE(HXTest::writeFile(huge, QByteArray(10 * 1024 * 1024, ' ')));
    const QList<QPair<QString, QString>> bad = {
        {fixture(u"postman-truncated.json"_s), u"not valid JSON at line"_s},
        {fixture(u"har-wrong-version.json"_s), u"unsupported HAR version"_s},
        {huge, u"at most 8 MB"_s},
        {folder.filePath(u"missing.json"_s), u"missing.json"_s},
    };
    for (const auto &[source, phrase] : bad) {
        // The good source first: nothing is written when any source fails.
        const HXCLIRun refused = HXRunCLI({u"import"_s, file, fixture(u"curl-browser.txt"_s), source});
        EXPECT_EQ(refused.status, 2) << source.toStdString();
        EXPECT_TRUE(refused.err.contains(phrase.toUtf8())) << refused.err.constData();
    }
    EXPECT_EQ(HXTest::readFile(file), saved);
}

// A cURL script exported from a document imports into a document that
// exports the same script.
TEST(CLIInteropCommandsTest, CurlScriptExportImportsBackToTheSameScript)
{
    QTemporaryDir folder;
    const QString first = folder.filePath(u"first.kea"_s);
    const QString second = folder.filePath(u"second.kea"_s);
    ASSERT_EQ(HXRunCLI({u"import"_s, first, fixture(u"har-1.2.json"_s)}).status, 0);
    ASSERT_EQ(HXRunCLI({u"import"_s, first, fixture(u"curl-browser.txt"_s), u"--folder"_s, u"Shop/Cart"_s}).status, 0);
    const QString script = folder.filePath(u"requests.sh"_s);
    const HXCLIRun exported = HXRunCLI({u"export"_s, first, u"--format"_s, u"curl"_s, u"-o"_s, script});
    ASSERT_EQ(exported.status, 0) << exported.err.constData();
    ASSERT_EQ(HXRunCLI({u"import"_s, second, script}).status, 0);
    const HXCLIRun again = HXRunCLI({u"export"_s, second, u"--format"_s, u"curl"_s});
    EXPECT_EQ(again.out, HXTest::readFile(script));
    EXPECT_TRUE(again.out.contains("# Shop/Cart/POST shop.example.test/api/cart/items")) << again.out.constData();

    const HXCLIRun postman = HXRunCLI({u"export"_s, first, u"--format"_s, u"postman"_s});
    ASSERT_EQ(postman.status, 0);
    const QJsonObject collection = QJsonDocument::fromJson(postman.out).object();
    EXPECT_EQ(collection.value("item"_L1).toArray().size(), 5); // four requests and the folder Shop
}

} // namespace
