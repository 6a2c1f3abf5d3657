#include "HXDocument.h"
#include "HXEnvironment.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXSQLiteDatabase.h"
#include "HXStoreTestSupport.h"
#include "HXTestSupport.h"

using namespace Qt::StringLiterals;

namespace {

class UIPreferencesManagerTest : public HXStoreTest
{
protected:
    void SetUp() override
    {
        HXStoreTest::SetUp();
        document._readOrWriteDocumentUUIDWithURL(QString());
        request = context()->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        other = context()->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
    }
    HXManagedObjectContext *context() { return document.managedObjectContext(); }
    // Saves, drops the instance and opens the file again.
    static HXUIPreferencesManager *reopened()
    {
        HXUIPreferencesManager::sharedManager()->saveUpdates();
        HXUIPreferencesManager::resetSharedManager();
        return HXUIPreferencesManager::sharedManager();
    }

    HXDocument document;
    HXRequest *request = nullptr;
    HXRequest *other = nullptr;
};

TEST_F(UIPreferencesManagerTest, RequestStateIsKeptPerRequestAndView)
{
    HXUIPreferencesManager *manager = HXUIPreferencesManager::sharedManager();
    EXPECT_EQ(manager->tabValueForRequest(request, HXUIPreferencesManager::RequestView), std::nullopt);
    manager->addTabValue(2, request, HXUIPreferencesManager::RequestView);
    manager->addTabValue(3, request, HXUIPreferencesManager::ResponseView);
    manager->addViewType(1, request);
    manager->setResponseTextFormat(4, request);
    manager->addTabValue(7, other, HXUIPreferencesManager::ResponseView);

    manager = reopened();
    EXPECT_EQ(manager->tabValueForRequest(request, HXUIPreferencesManager::RequestView), 2);
    EXPECT_EQ(manager->tabValueForRequest(request, HXUIPreferencesManager::ResponseView), 3);
    EXPECT_EQ(manager->viewTypeForRequest(request), 1);
    EXPECT_EQ(manager->responseTextFormatForRequest(request), 4);
    EXPECT_EQ(manager->tabValueForRequest(other, HXUIPreferencesManager::ResponseView), 7);
    // Set fields only: the rest stays unknown.
    EXPECT_EQ(manager->tabValueForRequest(other, HXUIPreferencesManager::RequestView), std::nullopt);
    EXPECT_EQ(manager->viewTypeForRequest(other), std::nullopt);
}

TEST_F(UIPreferencesManagerTest, DocumentStateRoundTripsAndItemListsAreSets)
{
    HXUIPreferencesManager *manager = HXUIPreferencesManager::sharedManager();
    EXPECT_EQ(manager->orderByForDocument(&document), std::nullopt);
    EXPECT_EQ(manager->getListViewWidth(&document), std::nullopt);
    manager->setOrderBy(2, &document);
    manager->setArrangeBy(1, &document);
    manager->setExpandedItems({u"p3"_s, u"p1"_s, QString()}, &document);
    manager->setSelectedItems({}, &document);
    manager->setMainViewType(1, &document);
    manager->setListViewWidth(240.5, 0.375, &document);
    manager->setRequestInspectorHeight(180, &document);

    manager = reopened();
    EXPECT_EQ(manager->orderByForDocument(&document), 2);
    EXPECT_EQ(manager->arrangeByForDocument(&document), 1);
    EXPECT_EQ(manager->expandedItemsForDocument(&document), (QSet<QString>{u"p1"_s, u"p3"_s}));
    EXPECT_EQ(manager->selectedItemsForDocument(&document), QSet<QString>());
    EXPECT_EQ(manager->mainViewTypeForDocument(&document), 1);
    const auto geometry = manager->getListViewWidth(&document);
    ASSERT_TRUE(geometry);
    EXPECT_DOUBLE_EQ(geometry->listViewWidth, 240.5);
    EXPECT_DOUBLE_EQ(geometry->mainViewRatio, 0.375);
    EXPECT_EQ(manager->requestInspectorHeightForDocument(&document), 180.0);

    // A document seen for the first time, and one without an identifier,
    // have no state; setting state on the latter is ignored.
    HXDocument fresh;
    EXPECT_EQ(manager->orderByForDocument(&fresh), std::nullopt);
    manager->setOrderBy(1, &fresh);
    EXPECT_EQ(manager->orderByForDocument(&fresh), std::nullopt);
    fresh._readOrWriteDocumentUUIDWithURL(QString());
    EXPECT_EQ(manager->orderByForDocument(&fresh), std::nullopt);
}

TEST_F(UIPreferencesManagerTest, SelectedEnvironmentIsFoundOnlyWhenItStillExists)
{
    HXEnvironment *staging = HXEnvironment::addEnvironment(u"Staging"_s, context());
    HXEnvironment *production = HXEnvironment::addEnvironment(u"Production"_s, context());
    HXUIPreferencesManager *manager = HXUIPreferencesManager::sharedManager();
    manager->setSelectedEnvironment(production, &document);
    manager = reopened();
    EXPECT_EQ(manager->selectedEnvironmentForDocument(&document), production);

    manager->setSelectedEnvironment(nullptr, &document);
    EXPECT_EQ(manager->selectedEnvironmentForDocument(&document), nullptr);
    manager->setSelectedEnvironment(staging, &document);
    manager = reopened();
    context()->deleteObject(staging);
    EXPECT_EQ(manager->selectedEnvironmentForDocument(&document), nullptr);

    // Stored texts that are not an environment of this document.
    const QStringList stored = {u"not a uri"_s, u"http://example.com/HXEnvironment/p1"_s, request->objectURI(),
                                production->objectURI().replace(context()->storeUUID(), u"OTHER-STORE"_s)};
    for (const QString &text : stored) {
        HXUIPreferencesManager::resetSharedManager();
        {
            auto database = HXSQLiteDatabase::open(storePath(u"UserInterfacePreferences.sqlite"_s));
            ASSERT_TRUE(database);
            auto update = (*database)->prepare(u"UPDATE HXDocumentPreferences SET selectedEnvironment = ?"_s);
            ASSERT_TRUE(update);
            update->bindText(1, text);
            ASSERT_TRUE(update->run());
        }
        EXPECT_EQ(HXUIPreferencesManager::sharedManager()->selectedEnvironmentForDocument(&document), nullptr)
            << text.toStdString();
    }
}

TEST_F(UIPreferencesManagerTest, AnUnreadableStoreKeepsItsNameInTheTrash)
{
    ASSERT_TRUE(HXTest::writeFile(storePath(u"UserInterfacePreferences.sqlite"_s), "SQLite format 3 but not really"));
    HXUIPreferencesManager *manager = HXUIPreferencesManager::sharedManager();
    EXPECT_TRUE(logged(u"Reset HXUIPreferencesManager persistent store"_s));
    EXPECT_EQ(trashedFiles(), QStringList{u"UserInterfacePreferences.sqlite"_s});
    manager->setOrderBy(3, &document);
    EXPECT_EQ(reopened()->orderByForDocument(&document), 3);
}

} // namespace
