// The response body sink (memory, then a temporary file; or an output file)
// and the piecewise gzip inflater, with real files in a scratch folder.

#include "HXHTTPResponseBody.h"
#include "HXContentInflater.h"
#include "HXGzipEncoder.h"
#include "HXTestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

QByteArray patterned(qsizetype length)
{
    QByteArray bytes(length, Qt::Uninitialized);
    for (qsizetype i = 0; i < length; ++i)
        bytes[i] = char((i * 131 + i / 251) & 0xff);
    return bytes;
}

int entriesIn(const QString &folder)
{
    return int(QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot).size());
}

TEST(HXHTTPResponseBodyTest, StaysInMemoryUpToItsLimitThenMovesToAnUnnamedPrivateFile)
{
    QTemporaryDir folder;
    const QByteArray bytes = patterned(300000);
    struct Case
    {
        qint64 limit;
        qsizetype piece;
        bool inFile;
    };
    for (const Case &testCase : {Case{-1, 4096, false}, Case{300000, 1, false}, Case{299999, 65536, true},
                                 Case{0, 7, true}, Case{1000, 300000, true}}) {
        SCOPED_TRACE(testCase.limit);
        HXHTTPResponseBody body(HXHTTPResponseBodyStorage{testCase.limit, folder.path(), {}});
        for (qsizetype at = 0; at < bytes.size(); at += testCase.piece)
            ASSERT_TRUE(body.append(QByteArrayView(bytes).sliced(at, qMin(testCase.piece, bytes.size() - at))).ok());
        EXPECT_EQ(body.isInFile(), testCase.inFile);
        EXPECT_EQ(body.size(), bytes.size());
        EXPECT_EQ(body.data(), bytes);
        EXPECT_EQ(*body.read(299990, 100), bytes.mid(299990));
        // Nothing of it shows in the folder, whatever happens to the process.
        EXPECT_EQ(entriesIn(folder.path()), 0);
        ASSERT_TRUE(body.truncate(1234).ok());
        EXPECT_EQ(body.data(), bytes.left(1234));
        ASSERT_TRUE(body.append("tail").ok());
        EXPECT_EQ(body.data(), bytes.left(1234) + "tail");
    }
}

