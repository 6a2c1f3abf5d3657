#include "HXDocument.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXResponse.h"
#include "HXSQLiteDatabase.h"
#include "HXStoreTestSupport.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// What the writer below stores for its nth response: headers naming n, and
// a body whose length and bytes follow from n (before and after the update
// that completes the response).
QByteArray headBody(int n)
{
    return QByteArray(1000 + (n * 37) % 9000, char('a' + n % 26));
}
QByteArray finalBody(int n)
{
    return QByteArray(3000 + (n * 53) % 30000, char('A' + n % 26));
}

const char writerDirectoryVariable[] = "KEA_STORE_WRITER_DIR";

// Run in a child process by the test below (skipped otherwise): writes
// responses and interface state without end, reporting each save on stdout.
TEST(HXStoreCrashWriter, WriteUntilKilled)
{
    const QString folder = qEnvironmentVariable(writerDirectoryVariable);
    if (folder.isEmpty())
        GTEST_SKIP() << "runs only as the child of StoresSurviveAKilledWriter";
    qputenv("XDG_DATA_HOME", QFile::encodeName(folder));
    HXDocument document;
    document._readOrWriteDocumentUUIDWithURL(QString());
    auto *request = document.managedObjectContext()->insertNewObject<HXRequest>(u"HXRequest"_s);
    HXResponseManager *responses = HXResponseManager::sharedManager();
    HXUIPreferencesManager *preferences = HXUIPreferencesManager::sharedManager();
    for (int n = 0;; ++n) {
        std::shared_ptr<HXResponse> response = responses->insertNewResponse();
        response->setRequestUUID(request->uuid());
        response->setHeadersData("HTTP/1.1 200 OK\r\nX-N: " + QByteArray::number(n) + "\r\n\r\n");
        response->setBodyData(headBody(n));
        responses->saveUpdates();
        response->setBodyData(finalBody(n));
        response->setDownloadTime(n);
        responses->saveUpdates();
        preferences->addTabValue(n, request, HXUIPreferencesManager::RequestView);
        preferences->setListViewWidth(n, n, &document);
        preferences->saveUpdates();
        std::printf("saved %d\n", n);
        std::fflush(stdout);
    }
}

class StoreCrashTest : public HXStoreTest
{};

TEST_F(StoreCrashTest, StoresSurviveAKilledWriter)
{
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    QProcess writer;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromLatin1(writerDirectoryVariable), folder.path());
    writer.setProcessEnvironment(environment);
    writer.start(QCoreApplication::applicationFilePath(), {u"--gtest_filter=HXStoreCrashWriter.WriteUntilKilled"_s});
    ASSERT_TRUE(writer.waitForStarted(10000));
    // Kill it in the middle of its work, once it has saved a good number.
    QByteArray output;
    while (!output.contains("saved 150\n") && writer.state() == QProcess::Running) {
        writer.waitForReadyRead(10000);
        output += writer.readAllStandardOutput();
    }
    ASSERT_EQ(writer.state(), QProcess::Running) << output.right(400).toStdString();
    writer.kill();
    ASSERT_TRUE(writer.waitForFinished(10000));
    EXPECT_EQ(writer.exitStatus(), QProcess::CrashExit);

    const QString storeFolder = folder.filePath(u"kestrelworks/Kea"_s);
    for (const QString &name : {u"Responses.sqlite"_s, u"UserInterfacePreferences.sqlite"_s}) {
        auto database = HXSQLiteDatabase::open(storeFolder + u'/' + name);
        ASSERT_TRUE(database) << name.toStdString();
        EXPECT_EQ((*database)->integrityCheck(), u"ok"_s) << name.toStdString();
    }
    auto database = HXSQLiteDatabase::open(storeFolder + u"/Responses.sqlite"_s);
    auto rows = (*database)->prepare(u"SELECT headersData, bodyData, downloadTime FROM HXResponse ORDER BY id"_s);
    ASSERT_TRUE(rows);
    int count = 0;
    while (rows->step() == HXSQLiteStatement::Row) {
        const QByteArray head = rows->blob(0);
        const qsizetype at = head.indexOf("X-N: ");
        ASSERT_GE(at, 0);
        const int n = head.mid(at + 5, head.indexOf('\r', at) - at - 5).toInt();
        EXPECT_EQ(n, count);
        // Either state of a response, never a mixture or a torn body.
        const QByteArray body = rows->blob(1);
        if (rows->real(2) == n && n > 0)
            EXPECT_EQ(body, finalBody(n)) << n;
        else
            EXPECT_TRUE(body == headBody(n) || body == finalBody(n)) << n;
        ++count;
    }
    EXPECT_GE(count, 150);
    auto width = (*database)->scalar(u"SELECT count(*) FROM HXResponse"_s);
    EXPECT_EQ(width->toInt(), count);
}

