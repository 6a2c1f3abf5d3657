#include "HXDocument.h"
#include "HXManagedObjectContext.h"
#include "HXPersistentStoreNotifier.h"
#include "HXRequest.h"
#include "HXResponse.h"
#include "HXSQLiteDatabase.h"
#include "HXStoreTestSupport.h"
#include "HXTestSupport.h"
#include "HXUserDefaults.h"

#include <QDateTime>
#include <QFileInfo>
#include <QSignalSpy>

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

const QDateTime baseDate = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000);

// Every byte value, so that text conversions would show.
QByteArray binaryBody(int length)
{
    QByteArray body(length, Qt::Uninitialized);
    for (int i = 0; i < length; ++i)
        body[i] = char((i * 7 + length) & 0xff);
    return body;
}

std::shared_ptr<HXResponse> addResponse(const QString &requestUUID, int second, const QByteArray &body = {})
{
    std::shared_ptr<HXResponse> response = HXResponseManager::sharedManager()->insertNewResponse();
    response->setRequestUUID(requestUUID);
    response->setDate(baseDate.addSecs(second));
    response->setHeadersData("HTTP/1.1 200 OK\r\nX-Second: " + QByteArray::number(second) + "\r\n\r\n");
    response->setResponseTime(0.25);
    response->setDownloadTime(1.5);
    response->setBodyData(body);
    return response;
}

class ResponseManagerTest : public HXStoreTest
{};

TEST_F(ResponseManagerTest, ResponsesComeBackAfterReopeningWithTheirBodyReadOnDemand)
{
    const QByteArray body = binaryBody(70000);
    addResponse(QStringLiteral("A"), 1, "older");
    addResponse(QStringLiteral("A"), 5, body);
    addResponse(QStringLiteral("B"), 9, "other request");
    HXResponseManager::sharedManager()->saveUpdates();
    EXPECT_TRUE(QFileInfo::exists(storePath(QStringLiteral("Responses.sqlite"))));
    HXResponseManager::resetSharedManager();

    HXResponseManager *manager = HXResponseManager::sharedManager();
    EXPECT_FALSE(manager->isNew());
    std::shared_ptr<HXResponse> last = manager->lastResponseForRequestUUID(QStringLiteral("A"));
    ASSERT_TRUE(last);
    EXPECT_EQ(last->date(), baseDate.addSecs(5));
    EXPECT_EQ(last->headerValueForName(QStringLiteral("X-Second")), QStringLiteral("5"));
    EXPECT_EQ(last->statusCode(), 200);
    EXPECT_DOUBLE_EQ(last->responseTime(), 0.25);
    EXPECT_DOUBLE_EQ(last->downloadTime(), 1.5);
    EXPECT_TRUE(last->hasPendingBodyLoader());
    EXPECT_EQ(last->bodyData(), body);
    EXPECT_FALSE(last->hasPendingBodyLoader());

    // One object per row while someone holds it.
    EXPECT_EQ(manager->lastResponseForRequestUUID(QStringLiteral("A")), last);
    const auto all = manager->responsesForRequestUUID(QStringLiteral("A"));
    ASSERT_EQ(all.size(), 2);
    EXPECT_EQ(all.at(0), last);
    EXPECT_EQ(all.at(1)->bodyData(), QByteArray("older"));
    EXPECT_EQ(manager->lastResponseForRequestUUID(QStringLiteral("missing")), nullptr);
    EXPECT_EQ(manager->countOfResponses(), 3);
}

