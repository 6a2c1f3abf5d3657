#include "HXXMLStore.h"
#include "HXDocumentModel.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXManagedObjectModel.h"
#include "HXObjectGraphDump.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXTestSupport.h"
#include "HXUndoManager.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <sys/stat.h>

namespace {

// A model with one attribute of every type, to check each stored form.
const HXManagedObjectModel &everyTypeModel()
{
    static const std::unique_ptr<HXManagedObjectModel> model = [] {
        auto built = std::make_unique<HXManagedObjectModel>();
        built->setVersionIdentifiers({QStringLiteral("TestVersion")});
        built->addEntity({QStringLiteral("Thing"),
                          QString(),
                          false,
                          {{QStringLiteral("text"), HXAttributeType::String, {}},
                           {QStringLiteral("signed"), HXAttributeType::Integer64, {}},
                           {QStringLiteral("unsigned"), HXAttributeType::UnsignedInteger64, {}},
                           {QStringLiteral("real"), HXAttributeType::Double, {}},
                           {QStringLiteral("flag"), HXAttributeType::Boolean, {}},
                           {QStringLiteral("when"), HXAttributeType::Date, {}},
                           {QStringLiteral("bytes"), HXAttributeType::Binary, {}}},
                          {{QStringLiteral("next"), QStringLiteral("Thing"), QString(), false, HXDeleteRule::Nullify}},
                          {}});
        EXPECT_EQ(built->finish(), QString());
        return built;
    }();
    return *model;
}

// A small document with folders, requests, headers and awkward texts.
void fillDocument(HXManagedObjectContext &context)
{
    auto *folder = context.insertNewObject<HXRequestGroup>(QStringLiteral("HXRequestGroup"));
    folder->setName(QStringLiteral("Folder <one> & \"two\""));
    for (int i = 0; i < 3; ++i) {
        auto *request = context.insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        request->setName(QStringLiteral("Request %1 — ünïcødé 🦜").arg(i));
        request->setUrl(QStringLiteral("http://127.0.0.1:1/path?a=1&b=%1").arg(i));
        request->setBody(QStringLiteral("line one\nline two\r\n\ttabbed"));
        request->setParent(i == 2 ? nullptr : folder);
        request->setOrder(i);
        auto *row = context.insertNewObject<HXKeyValue>(QStringLiteral("HXKeyValue"));
        row->setName(QStringLiteral("X-Header"));
        row->setValue(QStringLiteral("value %1").arg(i));
        row->setRequest(request);
    }
    context.processPendingChanges();
}

class XMLStoreTest : public ::testing::Test
{
protected:
    QTemporaryDir folder;
    QString path(const QString &name) const { return folder.filePath(name); }
};

TEST_F(XMLStoreTest, SaveLoadSaveIsByteIdentical)
{
    HXManagedObjectContext context(&HXDocumentModel::currentModel());
    fillDocument(context);
    ASSERT_TRUE(HXXMLStore::save(&context, path(QStringLiteral("a.kea"))).ok());
    EXPECT_FALSE(context.hasChanges());
    const QByteArray first = HXTest::readFile(path(QStringLiteral("a.kea")));

    auto loaded = HXXMLStore::load(path(QStringLiteral("a.kea")), HXDocumentModel::currentModel());
    ASSERT_TRUE(loaded.ok()) << loaded.error().description.toStdString();
    // Object numbers follow the file's order, so the graph is compared
    // through the bytes it saves to and a second load.
    auto again = HXXMLStore::load(path(QStringLiteral("a.kea")), HXDocumentModel::currentModel());
    ASSERT_TRUE(again.ok());
    EXPECT_EQ(HXObjectGraphDump(**loaded), HXObjectGraphDump(**again));
    EXPECT_EQ(HXXMLStore::serialize(**loaded), HXXMLStore::serialize(context));
    EXPECT_EQ((*loaded)->storeUUID(), context.storeUUID());
    EXPECT_FALSE((*loaded)->hasChanges());
    EXPECT_FALSE((*loaded)->undoManager()->canUndo());

    ASSERT_TRUE(HXXMLStore::save(loaded->get(), path(QStringLiteral("b.kea"))).ok());
    EXPECT_EQ(HXTest::readFile(path(QStringLiteral("b.kea"))), first);
}

TEST_F(XMLStoreTest, EveryAttributeTypeRoundTripsExactly)
{
    HXManagedObjectContext context(&everyTypeModel());
    HXManagedObject *thing = context.insertNewObject(QStringLiteral("Thing"));
    HXManagedObject *other = context.insertNewObject(QStringLiteral("Thing"));
    // Control characters, a lone surrogate and noncharacters cannot be XML text.
    QString awkward = QStringLiteral("nul\u0001 bell\u0007 ");
    awkward += QChar(0xD800);
    awkward += QStringLiteral(" end");
    thing->setValueForKey(awkward, QStringLiteral("text"));
    thing->setValueForKey(std::numeric_limits<qint64>::min(), QStringLiteral("signed"));
    thing->setValueForKey(std::numeric_limits<quint64>::max(), QStringLiteral("unsigned"));
    thing->setValueForKey(0.1 + 0.2, QStringLiteral("real"));
    thing->setValueForKey(false, QStringLiteral("flag"));
    thing->setValueForKey(QDateTime::fromMSecsSinceEpoch(1790000000123, Qt::UTC), QStringLiteral("when"));
    thing->setValueForKey(QByteArray("\x00\xff\x10 bytes", 9), QStringLiteral("bytes"));
    thing->setObjectForKey(other, QStringLiteral("next"));
    other->setValueForKey(std::nan(""), QStringLiteral("real"));
    other->setValueForKey(QString(), QStringLiteral("text"));

    const QByteArray bytes = HXXMLStore::serialize(context);
    auto loaded = HXXMLStore::loadData(bytes, QStringLiteral("memory"), everyTypeModel());
    ASSERT_TRUE(loaded.ok()) << loaded.error().description.toStdString();
    HXManagedObject *copy = nullptr;
    for (HXManagedObject *object : (*loaded)->registeredObjects()) {
        if (object->storeIdentifier() == thing->storeIdentifier())
            copy = object;
    }
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->stringForKey(QStringLiteral("text")), awkward);
    EXPECT_EQ(copy->valueForKey(QStringLiteral("signed")).toLongLong(), std::numeric_limits<qint64>::min());
    EXPECT_EQ(copy->valueForKey(QStringLiteral("unsigned")).toULongLong(), std::numeric_limits<quint64>::max());
    EXPECT_EQ(copy->doubleForKey(QStringLiteral("real")), 0.1 + 0.2);
    EXPECT_FALSE(copy->boolForKey(QStringLiteral("flag")));
    EXPECT_TRUE(copy->valueForKey(QStringLiteral("flag")).isValid());
    EXPECT_EQ(copy->valueForKey(QStringLiteral("when")).toDateTime().toMSecsSinceEpoch(), 1790000000123);
    EXPECT_EQ(copy->valueForKey(QStringLiteral("bytes")).toByteArray(), QByteArray("\x00\xff\x10 bytes", 9));
    ASSERT_NE(copy->objectForKey(QStringLiteral("next")), nullptr);
    EXPECT_TRUE(std::isnan(copy->objectForKey(QStringLiteral("next"))->doubleForKey(QStringLiteral("real"))));
    EXPECT_EQ(HXXMLStore::serialize(**loaded), bytes);
}

