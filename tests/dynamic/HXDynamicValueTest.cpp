#include "HXDynamicTestKinds.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QCryptographicHash>
#include <QTimeZone>

#include <gtest/gtest.h>

using namespace HXDynamicTest;

namespace {

class HXDynamicValueTest : public ::testing::Test
{
protected:
    void SetUp() override { registerTestKinds(); }
};

QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(QByteArray(digits));
}

} // namespace

TEST_F(HXDynamicValueTest, MakeAppliesDefaultsButReadingAnArchiveDoesNot)
{
    auto value = HXDynamicValue::make<EchoValue>();
    EXPECT_EQ(value->integerValue(QStringLiteral("count")), 7);
    EXPECT_TRUE(value->boolValue(QStringLiteral("flag")));

    QCborMap map;
    map.insert(QStringLiteral("$class"), EchoValue::staticClassName());
    map.insert(QStringLiteral("input"), QStringLiteral("x"));
    HXDynamicValuePtr read = HXDynamicValue::valueWithKeyedArchive(QCborValue(map).toCbor());
    ASSERT_TRUE(read);
    EXPECT_EQ(read->stringValue(QStringLiteral("input")), QStringLiteral("x"));
    EXPECT_FALSE(read->valueForKey(QStringLiteral("count")).isValid());
    EXPECT_EQ(read->integerValue(QStringLiteral("count")), 0);
    EXPECT_FALSE(read->boolValue(QStringLiteral("flag")));
}

TEST_F(HXDynamicValueTest, KeyedArchiveIsDeterministicCBOR)
{
    // Class first, keys by UTF-8 bytes, shortest integers, true as a simple value.
    auto value = echo(QStringLiteral("abc"));
    // {"$class": "HXTestEchoDynamicValue", "count": 7, "flag": true, "input": "abc"}
    EXPECT_EQ(value->keyedArchive().toHex(),
              QByteArray("a46624636c617373764858546573744563686f44796e616d696356616c756565636f756e740764666c6167f5"
                         "65696e70757463616263"));

    // Every other stored type: dates as tag 1 over a 64-bit float, doubles as
    // 64-bit floats even when smaller would do, bytes, rows as triples.
    auto typed = HXDynamicValue::make<BytesValue>();
    typed->setBlob(hex("0102"));
    EXPECT_EQ(typed->keyedArchive().toHex(),
              "a26624636c61737377" + QByteArray("HXTestBytesDynamicValue").toHex() + "64626c6f62420102");

    auto all = HXDynamicValue::make<EchoValue>();
    all->setValue(QStringLiteral("count"), 1000);
    all->setValue(QStringLiteral("ratio"), 1.0);
    all->setValue(QStringLiteral("when"), QDateTime::fromMSecsSinceEpoch(10500, QTimeZone::utc()));
    all->setValue(QStringLiteral("rows"),
                  QVariant::fromValue(HXDynamicKeyValueRows{{QStringLiteral("a"), QStringLiteral("b"), true}}));
    const QByteArray archive = all->keyedArchive().toHex();
    // count 1000, ratio 1.0, when 10.5 s, rows [["a", "b", true]]
    for (const char *pair : {"65636f756e741903e8", "65726174696ffb3ff0000000000000", "647768656ec1fb4025000000000000",
                             "64726f7773818361616162f5"})
        EXPECT_TRUE(archive.contains(pair)) << pair << " in " << archive.constData();
}

TEST_F(HXDynamicValueTest, ArchiveDoesNotDependOnTheOrderPropertiesWereSet)
{
    auto first = HXDynamicValue::make<EchoValue>();
    auto second = HXDynamicValue::make<EchoValue>();
    const QStringList keys = {QStringLiteral("input"), QStringLiteral("ratio"), QStringLiteral("blob")};
    first->setValue(keys[0], QStringLiteral("i"));
    first->setValue(keys[1], 2.5);
    first->setValue(keys[2], QByteArray("b"));
    second->setValue(keys[2], QByteArray("b"));
    second->setValue(keys[1], 2.5);
    second->setValue(keys[0], QStringLiteral("i"));
    EXPECT_EQ(first->keyedArchive(), second->keyedArchive());
    EXPECT_EQ(first->uniqueIdentifier(), second->uniqueIdentifier());
}