TEST_F(ResponseManagerTest, ChangesAfterHeadersArriveAreWrittenByTheNextSave)
{
    // What the request handler does: a response without body at header time,
    // completed when the body has arrived.
    std::shared_ptr<HXResponse> response = addResponse(QStringLiteral("A"), 1);
    HXResponseManager *manager = HXResponseManager::sharedManager();
    manager->saveUpdates();
    response->setBodyData("{\"done\": true}");
    response->setDownloadTime(2.0);
    manager->saveUpdates();

    // A read response whose body was never loaded keeps its stored body when
    // its other fields change.
    HXResponseManager::resetSharedManager();
    std::shared_ptr<HXResponse> read = HXResponseManager::sharedManager()->lastResponseForRequestUUID(u"A"_s);
    ASSERT_TRUE(read);
    EXPECT_DOUBLE_EQ(read->downloadTime(), 2.0);
    read->setResponseTime(0.5);
    HXResponseManager::sharedManager()->saveUpdates();
    read.reset();
    HXResponseManager::resetSharedManager();
    read = HXResponseManager::sharedManager()->lastResponseForRequestUUID(u"A"_s);
    EXPECT_DOUBLE_EQ(read->responseTime(), 0.5);
    EXPECT_EQ(read->bodyData(), QByteArray("{\"done\": true}"));
}

TEST_F(ResponseManagerTest, UnsavedResponsesCountAndDeletedOnesGo)
{
    HXResponseManager *manager = HXResponseManager::sharedManager();
    addResponse(u"A"_s, 1, "saved");
    manager->saveUpdates();
    std::shared_ptr<HXResponse> unsaved = addResponse(u"A"_s, 2, "unsaved");
    EXPECT_EQ(manager->lastResponseForRequestUUID(u"A"_s), unsaved);
    manager->deleteResponse(unsaved);
    std::shared_ptr<HXResponse> saved = manager->lastResponseForRequestUUID(u"A"_s);
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->bodyData(), QByteArray("saved"));
    manager->deleteResponse(saved);
    EXPECT_EQ(manager->lastResponseForRequestUUID(u"A"_s), nullptr);
    manager->saveUpdates();
    EXPECT_EQ(manager->countOfResponses(), 0);
}

TEST_F(ResponseManagerTest, PurgeKeepsTheNewestOfAllRequestsTogether)
{
    HXUserDefaults &defaults = HXUserDefaults::standardUserDefaults();
    defaults.setInteger(5, QStringLiteral("HXUserDefaultMaxResponsesInCache"));
    // Three requests of two documents, dates interleaved and inserted out of order.
    const QStringList requests = {u"doc1-A"_s, u"doc1-B"_s, u"doc2-C"_s};
    const QList<int> seconds = {7, 1, 12, 3, 10, 5, 8, 2, 11, 4, 9, 6};
    for (int second : seconds)
        addResponse(requests.at(second % 3), second, QByteArray::number(second));
    // Not saved yet: the purge writes them and counts them in one go.
    HXResponseManager *manager = HXResponseManager::sharedManager();
    manager->purgeOldResponses();
    defaults.removeObjectForKey(QStringLiteral("HXUserDefaultMaxResponsesInCache"));

    EXPECT_EQ(manager->countOfResponses(), 5);
    HXResponseManager::resetSharedManager();
    QList<int> kept;
    for (const QString &request : requests)
        for (const auto &response : HXResponseManager::sharedManager()->responsesForRequestUUID(request))
            kept.append(response->bodyData().toInt());
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(kept, (QList<int>{8, 9, 10, 11, 12}));
}

TEST_F(ResponseManagerTest, AnUnreadableStoreIsTrashedWithItsCompanionsAndRecreated)
{
    const QString path = storePath(QStringLiteral("Responses.sqlite"));
    ASSERT_TRUE(HXTest::writeFile(path, QByteArray(4096, 'x')));
    ASSERT_TRUE(HXTest::writeFile(path + u"-wal"_s, "junk"));
    ASSERT_TRUE(HXTest::writeFile(path + u"-shm"_s, "junk"));

    HXResponseManager *manager = HXResponseManager::sharedManager();
    EXPECT_TRUE(logged(QStringLiteral("Reset HXResponseManager persistent store")));
    EXPECT_TRUE(manager->isNew());
    ASSERT_NE(manager->database(), nullptr);
    const QStringList trashed = trashedFiles();
    ASSERT_EQ(trashed.size(), 3) << trashed.join(u' ').toStdString();
    EXPECT_TRUE(trashed.at(0).startsWith(u"Kea Responses "));
    EXPECT_TRUE(trashed.at(0).endsWith(u".sqlite"));
    EXPECT_EQ(trashed.at(1), trashed.at(0) + u"-shm"_s);
    EXPECT_EQ(trashed.at(2), trashed.at(0) + u"-wal"_s);

    addResponse(u"A"_s, 1, "after recovery");
    manager->saveUpdates();
    HXResponseManager::resetSharedManager();
    EXPECT_EQ(HXResponseManager::sharedManager()->lastResponseForRequestUUID(u"A"_s)->bodyData(),
              QByteArray("after recovery"));
}