TEST_F(XMLStoreTest, ChangingOneFieldChangesOneLine)
{
    HXManagedObjectContext context(&HXDocumentModel::currentModel());
    fillDocument(context);
    const QList<QByteArray> before = HXXMLStore::serialize(context).split('\n');
    auto requests = context.executeFetchRequest(HXFetchRequest(QStringLiteral("HXRequest"))).value();
    static_cast<HXRequest *>(requests.at(1))->setUrl(QStringLiteral("http://127.0.0.1:2/changed"));
    const QList<QByteArray> after = HXXMLStore::serialize(context).split('\n');
    ASSERT_EQ(before.size(), after.size());
    int differing = 0;
    for (qsizetype i = 0; i < before.size(); ++i) {
        if (before.at(i) != after.at(i) && !before.at(i).contains("<integrity"))
            ++differing;
    }
    EXPECT_EQ(differing, 1);
}

TEST_F(XMLStoreTest, DamagedFilesAreRefusedWithAPlace)
{
    HXManagedObjectContext context(&HXDocumentModel::currentModel());
    fillDocument(context);
    const QByteArray good = HXXMLStore::serialize(context);
    const HXManagedObjectModel &model = HXDocumentModel::currentModel();

    // Any cut that loses content is refused; so is any flipped byte that
    // breaks the structure, always naming the file.
    for (qsizetype cut = 0; cut < good.size() - 1; cut += 7) {
        auto result = HXXMLStore::loadData(good.left(cut), QStringLiteral("doc.kea"), model);
        ASSERT_FALSE(result.ok()) << "truncated at " << cut;
        EXPECT_TRUE(result.error().description.startsWith(QStringLiteral("doc.kea"))) << cut;
    }
    for (qsizetype at = 0; at < good.size(); at += 3) {
        QByteArray flipped = good;
        flipped[at] = char(flipped.at(at) ^ 0x01);
        auto result = HXXMLStore::loadData(flipped, QStringLiteral("doc.kea"), model);
        if (!result.ok()) {
            EXPECT_TRUE(result.error().description.startsWith(QStringLiteral("doc.kea"))) << at;
        }
    }

    auto foreign = HXXMLStore::loadData("<?xml version=\"1.0\"?><plist/>", QStringLiteral("x.plist"), model);
    ASSERT_FALSE(foreign.ok());
    EXPECT_EQ(foreign.error().code, HXXMLStore::ForeignFileError);
    auto binary = HXXMLStore::loadData(QByteArray("\x89PNG\r\n\x1a\n\0\0", 10), QStringLiteral("x.png"), model);
    EXPECT_EQ(binary.error().code, HXXMLStore::ForeignFileError);
    auto other = HXXMLStore::loadData(good, QStringLiteral("doc.kea"), everyTypeModel());
    EXPECT_EQ(other.error().code, HXXMLStore::ModelMismatchError);
}

