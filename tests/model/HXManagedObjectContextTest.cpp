#include "HXManagedObjectContext.h"
#include "HXDocumentModel.h"
#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableValue.h"
#include "HXKeyValue.h"
#include "HXObjectGraphDump.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXUndoManager.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

#include <random>

namespace {

class ObjectContextTest : public ::testing::Test
{
protected:
    HXManagedObjectContext context{&HXDocumentModel::currentModel()};

    HXRequest *request(const QString &name, HXRequestGroup *parent = nullptr)
    {
        auto *item = context.insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        item->setName(name);
        item->setParent(parent);
        return item;
    }
    HXRequestGroup *group(const QString &name, HXRequestGroup *parent = nullptr)
    {
        auto *item = context.insertNewObject<HXRequestGroup>(QStringLiteral("HXRequestGroup"));
        item->setName(name);
        item->setParent(parent);
        return item;
    }
    HXKeyValue *header(HXRequest *owner, const QString &name)
    {
        auto *row = context.insertNewObject<HXKeyValue>(QStringLiteral("HXKeyValue"));
        row->setName(name);
        row->setRequest(owner);
        return row;
    }
    static QStringList names(const QList<HXManagedObject *> &objects)
    {
        QStringList result;
        for (const HXManagedObject *object : objects)
            result.append(object->stringForKey(QStringLiteral("name")));
        return result;
    }
};

TEST_F(ObjectContextTest, InversesFollowEveryRelationshipChange)
{
    HXRequestGroup *a = group(QStringLiteral("A"));
    HXRequestGroup *b = group(QStringLiteral("B"));
    HXRequest *r = request(QStringLiteral("r"), a);
    EXPECT_EQ(a->children().size(), 1);

    // Moving through the to-one side updates both to-many sides.
    r->setParent(b);
    EXPECT_TRUE(a->children().isEmpty());
    ASSERT_EQ(b->children().size(), 1);
    EXPECT_EQ(b->children().first(), r);

    // Adding through the to-many side takes it from its previous owner.
    a->addObjectForKey(r, QStringLiteral("children"));
    EXPECT_EQ(r->parent(), a);
    EXPECT_TRUE(b->children().isEmpty());

    // Setting a to-many value by key replaces the members.
    HXKeyValue *h1 = header(r, QStringLiteral("h1"));
    HXKeyValue *h2 = header(r, QStringLiteral("h2"));
    r->setValueForKey(QVariant::fromValue(QList<HXManagedObject *>{h2}), QStringLiteral("headers"));
    EXPECT_EQ(h1->request(), nullptr);
    EXPECT_EQ(h2->request(), r);

    // A destination of the wrong entity is refused.
    auto *environment = context.insertNewObject<HXEnvironment>(QStringLiteral("HXEnvironment"));
    r->addObjectForKey(environment, QStringLiteral("headers"));
    EXPECT_EQ(r->headers().size(), 1);
}

TEST_F(ObjectContextTest, DeleteRulesCascadeToOwnedObjectsAndNullifyTheRest)
{
    HXRequestGroup *folder = group(QStringLiteral("folder"));
    HXRequestGroup *sub = group(QStringLiteral("sub"), folder);
    HXRequest *inner = request(QStringLiteral("inner"), sub);
    HXKeyValue *innerHeader = header(inner, QStringLiteral("X"));
    auto *folderHeader = context.insertNewObject<HXKeyValue>(QStringLiteral("HXKeyValue"));
    folderHeader->setGroupForHeaders(folder);
    HXRequest *outside = request(QStringLiteral("outside"));
    HXKeyValue *outsideHeader = header(outside, QStringLiteral("Y"));

    context.deleteObject(folder);
    const QList<HXManagedObject *> gone = {folder, sub, inner, innerHeader, folderHeader};
    for (HXManagedObject *object : gone)
        EXPECT_FALSE(object->isLive()) << object->description().toStdString();
    EXPECT_TRUE(outside->isLive());
    EXPECT_TRUE(outsideHeader->isLive());

    // Deleting a row only removes it from its owner.
    context.deleteObject(outsideHeader);
    EXPECT_TRUE(outside->isLive());
    EXPECT_TRUE(outside->headers().isEmpty());

    // Deleting a variable deletes its values and unlinks them from environments.
    auto *environment = context.insertNewObject<HXEnvironment>(QStringLiteral("HXEnvironment"));
    auto *variable = context.insertNewObject<HXEnvironmentVariable>(QStringLiteral("HXEnvironmentVariable"));
    auto *value = context.insertNewObject<HXEnvironmentVariableValue>(QStringLiteral("HXEnvironmentVariableValue"));
    value->setVariable(variable);
    value->setEnvironment(environment);
    context.deleteObject(variable);
    EXPECT_FALSE(value->isLive());
    EXPECT_TRUE(environment->variablesValues().isEmpty());
    EXPECT_TRUE(environment->isLive());

    // Deleting an environment deletes its values but keeps the variable.
    auto *variable2 = context.insertNewObject<HXEnvironmentVariable>(QStringLiteral("HXEnvironmentVariable"));
    auto *value2 = context.insertNewObject<HXEnvironmentVariableValue>(QStringLiteral("HXEnvironmentVariableValue"));
    value2->setVariable(variable2);
    value2->setEnvironment(environment);
    context.deleteObject(environment);
    EXPECT_FALSE(value2->isLive());
    EXPECT_TRUE(variable2->isLive());
    EXPECT_TRUE(variable2->values().isEmpty());
}

TEST_F(ObjectContextTest, FetchFiltersSortsAndPages)
{
    HXRequestGroup *folder = group(QStringLiteral("folder"));
    const QStringList orderedNames = {QStringLiteral("e"), QStringLiteral("a"), QStringLiteral("d"),
                                      QStringLiteral("b"), QStringLiteral("c")};
    for (int i = 0; i < orderedNames.size(); ++i)
        request(orderedNames.at(i), folder)->setOrder(10 - i);
    request(QStringLiteral("top"));

    HXFetchRequest all(QStringLiteral("HXRequestTreeItem"));
    all.sortBy(QStringLiteral("name"));
    auto result = context.executeFetchRequest(all);
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(names(*result),
              QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("d"),
                           QStringLiteral("e"), QStringLiteral("folder"), QStringLiteral("top")}));

    // The abstract entity alone has no objects; its sub-entities do.
    HXFetchRequest abstractOnly(QStringLiteral("HXRequestTreeItem"));
    abstractOnly.setIncludesSubentities(false);
    EXPECT_TRUE(context.executeFetchRequest(abstractOnly)->isEmpty());

    // Orders: e=10 a=9 d=8 b=7 c=6 -> above 6 descending, skip one, take two.
    HXFetchRequest inFolder(QStringLiteral("HXRequestTreeItem"));
    inFolder.where(QStringLiteral("parent"), HXFetchRequest::Equal, folder)
        .where(QStringLiteral("order"), HXFetchRequest::Greater, 6)
        .sortBy(QStringLiteral("order"), false);
    inFolder.setFetchOffset(1);
    inFolder.setFetchLimit(2);
    EXPECT_EQ(names(*context.executeFetchRequest(inFolder)), QStringList({QStringLiteral("a"), QStringLiteral("d")}));
    EXPECT_EQ(context.countForFetchRequest(inFolder), 2);

    HXFetchRequest topLevel(QStringLiteral("HXRequestTreeItem"));
    topLevel.where(QStringLiteral("parent"), HXFetchRequest::Equal, static_cast<HXManagedObject *>(nullptr))
        .sortBy(QStringLiteral("name"));
    EXPECT_EQ(names(*context.executeFetchRequest(topLevel)),
              QStringList({QStringLiteral("folder"), QStringLiteral("top")}));

    HXFetchRequest unknown(QStringLiteral("NoSuchEntity"));
    EXPECT_FALSE(context.executeFetchRequest(unknown).ok());
}