TEST_F(ResponseManagerTest, AStoreWithADamagedSchemaPageIsRecreatedOnTheNextStart)
{
    addResponse(u"A"_s, 1, "before the damage");
    HXResponseManager::sharedManager()->saveUpdates();
    HXResponseManager::resetSharedManager();
    // Keep the file header, overwrite the rest of the first page (the schema).
    const QString path = storePath(QStringLiteral("Responses.sqlite"));
    QByteArray bytes = HXTest::readFile(path);
    ASSERT_GT(bytes.size(), 4096);
    for (int i = 100; i < 4096; ++i)
        bytes[i] = char(0xA5);
    ASSERT_TRUE(HXTest::writeFile(path, bytes));

    HXResponseManager *manager = HXResponseManager::sharedManager();
    EXPECT_TRUE(logged(QStringLiteral("Reset HXResponseManager persistent store")));
    EXPECT_EQ(manager->countOfResponses(), 0);
    EXPECT_EQ(manager->database()->integrityCheck(), u"ok"_s);
}

TEST_F(ResponseManagerTest, AStoreOfAnotherVersionOrShapeIsRecreated)
{
    const QString path = storePath(QStringLiteral("Responses.sqlite"));
    {
        auto database = HXSQLiteDatabase::open(path);
        ASSERT_TRUE(database);
        ASSERT_TRUE(
            (*database)->execute(QStringLiteral("PRAGMA user_version=1; CREATE TABLE HXResponse (id INTEGER)")));
    }
    HXResponseManager *manager = HXResponseManager::sharedManager();
    EXPECT_TRUE(logged(QStringLiteral("Reset HXResponseManager persistent store")));
    EXPECT_EQ(manager->countOfResponses(), 0);
    addResponse(u"A"_s, 1, "x");
    manager->saveUpdates();
    EXPECT_EQ(manager->countOfResponses(), 1);
}

TEST_F(ResponseManagerTest, AStoreThatCannotBeWrittenIsReportedAndLeftWhereItIs)
{
    addResponse(u"A"_s, 1, "healthy history");
    HXResponseManager::sharedManager()->saveUpdates();
    HXResponseManager::resetSharedManager();

    // As on a full disk: no file may grow, so SQLite cannot even make the
    // shared-memory file it opens a store with.
    struct rlimit previous
    {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &previous), 0);
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit full = previous;
    full.rlim_cur = 0;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
    HXResponseManager *manager = HXResponseManager::sharedManager();
    const bool opened = manager->database() != nullptr;
    addResponse(u"A"_s, 2, "not recorded");
    const HXResult<void> saved = manager->saveToPersistentStore();
    ::setrlimit(RLIMIT_FSIZE, &previous);
    std::signal(SIGXFSZ, previousHandler);

    EXPECT_FALSE(opened);
    EXPECT_FALSE(saved.ok());
    EXPECT_FALSE(logged(QStringLiteral("Reset HXResponseManager persistent store")));
    EXPECT_TRUE(trashedFiles().isEmpty()) << trashedFiles().join(u' ').toStdString();
    HXResponseManager::resetSharedManager();
    std::shared_ptr<HXResponse> kept = HXResponseManager::sharedManager()->lastResponseForRequestUUID(u"A"_s);
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->bodyData(), QByteArray("healthy history"));
}

