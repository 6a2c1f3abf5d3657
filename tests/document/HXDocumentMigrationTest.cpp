#include "HXDocumentMigration.h"
#include "HXDocument.h"
#include "HXDocumentModelVersion1.h"
#include "HXDynamicValueEngine.h"
#include "HXFetchRequest.h"
#include "HXKeyValue.h"
#include "HXManagedObject.h"
#include "HXManagedObjectContext.h"
#include "HXManagedObjectModel.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXStoreTestSupport.h"
#include "HXTestSupport.h"
#include "HXXMLStore.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <sys/xattr.h>

using namespace Qt::StringLiterals;

namespace {

// Documents of the first model are written by the tests themselves: a folder
// holding a request with a body and a header, a request without a body, one
// whose body is not UTF-8, and an environment.
class DocumentMigrationTest : public HXStoreTest
{
protected:
    void SetUp() override
    {
        HXStoreTest::SetUp();
        ASSERT_TRUE(temporary.isValid());
        m_previousTemp = qgetenv("TMPDIR");
        qputenv("TMPDIR", temporary.path().toUtf8());
        path = folder.filePath(u"old.kea"_s);
    }
    void TearDown() override
    {
        qputenv("TMPDIR", m_previousTemp);
        HXStoreTest::TearDown();
    }

    void writeFirstModelDocument()
    {
        HXManagedObjectContext context(&HXDocumentModelVersion1::model());
        HXManagedObject *group = context.insertNewObject(u"HXRequestGroup"_s);
        group->setValueForKey(u"Folder"_s, u"name"_s);
        HXManagedObject *form = context.insertNewObject(u"HXRequest"_s);
        form->setValueForKey(u"Form"_s, u"name"_s);
        form->setValueForKey(QByteArray("a=1"), u"bodyData"_s);
        form->setObjectForKey(group, u"parent"_s);
        HXManagedObject *header = context.insertNewObject(u"HXKeyValue"_s);
        header->setValueForKey(u"Accept"_s, u"name"_s);
        header->setObjectForKey(form, u"request"_s);
        context.insertNewObject(u"HXRequest"_s)->setValueForKey(u"Empty"_s, u"name"_s);
        HXManagedObject *binary = context.insertNewObject(u"HXRequest"_s);
        binary->setValueForKey(u"Binary"_s, u"name"_s);
        binary->setValueForKey(QByteArray("\xff\xfe"), u"bodyData"_s);
        context.insertNewObject(u"HXEnvironment"_s)->setValueForKey(u"Default"_s, u"name"_s);
        ASSERT_TRUE(HXXMLStore::save(&context, path));
        const QByteArray id = "DOC-ID";
        ASSERT_EQ(::setxattr(QFile::encodeName(path).constData(), HXDocument::documentIDAttribute, id.constData(),
                             size_t(id.size()), 0),
                  0);
    }
    QStringList migrationFiles() const { return QDir(temporary.path()).entryList({u"*-migration.kea"_s}, QDir::Files); }
    static qsizetype indexOfLog(const QString &text) { return s_messages.indexOf(text); }