TEST_F(ObjectContextTest, PendingChangesAreAnnouncedOnce)
{
    QSignalSpy spy(&context, &HXManagedObjectContext::objectsDidChange);
    HXRequest *kept = request(QStringLiteral("kept"));
    HXRequest *transient = request(QStringLiteral("transient"));
    context.deleteObject(transient);
    context.processPendingChanges();
    ASSERT_EQ(spy.count(), 1);
    auto changes = spy.takeFirst().at(0).value<HXManagedObjectChanges>();
    EXPECT_EQ(changes.inserted, QSet<HXManagedObject *>({kept}));
    EXPECT_TRUE(changes.deleted.isEmpty()); // inserted and deleted in one batch: never seen
    EXPECT_TRUE(changes.updated.isEmpty());

    kept->setName(QStringLiteral("renamed"));
    context.processPendingChanges();
    changes = spy.takeFirst().at(0).value<HXManagedObjectChanges>();
    EXPECT_EQ(changes.updated, QSet<HXManagedObject *>({kept}));

    context.processPendingChanges();
    EXPECT_EQ(spy.count(), 0);

    context.deleteObject(kept);
    context.processPendingChanges();
    changes = spy.takeFirst().at(0).value<HXManagedObjectChanges>();
    EXPECT_EQ(changes.deleted, QSet<HXManagedObject *>({kept}));
}

TEST_F(ObjectContextTest, ObjectURIsResolveInTheirOwnStoreOnly)
{
    HXRequest *r = request(QStringLiteral("r"));
    const QString uri = r->objectURI();
    EXPECT_TRUE(uri.startsWith(QStringLiteral("x-coredata://") + context.storeUUID() + QStringLiteral("/HXRequest/p")));
    EXPECT_EQ(context.objectWithURI(uri), r);
    QString otherStore = uri;
    otherStore.replace(context.storeUUID(), QStringLiteral("0000"));
    EXPECT_EQ(context.objectWithURI(otherStore), nullptr);
    QString otherEntity = uri;
    otherEntity.replace(QStringLiteral("/HXRequest/"), QStringLiteral("/HXKeyValue/"));
    EXPECT_EQ(context.objectWithURI(otherEntity), nullptr);
    context.deleteObject(r);
    EXPECT_EQ(context.objectWithURI(uri), nullptr);
}

