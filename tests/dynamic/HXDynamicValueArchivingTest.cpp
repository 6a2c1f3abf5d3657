#include "HXDynamicTestKinds.h"

#include "HXDocument.h"
#include "HXDocumentController.h"
#include "HXDynamicValueArchiving.h"
#include "HXEnvironmentVariable.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestEvaluationContext.h"

#include <gtest/gtest.h>

using namespace HXDynamicTest;

namespace {

class HXDynamicValueArchivingTest : public ::testing::Test
{
protected:
    void SetUp() override { registerTestKinds(); }

    static HXRequest *newRequest(HXDocument &document)
    {
        return document.managedObjectContext()->insertNewObject<HXRequest>(HXRequest::staticEntityName());
    }
};

} // namespace

TEST_F(HXDynamicValueArchivingTest, RequestsAreStoredByUUIDAndFoundInTheFrontmostDocument)
{
    HXDocument back;
    HXDocument front;
    HXRequest *request = newRequest(back);
    ASSERT_FALSE(request->uuid().isEmpty());
    // A duplicate of the same request in the front document.
    HXRequest *duplicate = newRequest(front);
    duplicate->setUuid(request->uuid());
    HXDocumentController::sharedDocumentController()->bringToFront(&front);

    auto value = echo(QStringLiteral("x"));
    value->setObjectValue(QStringLiteral("request"), request);
    EXPECT_EQ(value->dynamicArchivingClassForKey(QStringLiteral("request")), QStringLiteral("HXRequest"));
    EXPECT_TRUE(value->keyedArchive().contains(request->uuid().toUtf8()));

    const HXDynamicValuePtr read = HXDynamicValue::valueWithKeyedArchive(value->keyedArchive());
    ASSERT_TRUE(read);
    EXPECT_EQ(read->objectValue(QStringLiteral("request")), duplicate);
    // Identity follows the uuid, not the object or its content.
    EXPECT_TRUE(read->isEqual(*value));
    request->setUrl(QStringLiteral("http://changed"));
    EXPECT_TRUE(read->isEqual(*value));

    HXDocumentController::sharedDocumentController()->bringToFront(&back);
    EXPECT_EQ(HXDynamicValue::valueWithKeyedArchive(value->keyedArchive())->objectValue(QStringLiteral("request")),
              request);
}

TEST_F(HXDynamicValueArchivingTest, UnresolvedReferencesAreDropped)
{
    QByteArray archive;
    QString uuid;
    {
        HXDocument document;
        HXRequest *request = newRequest(document);
        uuid = request->uuid();
        auto value = echo(QStringLiteral("x"));
        value->setObjectValue(QStringLiteral("request"), request);
        archive = value->keyedArchive();
    }
    // The document is closed: the value reads, without its request.
    const HXDynamicValuePtr read = HXDynamicValue::valueWithKeyedArchive(archive);
    ASSERT_TRUE(read);
    EXPECT_FALSE(read->objectValue(QStringLiteral("request")));
    EXPECT_EQ(read->stringValue(QStringLiteral("input")), QStringLiteral("x"));

    // Classes that do not archive by reference find nothing.
    HXDocument document;
    HXEnvironmentVariable *variable = document.managedObjectContext()->insertNewObject<HXEnvironmentVariable>(
        HXEnvironmentVariable::staticEntityName());
    EXPECT_EQ(HXDynamicValueArchiving::objectForArchivedValue(QStringLiteral("HXEnvironmentVariable"), *read,
                                                              variable->uuid()),
              variable);
    EXPECT_FALSE(HXDynamicValueArchiving::objectForArchivedValue(QStringLiteral("HXRequest"), *read, variable->uuid()));
    EXPECT_FALSE(HXDynamicValueArchiving::objectForArchivedValue(QStringLiteral("HXKeyValue"), *read, uuid));
    EXPECT_FALSE(HXDynamicValueArchiving::conformsToProtocol(QStringLiteral("HXKeyValue")));
}

TEST_F(HXDynamicValueArchivingTest, RequestEvaluationContextFindsTheDocumentOfItsObjects)
{
    HXDocument document;
    EXPECT_EQ(HXRequestEvaluationContext(document.managedObjectContext()).document(), &document);
    HXManagedObjectContext orphan(&HXDocument::managedObjectModel());
    EXPECT_FALSE(HXRequestEvaluationContext(&orphan).document());
}