    QTemporaryDir folder;
    QTemporaryDir temporary;
    QString path;

private:
    QByteArray m_previousTemp;
};

TEST_F(DocumentMigrationTest, AFirstModelDocumentOpensMigratedInPlace)
{
    writeFirstModelDocument();
    auto opened = HXDocument::openDocument(path);
    ASSERT_TRUE(opened) << qPrintable(opened.error().description);

    // The logs name the document, both models, what differs and every step.
    const QStringList steps = {
        u"Core Data Migration Is Nessary for Document: "_s + path,
        u"  [INFO] Source Model: HXDocumentVersion1"_s,
        u"  [INFO] Destination Model: HXDocumentVersion2"_s,
        u"  [INFO] Diff Between Source and Destination Models"_s,
        u"         Different Hashes for: HXRequest"_s,
        u"Migrating document "_s + path,
        u" From Model: HXDocumentVersion1"_s,
        u" To Model: HXDocumentVersion2"_s,
        u"> Migrated Successfully"_s,
        u"> Copied new version at the URL"_s,
        u"> Removing temporary file"_s,
    };
    qsizetype previous = -1;
    for (const QString &step : steps) {
        const qsizetype at = indexOfLog(step);
        EXPECT_GT(at, previous) << qPrintable(step);
        previous = at;
    }
    EXPECT_EQ(s_messages.filter(u"Different Hashes for"_s).size(), 1);
    const QStringList temporaryLines = s_messages.filter(u" Using temporary file: "_s);
    ASSERT_EQ(temporaryLines.size(), 1);
    EXPECT_TRUE(QRegularExpression(u"^ Using temporary file: .*/[0-9a-f-]{36}-migration\\.kea$"_s)
                    .match(temporaryLines.first())
                    .hasMatch())
        << qPrintable(temporaryLines.first());
    EXPECT_TRUE(migrationFiles().isEmpty());

    // The file itself is now of the current model and keeps its identifier.
    EXPECT_EQ(HXXMLStore::readMetadata(path)->versionIdentifiers, QStringList({u"HXDocumentVersion2"_s}));
    EXPECT_EQ((*opened)->documentUUID(), u"DOC-ID"_s);

    HXFetchRequest fetch(u"HXRequest"_s);
    fetch.sortBy(u"name"_s);
    QList<HXRequest *> requests;
    for (HXManagedObject *object : (*opened)->managedObjectContext()->executeFetchRequest(fetch).valueOr({}))
        requests.append(static_cast<HXRequest *>(object));
    ASSERT_EQ(requests.size(), 3);
    QSet<QString> uuids;
    for (HXRequest *request : requests) {
        EXPECT_FALSE(request->uuid().isEmpty());
        uuids.insert(request->uuid());
    }
    EXPECT_EQ(uuids.size(), 3);
    HXRequest *binary = requests.at(0), *empty = requests.at(1), *form = requests.at(2);
    EXPECT_EQ(HXDynamicValueEngine::displayStringFromString(form->body()), u"a=1"_s);
    EXPECT_TRUE(empty->body().isEmpty());
    EXPECT_TRUE(binary->body().isEmpty());
    ASSERT_NE(form->parent(), nullptr);
    EXPECT_EQ(form->parent()->name(), u"Folder"_s);
    const QList<HXKeyValue *> headers = HXKeyValue::keyValuesForRelationship(u"request"_s, form);
    ASSERT_EQ(headers.size(), 1);
    EXPECT_EQ(headers.first()->name(), u"Accept"_s);
}

TEST_F(DocumentMigrationTest, AFailedCopyKeepsTheMigratedFileAndTheOriginal)
{
    writeFirstModelDocument();
    const QByteArray original = HXTest::readFile(path);
    HXDocumentMigration migration;
    migration.setCopyBackWriter(
        [](const QString &, const QByteArray &) -> HXResult<void> { return HXError(u"test"_s, 1, u"disk full"_s); });
    EXPECT_EQ(migration.migrateIfNeeded(path), HXDocumentMigration::CopyBackFailed);
    EXPECT_EQ(HXTest::readFile(path), original);
    const QStringList kept = migrationFiles();
    ASSERT_EQ(kept.size(), 1);
    const QString keptPath = QDir(temporary.path()).absoluteFilePath(kept.first());
    EXPECT_GE(indexOfLog(u"> Couldn't copy the migrated document to the original location, migrated document is "
                         "here: "_s +
                         keptPath),
              0);
    EXPECT_LT(indexOfLog(u"> Copied new version at the URL"_s), 0);
    // What was kept is a complete document of the current model.
    EXPECT_TRUE(HXDocument::openDocument(keptPath));
}

TEST_F(DocumentMigrationTest, CurrentAndUnknownModelsAreOpenedWithoutMigration)
{
    {
        HXDocument current;
        current.managedObjectContext()->insertNewObject(u"HXRequest"_s);
        ASSERT_TRUE(current.saveAs(path));
    }
    EXPECT_EQ(HXDocumentMigration().migrateIfNeeded(path), HXDocumentMigration::NotNeeded);

    // A first-model document whose request entity was changed by someone
    // else matches no model Kea knows.
    writeFirstModelDocument();
    QByteArray bytes = HXTest::readFile(path);
    const QByteArray hash = HXDocumentModelVersion1::model().entity(u"HXRequest"_s)->versionHash();
    bytes.replace(hash, "c29tZXRoaW5nIGVsc2U=");
    ASSERT_TRUE(HXTest::writeFile(path, bytes));
    s_messages.clear();
    auto opened = HXDocument::openDocument(path);
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().code, HXXMLStore::ModelMismatchError);
    EXPECT_TRUE(s_messages.filter(u"Migrat"_s).isEmpty());
    EXPECT_TRUE(migrationFiles().isEmpty());
}

} // namespace