TEST_F(HXDynamicValueTest, UniqueIdentifierIsTheUpperCaseMD5OfTheArchive)
{
    // A fixed value has a fixed identifier in every process and build; every
    // stored property changes it.
    auto value = echo(QStringLiteral("abc"));
    EXPECT_EQ(value->uniqueIdentifier(),
              QString::fromLatin1(
                  QCryptographicHash::hash(value->keyedArchive(), QCryptographicHash::Md5).toHex().toUpper()));
    const QString before = value->uniqueIdentifier();
    for (const auto &[key, changed] : std::initializer_list<std::pair<QString, QVariant>>{
             {QStringLiteral("input"), QStringLiteral("abd")},
             {QStringLiteral("count"), 8},
             {QStringLiteral("flag"), false},
             {QStringLiteral("ratio"), 0.5},
             {QStringLiteral("when"), QDateTime::fromSecsSinceEpoch(1, QTimeZone::utc())},
             {QStringLiteral("blob"), QByteArray("x")},
             {QStringLiteral("rows"), QVariant::fromValue(HXDynamicKeyValueRows{{}})}}) {
        auto other = echo(QStringLiteral("abc"));
        EXPECT_EQ(other->uniqueIdentifier(), before);
        ASSERT_TRUE(other->setValue(key, changed)) << key.toStdString();
        EXPECT_NE(other->uniqueIdentifier(), before) << key.toStdString();
    }
}

TEST_F(HXDynamicValueTest, EqualityIsByKindAndIdentifier)
{
    auto a = echo(QStringLiteral("same"));
    auto b = echo(QStringLiteral("same"));
    EXPECT_TRUE(a->isEqual(*b));
    EXPECT_TRUE(b->isEqualTo(*a));
    EXPECT_FALSE(a->isEqual(*echo(QStringLiteral("other"))));

    auto loud = HXDynamicValue::make<LoudEchoValue>();
    loud->setInput(QStringLiteral("same"));
    EXPECT_TRUE(loud->isKindOfClass(EchoValue::staticClassName()));
    EXPECT_FALSE(a->isKindOfClass(LoudEchoValue::staticClassName()));
    // The archive records the concrete class, so different kinds never match.
    EXPECT_FALSE(loud->isEqual(*a));
    EXPECT_FALSE(a->isEqual(*loud));
}

TEST_F(HXDynamicValueTest, ReadingIsLenientKeyByKey)
{
    // Keys in reverse order, numbers and booleans interchangeable, wrong types
    // and unknown keys skipped, the rest still read.
    QCborMap map;
    map.insert(QStringLiteral("zzz"), 1);
    map.insert(QStringLiteral("rows"),
               QCborArray{QCborArray{QStringLiteral("n"), QStringLiteral("v"), 0}, 5, QCborArray{QStringLiteral("m")},
                          QCborArray{QStringLiteral("a"), QStringLiteral("b"), true, QStringLiteral("extra")}});
    map.insert(QStringLiteral("ratio"), true);
    map.insert(QStringLiteral("input"), 42);
    map.insert(QStringLiteral("flag"), 2);
    map.insert(QStringLiteral("count"), 3.9);
    map.insert(QStringLiteral("blob"), QStringLiteral("not bytes"));
    map.insert(QStringLiteral("when"), QCborValue(QCborTag(1), 10));
    map.insert(QStringLiteral("request"), QStringLiteral("no-such-uuid"));
    map.insert(QStringLiteral("$class"), EchoValue::staticClassName());
    HXDynamicValuePtr value = HXDynamicValue::valueWithKeyedArchive(QCborValue(map).toCbor());
    ASSERT_TRUE(value);
    EXPECT_EQ(value->className(), EchoValue::staticClassName());
    EXPECT_EQ(value->doubleValue(QStringLiteral("ratio")), 1.0);
    EXPECT_FALSE(value->valueForKey(QStringLiteral("input")).isValid());
    EXPECT_TRUE(value->boolValue(QStringLiteral("flag")));
    EXPECT_EQ(value->integerValue(QStringLiteral("count")), 3);
    EXPECT_FALSE(value->valueForKey(QStringLiteral("blob")).isValid());
    EXPECT_EQ(value->dateValue(QStringLiteral("when")).toMSecsSinceEpoch(), 10000);
    // The reference resolves in no open document and is dropped.
    EXPECT_FALSE(value->valueForKey(QStringLiteral("request")).isValid());
    const HXDynamicKeyValueRows rows = value->keyValueRowsValue(QStringLiteral("rows"));
    // Only [name, value, enabled] is a row: shorter or longer arrays are not.
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0], (HXDynamicKeyValueRow{QStringLiteral("n"), QStringLiteral("v"), false}));
}

TEST_F(HXDynamicValueTest, UnreadableArchivesGiveNothing)
{
    EXPECT_FALSE(HXDynamicValue::valueWithKeyedArchive(QByteArray()));
    EXPECT_FALSE(HXDynamicValue::valueWithKeyedArchive(QByteArray("\xff\x00garbage", 9)));
    EXPECT_FALSE(HXDynamicValue::valueWithKeyedArchive(QCborValue(QCborArray{1, 2}).toCbor()));
    QCborMap unknown;
    unknown.insert(QStringLiteral("$class"), QStringLiteral("HXNoSuchDynamicValue"));
    EXPECT_FALSE(HXDynamicValue::valueWithKeyedArchive(QCborValue(unknown).toCbor()));
    QCborMap noClass;
    noClass.insert(QStringLiteral("input"), QStringLiteral("x"));
    EXPECT_FALSE(HXDynamicValue::valueWithKeyedArchive(QCborValue(noClass).toCbor()));
    // Truncated archives of a real value.
    const QByteArray archive = echo(QStringLiteral("truncate me"))->keyedArchive();
    for (qsizetype cut = 0; cut < archive.size(); ++cut)
        EXPECT_FALSE(HXDynamicValue::valueWithKeyedArchive(archive.left(cut))) << cut;
}

