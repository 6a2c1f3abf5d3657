#include "HXBase64EncodingDynamicValue.h"
#include "HXBodyFormKeyValueDynamicValue.h"
#include "HXDocumentModel.h"
#include "HXDynamicValueEngine.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"

#include <gtest/gtest.h>

namespace {

class RequestTreeTest : public ::testing::Test
{
protected:
    HXManagedObjectContext context{&HXDocumentModel::currentModel()};

    template <typename T>
    T *item(const QString &name, HXRequestGroup *parent, qint64 order)
    {
        auto *object = context.insertNewObject<T>(T::staticEntityName());
        object->setName(name);
        object->setParent(parent);
        object->setOrder(order);
        return object;
    }
    HXRequest *request(const QString &name, HXRequestGroup *parent = nullptr, qint64 order = 0)
    {
        return item<HXRequest>(name, parent, order);
    }
    // "name@order ..." by order.
    static QString orders(QList<HXRequestTreeItem *> items)
    {
        std::sort(items.begin(), items.end(), [](auto *a, auto *b) { return a->order() < b->order(); });
        QStringList result;
        for (const HXRequestTreeItem *i : items)
            result.append(i->name() + u'@' + QString::number(i->order()));
        return result.join(u' ');
    }
    static QStringList rowNames(const QList<HXKeyValue *> &rows)
    {
        QStringList names;
        for (const HXKeyValue *row : rows)
            names.append(row->name() + u'@' + QString::number(row->order()));
        return names;
    }
};

TEST_F(RequestTreeTest, DroppingOnAFolderGoesFirstAndRenumbersTheRest)
{
    auto *folder = item<HXRequestGroup>(QStringLiteral("folder"), nullptr, 0);
    request(QStringLiteral("a"), folder, 0);
    request(QStringLiteral("b"), folder, 4);
    request(QStringLiteral("c"), folder, 9);
    HXRequest *moved = request(QStringLiteral("new"));
    moved->setOrderAndParent(folder, nullptr);
    EXPECT_EQ(moved->parent(), folder);
    EXPECT_EQ(orders(folder->children()), QStringLiteral("new@0 a@1 b@2 c@3"));
}

TEST_F(RequestTreeTest, TopLevelGoesLastWithoutRenumbering)
{
    request(QStringLiteral("a"), nullptr, 0);
    request(QStringLiteral("b"), nullptr, 7);
    auto *folder = item<HXRequestGroup>(QStringLiteral("folder"), nullptr, 3);
    HXRequest *moved = request(QStringLiteral("new"), folder, 0);
    moved->setOrderAndParent(nullptr, nullptr);
    EXPECT_EQ(moved->parent(), nullptr);
    EXPECT_EQ(moved->order(), 8);
    EXPECT_TRUE(folder->children().isEmpty());

    // The only item at the top level starts at zero.
    HXManagedObjectContext empty(&HXDocumentModel::currentModel());
    auto *alone = empty.insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
    alone->setOrder(5);
    alone->setOrderAndParent(nullptr, nullptr);
    EXPECT_EQ(alone->order(), 0);
}

TEST_F(RequestTreeTest, AfterASiblingShiftsOnlyTheLaterItems)
{
    auto *folder = item<HXRequestGroup>(QStringLiteral("folder"), nullptr, 0);
    request(QStringLiteral("a"), folder, 0);
    HXRequest *b = request(QStringLiteral("b"), folder, 1);
    request(QStringLiteral("c"), folder, 2);
    request(QStringLiteral("d"), folder, 5);
    HXRequest *moved = request(QStringLiteral("new"));
    moved->setOrderAndParent(folder, b);
    EXPECT_EQ(orders(folder->children()), QStringLiteral("a@0 b@1 new@2 c@3 d@4"));

    // A sibling from another parent does not count: the folder rule applies.
    HXRequest *outside = request(QStringLiteral("outside"), nullptr, 3);
    HXRequest *second = request(QStringLiteral("second"));
    second->setOrderAndParent(folder, outside);
    EXPECT_EQ(second->order(), 0);
    EXPECT_EQ(second->parent(), folder);
}

TEST_F(RequestTreeTest, PlacingWithTheSelection)
{
    auto *folder = item<HXRequestGroup>(QStringLiteral("folder"), nullptr, 0);
    HXRequest *inside = request(QStringLiteral("inside"), folder, 0);
    HXRequest *top = request(QStringLiteral("top"), nullptr, 1);

    HXRequest *intoFolder = request(QStringLiteral("x"));
    intoFolder->setOrderAndParentWithSelectedItem(folder);
    EXPECT_EQ(intoFolder->parent(), folder);
    EXPECT_EQ(intoFolder->order(), 0);
    EXPECT_EQ(inside->order(), 1);

    HXRequest *afterInside = request(QStringLiteral("y"));
    afterInside->setOrderAndParentWithSelectedItem(inside);
    EXPECT_EQ(afterInside->parent(), folder);
    EXPECT_EQ(afterInside->order(), 2);

    HXRequest *noSelection = request(QStringLiteral("z"));
    noSelection->setOrderAndParentWithSelectedItem(nullptr);
    EXPECT_EQ(noSelection->parent(), nullptr);
    EXPECT_GT(noSelection->order(), top->order());
}

TEST_F(RequestTreeTest, KeyValueRowsKeepATrailingBlankRowLast)
{
    HXRequest *owner = request(QStringLiteral("r"));
    const QString relation = QStringLiteral("request");
    HXKeyValue::addKeyValueName(QStringLiteral("x"), QStringLiteral("1"), relation, owner);
    EXPECT_NE(HXKeyValue::addEmptyKeyValueAtEndIfNeededForRelationship(relation, owner), nullptr);
    EXPECT_EQ(HXKeyValue::addEmptyKeyValueAtEndIfNeededForRelationship(relation, owner), nullptr);
    EXPECT_EQ(rowNames(HXKeyValue::keyValuesForRelationship(relation, owner)),
              QStringList({QStringLiteral("x@0"), QStringLiteral("@1")}));

    HXKeyValue::addKeyValueName(QStringLiteral("A"), QString(), relation, owner);
    EXPECT_EQ(rowNames(HXKeyValue::keyValuesForRelationship(relation, owner)),
              QStringList({QStringLiteral("x@0"), QStringLiteral("A@1"), QStringLiteral("@2")}));

    // A blank row added on purpose goes after the blank one.
    HXKeyValue::addKeyValueName(QString(), QString(), relation, owner);
    EXPECT_EQ(HXKeyValue::keyValuesForRelationship(relation, owner).size(), 4);

    // Rows of other owners and relationships are separate tables.
    auto *folder = item<HXRequestGroup>(QStringLiteral("f"), nullptr, 0);
    HXKeyValue *first =
        HXKeyValue::addKeyValueName(QStringLiteral("p"), QString(), QStringLiteral("groupForBodyParameters"), folder);
    EXPECT_EQ(first->order(), 0u);
    EXPECT_EQ(first->groupForBodyParameters(), folder);
    EXPECT_TRUE(HXKeyValue::keyValuesForRelationship(QStringLiteral("groupForHeaders"), folder).isEmpty());
}

TEST_F(RequestTreeTest, SetHeaderNameMatchesEvaluatedNamesExactly)
{
    HXRequest *owner = request(QStringLiteral("r"));
    const QString relation = QStringLiteral("request");
    // A header whose name is a token that evaluates to "Content-Type".
    auto encoded = HXDynamicValue::make<HXBase64EncodingDynamicValue>();
    encoded->setInput(QStringLiteral("Q29udGVudC1UeXBl"));
    encoded->setMode(1);
    HXKeyValue *tokenRow = HXKeyValue::addKeyValueName(
        HXDynamicValueEngine::archiveAttributedString(HXDynamicString::withDynamicValue(encoded)),
        QStringLiteral("old"), relation, owner);
    tokenRow->setEnabled(false);
    HXKeyValue *lower = HXKeyValue::addKeyValueName(QStringLiteral("accept"), QStringLiteral("old"), relation, owner);

    owner->setHeaderName(QStringLiteral("Content-Type"), QStringLiteral("text/plain"));
    EXPECT_EQ(tokenRow->value(), QStringLiteral("text/plain"));
    EXPECT_TRUE(tokenRow->enabled());

    // Case matters: "Accept" is not "accept", so a row is added.
    owner->setHeaderName(QStringLiteral("Accept"), QStringLiteral("*/*"));
    EXPECT_EQ(lower->value(), QStringLiteral("old"));
    EXPECT_EQ(HXKeyValue::keyValuesForRelationship(relation, owner).size(), 3);
}

TEST_F(RequestTreeTest, RequestIdentityDefaultsAndBodyType)
{
    HXRequest *r = request(QStringLiteral("Get user"));
    r->setMethod(QStringLiteral("post"));
    r->setUrl(QStringLiteral("http://127.0.0.1/users"));
    EXPECT_EQ(r->method(), QStringLiteral("POST"));
    EXPECT_EQ(r->storedMethod(), QStringLiteral("post"));
    EXPECT_EQ(r->description(), QStringLiteral("Get user (POST http://127.0.0.1/users)"));
    EXPECT_EQ(r->uuid().size(), 36);
    EXPECT_NE(request(QStringLiteral("other"))->uuid(), r->uuid());
    EXPECT_EQ(HXRequest::requestWithUUID(r->uuid(), &context), r);
    EXPECT_EQ(HXRequest::requestWithUUID(QStringLiteral("no-such-uuid"), &context), nullptr);

    // Header defaults (the plain ones are checked through the warnings' buttons).
    EXPECT_EQ(HXRequest::defaultValueForHeader(QStringLiteral("X-Unknown")), std::nullopt);
    const auto date = HXRequest::defaultValueForHeader(QStringLiteral("Date"));
    ASSERT_TRUE(date.has_value());
    EXPECT_EQ(HXDynamicValueEngine::unarchiveAttributedString(*date).onlyDynamicValue()->className(),
              QStringLiteral("HXTimestampDynamicValue"));
    EXPECT_FALSE(HXRequest::defaultValueForHeader(QStringLiteral("Accept-Language"))->contains(u'_'));

    // The body's kind follows its content.
    EXPECT_EQ(r->bodyType(), HXRequest::BodyTypeText);
    auto form = HXDynamicValue::make<HXBodyFormKeyValueDynamicValue>();
    r->setBody(HXDynamicValueEngine::archiveAttributedString(HXDynamicString::withDynamicValue(form)));
    EXPECT_EQ(r->bodyType(), HXRequest::BodyTypeForm);
    HXDynamicString withText = HXDynamicString::withDynamicValue(form);
    withText.append(QStringLiteral(" and text"));
    r->setBody(HXDynamicValueEngine::archiveAttributedString(withText));
    EXPECT_EQ(r->bodyType(), HXRequest::BodyTypeText);
}

} // namespace