TEST(HXHTTPResponseBodyTest, KeepingGivesTheBytesALastingPrivateFile)
{
    QTemporaryDir folder;
    const QByteArray bytes = patterned(5000);
    for (const qint64 limit : {qint64(-1), qint64(10)}) {
        const QString kept = folder.filePath(QStringLiteral("kept-%1").arg(limit));
        {
            HXHTTPResponseBody body(HXHTTPResponseBodyStorage{limit, folder.path(), {}});
            ASSERT_TRUE(body.append(bytes).ok());
            HXHTTPResponseBody copy = body;
            ASSERT_TRUE(copy.keepFileAs(kept).ok());
            EXPECT_EQ(copy.fileName(), kept);
            EXPECT_EQ(copy.data(), bytes);
        }
        EXPECT_EQ(HXTest::readFile(kept), bytes);
        struct stat status = {};
        ASSERT_EQ(::stat(QFile::encodeName(kept).constData(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600u);
        HXResult<HXHTTPResponseBody> reopened = HXHTTPResponseBody::openFile(kept);
        ASSERT_TRUE(reopened.ok());
        EXPECT_EQ(reopened->size(), bytes.size());
        EXPECT_EQ(*reopened->read(4990, 50), bytes.mid(4990));
    }
    EXPECT_EQ(entriesIn(folder.path()), 2);
}

TEST(HXHTTPResponseBodyTest, AnOutputFileTakesEveryByteAndStorageFailuresAreReported)
{
    QTemporaryDir folder;
    const QString output = folder.filePath(QStringLiteral("out.bin"));
    HXHTTPResponseBody body(HXHTTPResponseBodyStorage{qint64(1) << 30, {}, output});
    EXPECT_EQ(body.memoryBuffer(), nullptr);
    ASSERT_TRUE(body.append("first ").ok());
    EXPECT_EQ(HXTest::readFile(output), QByteArray("first "));
    ASSERT_TRUE(body.append("second").ok());
    EXPECT_EQ(HXTest::readFile(output), QByteArray("first second"));

    // A folder that is a file, and an output in a missing folder.
    const QString blocker = folder.filePath(QStringLiteral("blocker"));
    ASSERT_TRUE(HXTest::writeFile(blocker, "x"));
    for (const HXHTTPResponseBodyStorage &storage :
         {HXHTTPResponseBodyStorage{0, blocker, {}},
          HXHTTPResponseBodyStorage{0, {}, folder.filePath(QStringLiteral("missing/out.bin"))}}) {
        HXHTTPResponseBody failing(storage);
        const HXResult<void> appended = failing.append("bytes");
        ASSERT_FALSE(appended.ok());
        EXPECT_EQ(appended.error().code, 6);
        EXPECT_TRUE(appended.error().description.contains(QStringLiteral("could not be stored")));
    }
}

TEST(HXContentInflaterTest, InflatesMembersAtEverySplitIntoMemoryAndFiles)
{
    QTemporaryDir folder;
    const QByteArray plain = patterned(3000) + QByteArray(3000, 'a');
    const QByteArray gzip = HXGzipEncoder::compress(plain, 9);
    struct Case
    {
        const char *name;
        QByteArray input;
        QByteArray expected;
    };
    const Case cases[] = {
        {"gzip", gzip, plain},
        {"gzip members and padding", gzip + HXGzipEncoder::compress("more", 1) + QByteArray(5, '\0'), plain + "more"},
        {"gzip then junk", gzip + "junk that is no member", plain},
        {"gzip then a cut member", gzip + gzip.left(20), plain},
    };
    for (const Case &testCase : cases) {
        for (const qint64 limit : {qint64(-1), qint64(0)}) {
            for (qsizetype split = 0; split <= testCase.input.size(); split += 1 + split / 8) {
                SCOPED_TRACE(std::string(testCase.name) + " split at " + std::to_string(split));
                HXHTTPResponseBody body(HXHTTPResponseBodyStorage{limit, folder.path(), {}});
                HXContentInflater inflater(-1);
                ASSERT_EQ(inflater.feed(QByteArrayView(testCase.input).first(split), body),
                          HXContentInflater::Result::Ok);
                ASSERT_EQ(inflater.feed(QByteArrayView(testCase.input).sliced(split), body),
                          HXContentInflater::Result::Ok);
                ASSERT_EQ(inflater.finish(body), HXContentInflater::Result::Ok);
                ASSERT_EQ(body.data(), testCase.expected);
            }
        }
    }
}

TEST(HXContentInflaterTest, DamageTruncationAndTheLimitAreReported)
{
    const QByteArray plain(100000, 'z');
    const QByteArray gzip = HXGzipEncoder::compress(plain, 9);
    struct Case
    {
        const char *name;
        QByteArray input;
        qint64 maximum;
        HXContentInflater::Result result;
    };
    const Case cases[] = {
        {"not gzip", "plain text", -1, HXContentInflater::Result::Damaged},
        {"cut short", gzip.left(gzip.size() - 10), -1, HXContentInflater::Result::Damaged},
        {"over the limit", gzip, 99999, HXContentInflater::Result::LimitReached},
        {"at the limit", gzip, 100000, HXContentInflater::Result::Ok},
    };
    for (const Case &testCase : cases) {
        SCOPED_TRACE(testCase.name);
        HXHTTPResponseBody body(HXHTTPResponseBodyStorage{-1, {}, {}});
        HXContentInflater inflater(testCase.maximum);
        HXContentInflater::Result result = inflater.feed(testCase.input, body);
        if (result == HXContentInflater::Result::Ok)
            result = inflater.finish(body);
        EXPECT_EQ(result, testCase.result);
        if (testCase.result == HXContentInflater::Result::LimitReached) {
            EXPECT_LE(body.size(), testCase.maximum);
        }
    }
}

} // namespace