TEST_F(HXDynamicValueTest, SetValueConvertsOrRefuses)
{
    auto value = HXDynamicValue::make<EchoValue>();
    EXPECT_FALSE(value->setValue(QStringLiteral("unknown"), 1));
    EXPECT_FALSE(value->setValue(QStringLiteral("count"), QStringLiteral("12")));
    EXPECT_EQ(value->integerValue(QStringLiteral("count")), 7);
    EXPECT_TRUE(value->setValue(QStringLiteral("count"), true));
    EXPECT_EQ(value->integerValue(QStringLiteral("count")), 1);
    EXPECT_TRUE(value->setValue(QStringLiteral("count"), QVariant()));
    EXPECT_FALSE(value->valueForKey(QStringLiteral("count")).isValid());
    EXPECT_FALSE(value->setValue(QStringLiteral("input"), 5));
}

TEST_F(HXDynamicValueTest, ChoiceListsComeFromContentKeys)
{
    auto value = HXDynamicValue::make<EchoValue>();
    const auto choices = value->valueForUndefinedKey(QStringLiteral("countContent"));
    ASSERT_TRUE(choices);
    ASSERT_EQ(choices->size(), 4);
    EXPECT_EQ(choices->at(0).object.toInt(), 0);
    EXPECT_EQ(choices->at(0).descriptiveString, QStringLiteral("zero"));
    EXPECT_EQ(choices->at(2).descriptiveString, QStringLiteral("two"));
    // Only numbers get labels.
    EXPECT_EQ(choices->at(3).object.toString(), QStringLiteral("many"));
    EXPECT_TRUE(choices->at(3).descriptiveString.isEmpty());
    // A one-letter property is upper-cased whole; no labels without a localiser.
    const auto single = value->valueForUndefinedKey(QStringLiteral("xContent"));
    ASSERT_TRUE(single);
    ASSERT_EQ(single->size(), 1);
    EXPECT_TRUE(single->at(0).descriptiveString.isEmpty());

    EXPECT_FALSE(value->valueForUndefinedKey(QStringLiteral("inputContent")));
    EXPECT_FALSE(value->valueForUndefinedKey(QStringLiteral("count")));
    EXPECT_FALSE(value->valueForUndefinedKey(QStringLiteral("countContents")));
}

TEST(HXDynamicValueCatalogueTest, BuiltInKindsInMenuOrderAndGroups)
{
    const QList<HXDynamicValueKind> kinds = HXDynamicValueCatalogue::allKinds();
    const qsizetype builtIn = 23;
    ASSERT_GE(kinds.size(), builtIn);
    EXPECT_EQ(kinds[0].className, QStringLiteral("HXTimestampDynamicValue"));
    EXPECT_EQ(kinds[9].className, QStringLiteral("HXHashDynamicValue"));
    EXPECT_EQ(kinds[9].title, QStringLiteral("Digest (Hash)"));
    EXPECT_EQ(kinds[9].group, QStringLiteral("Crypto"));
    EXPECT_EQ(kinds[builtIn - 1].className, QStringLiteral("HXBodyMultipartFormDataDynamicValue"));
    EXPECT_EQ(kinds[builtIn - 1].group, QStringLiteral("Request Body"));
    // Groups appear in the menu's group order.
    const QStringList groups = HXDynamicValueCatalogue::groups();
    qsizetype lastGroup = 0;
    for (qsizetype i = 0; i < builtIn; ++i) {
        EXPECT_EQ(kinds[i].menuOrder, i);
        const qsizetype group = groups.indexOf(kinds[i].group);
        ASSERT_GE(group, lastGroup) << kinds[i].className.toStdString();
        lastGroup = group;
    }
    EXPECT_EQ(HXDynamicValueCatalogue::menuTitle(), QStringLiteral("Add Dynamic Value..."));
    // Kinds outside the built-in ones are never offered in the menu.
    registerTestKinds();
    for (const HXDynamicValueKind &kind : HXDynamicValueCatalogue::availableKinds())
        EXPECT_FALSE(kind.group.isEmpty()) << kind.className.toStdString();
    EXPECT_TRUE(HXDynamicValueCatalogue::createValue(EchoValue::staticClassName()));
    EXPECT_FALSE(HXDynamicValueCatalogue::createValue(QStringLiteral("HXNoSuchDynamicValue")));
}
