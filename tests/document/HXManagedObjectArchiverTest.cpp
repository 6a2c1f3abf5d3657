#include "HXManagedObjectArchiver.h"
#include "HXDocument.h"
#include "HXKeyValue.h"
#include "HXKeyedArchiver.h"
#include "HXManagedObjectContext.h"
#include "HXManagedObjectUnarchiver.h"
#include "HXPasteboardManagement.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"

#include <QCborArray>
#include <QCborMap>

#include <gtest/gtest.h>

namespace {

class ManagedObjectArchiverTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HXManagedObjectContext *context = document.managedObjectContext();
        folder = context->insertNewObject<HXRequestGroup>(HXRequestGroup::staticEntityName());
        folder->setName(QStringLiteral("F"));
        request = context->insertNewObject<HXRequest>(HXRequest::staticEntityName());
        request->setName(QStringLiteral("R"));
        request->setParent(folder);
        request->setHeaderName(QStringLiteral("A"), QStringLiteral("1"));
        request->setHeaderName(QStringLiteral("B"), QStringLiteral("2"));
    }
    QByteArray archive(HXManagedObject *root)
    {
        return HXManagedObjectArchiver::archivedDataWithRootObject(root, HXPasteboardManagement::archivingBlock());
    }

    HXDocument document;
    HXRequestGroup *folder = nullptr;
    HXRequest *request = nullptr;
};

TEST_F(ManagedObjectArchiverTest, EveryObjectIsWrittenOnceAndRebuiltOnce)
{
    const QByteArray data = archive(folder);
    EXPECT_EQ(data, archive(folder)); // deterministic
    const QCborMap root = HXKeyedArchiver::unarchivedObjectWithData(data)->toMap();
    EXPECT_EQ(root.value(QStringLiteral("objects")).toMap().size(), 4); // folder, request, two headers
    // Without a block the back references are followed too, and still end at
    // identifiers already written.
    const QCborMap all =
        HXKeyedArchiver::unarchivedObjectWithData(HXManagedObjectArchiver::archivedDataWithRootObject(request))
            ->toMap();
    EXPECT_EQ(all.value(QStringLiteral("objects")).toMap().size(), 4);

    HXDocument other;
    auto rebuilt = HXManagedObjectUnarchiver::unarchiveObjectWithData(data, other.managedObjectContext());
    ASSERT_TRUE(rebuilt.ok());
    auto *copy = dynamic_cast<HXRequestGroup *>(*rebuilt);
    ASSERT_NE(copy, nullptr);
    ASSERT_EQ(copy->children().size(), 1);
    auto *child = static_cast<HXRequest *>(copy->children().first());
    EXPECT_EQ(child->parent(), copy);
    EXPECT_EQ(child->uuid(), request->uuid());
    QStringList headers;
    for (const HXKeyValue *row : HXKeyValue::keyValuesForRelationship(QStringLiteral("request"), child))
        headers.append(row->name() + u'=' + row->value());
    EXPECT_EQ(headers, QStringList({QStringLiteral("A=1"), QStringLiteral("B=2")}));
}

TEST_F(ManagedObjectArchiverTest, ForeignOrDamagedArchivesAreRefusedWhole)
{
    QCborMap root = HXKeyedArchiver::unarchivedObjectWithData(archive(folder))->toMap();
    QCborMap objects = root.value(QStringLiteral("objects")).toMap();
    const QCborValue childId = HXManagedObjectArchiver::identifierForObject(request);
    QCborMap record = objects.value(childId).toMap();
    record.insert(QStringLiteral("entityVersionHash"), QByteArray("other"));
    objects.insert(childId, record);
    root.insert(QStringLiteral("objects"), objects);

    HXDocument other;
    HXManagedObjectContext *context = other.managedObjectContext();
    auto refused =
        HXManagedObjectUnarchiver::unarchiveObjectWithData(HXKeyedArchiver::archivedDataWithRootObject(root), context);
    ASSERT_FALSE(refused.ok());
    EXPECT_EQ(refused.error().description, QStringLiteral("Invalid archived data"));
    EXPECT_TRUE(refused.error().userInfo.value(QStringLiteral("reason")).toString().startsWith(u"Mismatching"));
    EXPECT_TRUE(context->registeredObjects().isEmpty());

    EXPECT_FALSE(HXManagedObjectUnarchiver::unarchiveObjectWithData("\xff", context).ok());
    EXPECT_FALSE(HXManagedObjectUnarchiver::unarchiveObjectWithData(archive(folder) + "\x01", context).ok());
    auto notAMap = HXManagedObjectUnarchiver::unarchiveObjectWithData(
        HXKeyedArchiver::archivedDataWithRootObject(QCborArray{1, 2}), context);
    ASSERT_TRUE(notAMap.ok());
    EXPECT_EQ(*notAMap, nullptr);
}

} // namespace
