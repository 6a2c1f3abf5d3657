#include "HXDocument.h"
#include "HXDocumentModel.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXTestSupport.h"
#include "HXXMLStore.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace {

class DocumentSaveTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        file = folder.filePath(QStringLiteral("doc.kea"));
        HXDocument created;
        addRequest(created, QStringLiteral("first"));
        ASSERT_TRUE(created.saveAs(file).ok());
    }
    static HXRequest *addRequest(HXDocument &document, const QString &name)
    {
        auto *request = document.managedObjectContext()->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        request->setName(name);
        document.managedObjectContext()->processPendingChanges();
        return request;
    }
    // Another program's save: the file read, changed and replaced.
    void changeElsewhere(const QString &name)
    {
        auto context = HXXMLStore::load(file, HXDocumentModel::currentModel());
        ASSERT_TRUE(context.ok());
        (*context)->insertNewObject<HXRequest>(QStringLiteral("HXRequest"))->setName(name);
        (*context)->processPendingChanges();
        ASSERT_TRUE(HXXMLStore::save(context->get(), file).ok());
    }
    std::unique_ptr<HXDocument> open()
    {
        auto document = HXDocument::openDocument(file);
        EXPECT_TRUE(document.ok());
        return document ? std::move(document).value() : nullptr;
    }

    QTemporaryDir folder;
    QString file;
};

TEST_F(DocumentSaveTest, ASaveOverAnotherProgramsChangeIsRefusedAndKeepsBothVersions)
{
    std::unique_ptr<HXDocument> document = open();
    ASSERT_TRUE(document);
    addRequest(*document, QStringLiteral("mine"));
    changeElsewhere(QStringLiteral("theirs"));
    const QByteArray theirs = HXTest::readFile(file);

    for (int attempt = 0; attempt < 2; ++attempt) {
        const HXResult<void> saved = document->save();
        ASSERT_FALSE(saved.ok());
        EXPECT_EQ(saved.error().code, HXXMLStore::ChangedOnDiskError);
        EXPECT_TRUE(saved.error().description.endsWith(
            QStringLiteral("was changed by another program since it was opened; reload it or save under another "
                           "name")))
            << saved.error().description.toStdString();
        EXPECT_EQ(HXTest::readFile(file), theirs);
        EXPECT_TRUE(document->managedObjectContext()->hasChanges());
    }
    const QString elsewhere = folder.filePath(QStringLiteral("mine.kea"));
    ASSERT_TRUE(document->saveAs(elsewhere).ok());
    EXPECT_TRUE(HXTest::readFile(elsewhere).contains("mine"));
    EXPECT_TRUE(HXTest::readFile(file).contains("theirs"));
}

TEST_F(DocumentSaveTest, OwnSavesAndATouchWithoutChangeDoNotCountAsChanges)
{
    std::unique_ptr<HXDocument> document = open();
    ASSERT_TRUE(document);
    addRequest(*document, QStringLiteral("one"));
    ASSERT_TRUE(document->save().ok());
    addRequest(*document, QStringLiteral("two"));
    ASSERT_TRUE(document->save().ok());

    // Same bytes, another modification time (a checkout, a backup restore).
    const struct timespec times[2] = {{1000000, 0}, {1000000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(file).constData(), times, 0), 0);
    addRequest(*document, QStringLiteral("three"));
    EXPECT_TRUE(document->save().ok());
    EXPECT_TRUE(HXTest::readFile(file).contains("three"));
}

TEST_F(DocumentSaveTest, OpeningKeepsTheIdentityAndClearsLeftoversOfKilledSaves)
{
    std::unique_ptr<HXDocument> first = open();
    ASSERT_TRUE(first);
    const QString identity = first->documentUUID();
    ASSERT_FALSE(identity.isEmpty());
    addRequest(*first, QStringLiteral("changed"));
    ASSERT_TRUE(first->save().ok());
    first.reset();

    ASSERT_TRUE(HXTest::writeFile(folder.filePath(QStringLiteral(".doc.kea.x1Y2z3")), "a copy with secrets"));
    std::unique_ptr<HXDocument> second = open();
    ASSERT_TRUE(second);
    EXPECT_EQ(second->documentUUID(), identity);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("doc.kea")});
}

} // namespace