TEST_F(ResponseManagerTest, ResetMovesTheStoreToTheTrashUnderADatedNameAndStartsEmpty)
{
    addResponse(u"A"_s, 1, "kept in the trash");
    HXResponseManager::sharedManager()->saveUpdates();
    QSignalSpy willChange(HXPersistentStoreNotifier::sharedNotifier(),
                          &HXPersistentStoreNotifier::responsesManagedObjectContextWillChange);
    QSignalSpy didReset(HXPersistentStoreNotifier::sharedNotifier(),
                        &HXPersistentStoreNotifier::responseManagerDidResetAllResponses);

    HXResponseManager::resetMoveToTrash(true);
    EXPECT_EQ(willChange.count(), 1);
    EXPECT_EQ(didReset.count(), 1);
    const QStringList trashed = trashedFiles();
    ASSERT_FALSE(trashed.isEmpty());
    EXPECT_TRUE(trashed.first().startsWith(u"Kea Responses ")) << trashed.first().toStdString();
    EXPECT_FALSE(trashed.first().contains(u'/'));
    // The freedesktop record follows the rename, so the file can be restored.
    EXPECT_TRUE(
        QFileInfo::exists(QDir(trashFolder()).absoluteFilePath(u"info/"_s + trashed.first() + u".trashinfo"_s)));
    auto database = HXSQLiteDatabase::open(QDir(trashFolder()).absoluteFilePath(u"files/"_s + trashed.first()));
    ASSERT_TRUE(database);
    EXPECT_EQ((*database)->scalar(u"SELECT bodyData FROM HXResponse"_s)->toByteArray(),
              QByteArray("kept in the trash"));

    EXPECT_EQ(HXResponseManager::sharedManager()->countOfResponses(), 0);
    EXPECT_TRUE(QFileInfo::exists(storePath(QStringLiteral("Responses.sqlite"))));
    // A second reset in the same second does not overwrite the first, and
    // a body kept as a file goes to the trash with its store.
    HXResponseManager::sharedManager()->setLargestBodyInRow(4);
    addResponse(u"A"_s, 2, "second, kept as a file");
    HXResponseManager::sharedManager()->saveUpdates();
    HXResponseManager::resetMoveToTrash(true);
    int mainFiles = 0;
    for (const QString &name : trashedFiles())
        mainFiles += name.endsWith(u".sqlite") ? 1 : 0;
    EXPECT_EQ(mainFiles, 2);
    EXPECT_TRUE(QFileInfo(QDir(trashFolder()).absoluteFilePath(u"files/Response Bodies"_s)).isDir());
    EXPECT_FALSE(QFileInfo::exists(HXResponseManager::bodiesDirectory()));
}

TEST_F(ResponseManagerTest, RequestsFindTheirLastResponseThroughTheStore)
{
    HXDocument document;
    auto *request = document.managedObjectContext()->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
    ASSERT_FALSE(request->uuid().isEmpty());
    addResponse(request->uuid(), 3, "latest");
    addResponse(request->uuid(), 2, "earlier");
    HXResponseManager::sharedManager()->saveUpdates();
    HXResponseManager::resetSharedManager();
    // Reopened on demand by the question itself.
    std::shared_ptr<HXResponse> last = request->lastResponse();
    ASSERT_TRUE(last);
    EXPECT_EQ(last->bodyData(), QByteArray("latest"));
}

} // namespace

namespace {

TEST_F(ResponseManagerTest, LargeBodiesAreKeptAsFilesBesideTheStoreAndReadOnDemand)
{
    HXResponseManager *manager = HXResponseManager::sharedManager();
    manager->setLargestBodyInRow(4096);
    const QString folder = manager->bodiesDirectory();
    const QByteArray inMemory = binaryBody(5000);
    const QByteArray inFile = binaryBody(300000);
    // As an engine delivers it: an unnamed file in the store's folder.
    HXHTTPResponseBody delivered(HXHTTPResponseBodyStorage{0, folder, {}});
    ASSERT_TRUE(delivered.append(inFile).ok());
    addResponse(u"memory"_s, 1, inMemory);
    addResponse(u"file"_s, 2)->setBody(delivered);
    addResponse(u"small"_s, 3, "fits in its row");
    ASSERT_TRUE(manager->saveToPersistentStore().ok());
    EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 2);
    HXResponseManager::resetSharedManager();
    // Files no row names, as a killed save leaves them: the next opening
    // removes an old one and leaves a fresh one to a save that may be
    // under way elsewhere.
    for (const char *name : {"old orphan", "fresh orphan"}) {
        QFile orphan(QDir(folder).absoluteFilePath(QString::fromLatin1(name)));
        ASSERT_TRUE(orphan.open(QIODevice::WriteOnly));
        if (qstrcmp(name, "old orphan") == 0)
            orphan.setFileTime(QDateTime::currentDateTime().addDays(-1), QFileDevice::FileModificationTime);
    }