TEST_F(XMLStoreTest, InvalidContentNamesTheLine)
{
    const HXManagedObjectModel &model = HXDocumentModel::currentModel();
    HXManagedObjectContext context(&model);
    fillDocument(context);
    QByteArray bytes = HXXMLStore::serialize(context);

    struct Case
    {
        QByteArray from, to, message;
    };
    const QList<Case> cases = {
        {"type=\"bool\">true", "type=\"bool\">maybe", "is not a bool"},
        {"name=\"order\" type=\"int64\">0", "name=\"order\" type=\"int64\">zero", "is not a int64"},
        {"<attribute name=\"url\"", "<attribute name=\"address\"", "has no attribute \"address\""},
        {"entity=\"HXKeyValue\"", "entity=\"HXCookie\"", "unknown entity \"HXCookie\""},
        {"name=\"request\" to=\"", "name=\"request\" to=\"f00d", "missing object f00d"},
        {"<object entity=\"HXRequestGroup\" id=\"", "<object entity=\"HXRequestGroup\" id=\"#",
         "invalid object id \"#"},
    };
    for (const Case &c : cases) {
        QByteArray broken = bytes;
        ASSERT_GE(broken.indexOf(c.from), 0) << c.from.constData();
        broken.replace(broken.indexOf(c.from), c.from.size(), c.to);
        auto result = HXXMLStore::loadData(broken, QStringLiteral("doc.kea"), model);
        ASSERT_FALSE(result.ok()) << c.to.constData();
        EXPECT_TRUE(result.error().description.contains(QString::fromUtf8(c.message)))
            << result.error().description.toStdString();
        EXPECT_TRUE(result.error().description.contains(QRegularExpression(QStringLiteral("^doc\\.kea:\\d+: "))))
            << result.error().description.toStdString();
    }
}

TEST_F(XMLStoreTest, FailedSaveLeavesTheOldFileAndNoLeftovers)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root can write into read-only folders";
    HXManagedObjectContext context(&HXDocumentModel::currentModel());
    fillDocument(context);
    const QString file = path(QStringLiteral("doc.kea"));
    ASSERT_TRUE(HXXMLStore::save(&context, file).ok());
    const QByteArray saved = HXTest::readFile(file);
    ::chmod(QFile::encodeName(folder.path()).constData(), 0555);
    static_cast<HXRequest *>(context.executeFetchRequest(HXFetchRequest(QStringLiteral("HXRequest")))->first())
        ->setName(QStringLiteral("changed"));
    auto result = HXXMLStore::save(&context, file);
    ::chmod(QFile::encodeName(folder.path()).constData(), 0755);
    ASSERT_FALSE(result.ok());
    EXPECT_TRUE(context.hasChanges());
    EXPECT_EQ(HXTest::readFile(file), saved);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

TEST_F(XMLStoreTest, SavingReplacesAtomicallyAndKeepsPermissions)
{
    HXManagedObjectContext context(&HXDocumentModel::currentModel());
    fillDocument(context);
    const QString file = path(QStringLiteral("doc.kea"));
    ASSERT_TRUE(HXXMLStore::save(&context, file).ok());
    ::chmod(QFile::encodeName(file).constData(), 0600);
    struct stat before
    {};
    ::stat(QFile::encodeName(file).constData(), &before);
    ASSERT_TRUE(HXXMLStore::save(&context, file).ok());
    struct stat after
    {};
    ::stat(QFile::encodeName(file).constData(), &after);
    EXPECT_NE(before.st_ino, after.st_ino); // a new file was renamed into place
    EXPECT_EQ(after.st_mode & 0777, 0600u);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);

    auto metadata = HXXMLStore::readMetadata(file);
    ASSERT_TRUE(metadata.ok());
    EXPECT_EQ(metadata->storeUUID, context.storeUUID());
    EXPECT_EQ(metadata->versionIdentifiers, QStringList{QStringLiteral("HXDocumentVersion2")});
    EXPECT_EQ(metadata->entityVersionHashes, HXDocumentModel::currentModel().entityVersionHashes());
}

TEST(ManagedObjectModelTest, VersionHashesAreStableAndFollowTheDescription)
{
    // The hash depends on names, types and relationships only, so it is the
    // same in every build; this value is what documents on disk carry.
    const HXEntityDescription *request = HXDocumentModel::currentModel().entity(QStringLiteral("HXRequest"));
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->versionHash(), QByteArray("F3nzLc91Jl5CXyiHCvtVm1z0uiIra77Ti7Y1iS5WS58="));
    EXPECT_NE(request->versionHash(),
              HXDocumentModel::currentModel().entity(QStringLiteral("HXRequestGroup"))->versionHash());
    EXPECT_TRUE(request->isKindOfEntity(HXDocumentModel::currentModel().entity(QStringLiteral("HXRequestTreeItem"))));
    EXPECT_EQ(request->attributeIndex(QStringLiteral("name")), 0); // inherited attributes come first
}

} // namespace