TEST_F(ObjectContextTest, UndoStepsAreGroupedAndNamed)
{
    HXUndoManager *undo = context.undoManager();
    undo->beginUndoGrouping();
    HXRequest *r = request(QStringLiteral("r"));
    header(r, QStringLiteral("h"));
    undo->setActionName(QStringLiteral("Add Request"));
    undo->endUndoGrouping();
    r->setName(QStringLiteral("renamed"));
    context.processPendingChanges(); // closes the implicit step of the rename
    EXPECT_EQ(undo->undoCount(), 2);

    undo->undo();
    EXPECT_EQ(r->name(), QStringLiteral("r"));
    EXPECT_EQ(undo->undoActionName(), QStringLiteral("Add Request"));
    undo->undo();
    EXPECT_FALSE(r->isLive());
    EXPECT_EQ(undo->redoActionName(), QStringLiteral("Add Request"));
    undo->redo();
    EXPECT_TRUE(r->isLive());
    EXPECT_EQ(r->headers().size(), 1);

    // A new change after an undo drops what could be redone.
    r->setName(QStringLiteral("other"));
    context.processPendingChanges();
    EXPECT_FALSE(undo->canRedo());
}

// A long random mix of changes, each its own undo step, undone one by one and
// then redone: every intermediate graph must come back exactly.
TEST_F(ObjectContextTest, RandomChangesUndoAndRedoExactly)
{
    std::mt19937 random(20261122);
    auto pick = [&](const QString &entity) -> HXManagedObject * {
        const QList<HXManagedObject *> objects = context.executeFetchRequest(HXFetchRequest(entity)).value();
        if (objects.isEmpty())
            return nullptr;
        return objects.at(std::uniform_int_distribution<qsizetype>(0, objects.size() - 1)(random));
    };
    const QString treeItem = QStringLiteral("HXRequestTreeItem");
    const QString folder = QStringLiteral("HXRequestGroup");

    QStringList states{HXObjectGraphDump(context)};
    for (int step = 0; step < 400; ++step) {
        switch (random() % 9) {
        case 0:
            request(QStringLiteral("r%1").arg(step), static_cast<HXRequestGroup *>(pick(folder)));
            break;
        case 1:
            group(QStringLiteral("g%1").arg(step), static_cast<HXRequestGroup *>(pick(folder)));
            break;
        case 2:
            if (auto *owner = static_cast<HXRequest *>(pick(QStringLiteral("HXRequest"))))
                header(owner, QStringLiteral("h%1").arg(step));
            break;
        case 3:
            context.deleteObject(pick(treeItem));
            break;
        case 4:
            if (HXManagedObject *object = pick(treeItem))
                object->setValueForKey(QStringLiteral("n%1").arg(step), QStringLiteral("name"));
            break;
        case 5: {
            // Reparent, possibly to the top level; never into its own subtree.
            auto *item = static_cast<HXRequestTreeItem *>(pick(treeItem));
            auto *target = static_cast<HXRequestGroup *>(pick(folder));
            for (HXRequestGroup *walk = target; walk != nullptr; walk = walk->parent()) {
                if (walk == item)
                    target = nullptr;
            }
            if (item != nullptr)
                item->setParent(target);
            break;
        }
        case 6:
            if (HXManagedObject *row = pick(QStringLiteral("HXKeyValue"))) {
                row->setValueForKey(bool(random() % 2), QStringLiteral("enabled"));
                row->setValueForKey(quint64(random() % 50), QStringLiteral("order"));
                if (random() % 3 == 0)
                    row->setObjectForKey(pick(QStringLiteral("HXRequest")), QStringLiteral("request"));
            }
            break;
        case 7:
            context.deleteObject(pick(QStringLiteral("HXKeyValue")));
            break;
        case 8:
            if (HXManagedObject *item = pick(QStringLiteral("HXRequest")))
                item->setValueForKey(double(random() % 1000) / 8.0, QStringLiteral("timeoutInterval"));
            break;
        }
        context.processPendingChanges();
        const QString dump = HXObjectGraphDump(context);
        if (dump != states.last())
            states.append(dump);
    }
    ASSERT_GT(states.size(), 200);

    HXUndoManager *undo = context.undoManager();
    for (qsizetype i = states.size() - 2; i >= 0; --i) {
        ASSERT_TRUE(undo->canUndo()) << "at state " << i;
        undo->undo();
        ASSERT_EQ(HXObjectGraphDump(context), states.at(i)) << "after undoing to state " << i;
    }
    EXPECT_FALSE(undo->canUndo());
    for (qsizetype i = 1; i < states.size(); ++i) {
        ASSERT_TRUE(undo->canRedo());
        undo->redo();
        ASSERT_EQ(HXObjectGraphDump(context), states.at(i)) << "after redoing to state " << i;
    }
}

} // namespace