TEST(HXSQLiteDatabase, KeepsBytesTextAndNullApart)
{
    QTemporaryDir folder;
    auto database = HXSQLiteDatabase::open(folder.filePath(u"values.sqlite"_s));
    ASSERT_TRUE(database);
    EXPECT_EQ((*database)->scalar(u"PRAGMA journal_mode"_s)->toString(), u"wal"_s);
    ASSERT_TRUE((*database)->execute(u"CREATE TABLE t (a, b)"_s));
    auto insert = (*database)->prepare(u"INSERT INTO t VALUES (?, ?)"_s);
    ASSERT_TRUE(insert);
    const QByteArray bytes("\0\xff\x80z", 4);
    const QList<QPair<QByteArray, QString>> rows = {
        {bytes, u"ü\u20ac"_s}, {QByteArray(""), QString(u""_s)}, {QByteArray(), QString()}};
    for (const auto &[blob, text] : rows) {
        insert->bindBlob(1, blob);
        insert->bindText(2, text);
        ASSERT_TRUE(insert->run());
        insert->reset();
    }
    auto select = (*database)->prepare(u"SELECT a, b FROM t ORDER BY rowid"_s);
    ASSERT_TRUE(select);
    for (const auto &[blob, text] : rows) {
        ASSERT_EQ(select->step(), HXSQLiteStatement::Row);
        EXPECT_EQ(select->blob(0), blob);
        EXPECT_EQ(select->blob(0).isNull(), blob.isNull());
        EXPECT_EQ(select->text(1), text);
        EXPECT_EQ(select->text(1).isNull(), text.isNull());
    }
    EXPECT_FALSE((*database)->prepare(u"SELECT nothing FROM t"_s));
    EXPECT_FALSE(HXSQLiteDatabase::open(folder.filePath(u"missing/folder/x.sqlite"_s)));
}

TEST(HXSQLiteDatabase, KeptStatementsComeBackRewoundAndUnbound)
{
    QTemporaryDir folder;
    auto opened = HXSQLiteDatabase::open(folder.filePath(u"kept.sqlite"_s));
    ASSERT_TRUE(opened);
    std::unique_ptr<HXSQLiteDatabase> database = std::move(opened).value();
    ASSERT_TRUE(database->execute(u"CREATE TABLE t (a); INSERT INTO t VALUES (1), (2)"_s));
    const QString count = u"SELECT count(*) FROM t WHERE a >= ?"_s;
    {
        // Left mid-way with a value bound: the next user must not see either.
        auto first = database->prepare(count);
        first->bindInt64(1, 2);
        ASSERT_EQ(first->step(), HXSQLiteStatement::Row);
        // The same SQL while the first is out is a statement of its own.
        auto second = database->prepare(count);
        second->bindInt64(1, 0);
        ASSERT_EQ(second->step(), HXSQLiteStatement::Row);
        EXPECT_EQ(second->int64(0), 2);
        EXPECT_EQ(first->int64(0), 1);
    }
    auto again = database->prepare(count);
    ASSERT_EQ(again->step(), HXSQLiteStatement::Row);
    EXPECT_EQ(again->int64(0), 0); // NULL bound: nothing is >= NULL
    // A statement that outlives its database is still finalised safely.
    auto late = database->prepare(count);
    database.reset();
    late = HXSQLiteStatement();
}

} // namespace