    manager = HXResponseManager::sharedManager();
    EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 3);
    EXPECT_TRUE(QFileInfo::exists(QDir(folder).absoluteFilePath(u"fresh orphan"_s)));
    QFile::remove(QDir(folder).absoluteFilePath(u"fresh orphan"_s));
    for (const auto &[uuid, body] : {std::pair(u"memory"_s, inMemory), std::pair(u"file"_s, inFile)}) {
        SCOPED_TRACE(uuid.toStdString());
        const std::shared_ptr<HXResponse> response = manager->lastResponseForRequestUUID(uuid);
        ASSERT_TRUE(response);
        EXPECT_TRUE(response->bodyFile().isInFile());
        EXPECT_EQ(response->bodyLength(), body.size());
        EXPECT_TRUE(response->hasPendingBodyLoader()); // the length did not read the file
        EXPECT_TRUE(response->bodyData() == body);
        // Reading it is no change to write back.
        response->setResponseTime(2);
        ASSERT_TRUE(manager->saveToPersistentStore().ok());
        EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 2);
    }
    EXPECT_FALSE(manager->lastResponseForRequestUUID(u"small"_s)->bodyFile().isInFile());

    // Replaced by a small body, or deleted: the file goes.
    const std::shared_ptr<HXResponse> shrunk = manager->lastResponseForRequestUUID(u"memory"_s);
    shrunk->setBodyData("small now");
    manager->deleteResponse(manager->lastResponseForRequestUUID(u"file"_s));
    ASSERT_TRUE(manager->saveToPersistentStore().ok());
    EXPECT_TRUE(QDir(folder).entryList(QDir::Files).isEmpty());
    HXResponseManager::resetSharedManager();
    EXPECT_EQ(HXResponseManager::sharedManager()->lastResponseForRequestUUID(u"memory"_s)->bodyData(), "small now");
}

TEST_F(ResponseManagerTest, ABodyTheStoreCannotKeepIsReportedNotStoredAsNull)
{
    HXResponseManager *manager = HXResponseManager::sharedManager();
    manager->setLargestBodyInRow(100);
    // The folder of body files cannot be made: a file has its name.
    ASSERT_TRUE(HXTest::writeFile(manager->bodiesDirectory(), "in the way"));
    addResponse(u"A"_s, 1, binaryBody(1000));
    const HXResult<void> saved = manager->saveToPersistentStore();
    ASSERT_FALSE(saved.ok());
    EXPECT_TRUE(saved.error().description.contains(u"a response body of 1000 bytes could not be kept"_s))
        << saved.error().description.toStdString();
    HXResponseManager::resetSharedManager();
    EXPECT_EQ(HXResponseManager::sharedManager()->countOfResponses(), 0);

    // A value over SQLite's own limit fails the statement instead of
    // becoming NULL.
    auto database = HXSQLiteDatabase::open(storePath(u"limit.sqlite"_s));
    ASSERT_TRUE(database.ok());
    ASSERT_TRUE((*database)->execute(u"CREATE TABLE t (b BLOB)"_s).ok());
    (*database)->setLengthLimit(1000);
    auto insert = (*database)->prepare(u"INSERT INTO t VALUES (?)"_s);
    ASSERT_TRUE(insert.ok());
    insert->bindBlob(1, QByteArray(1001, 'x'));
    EXPECT_FALSE(insert->run().ok());
    insert->reset();
    insert->bindBlob(1, QByteArray(900, 'x'));
    EXPECT_TRUE(insert->run().ok());
}

} // namespace
