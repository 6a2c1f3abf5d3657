#include "HXCompletionManager.h"
#include "HXStoreTestSupport.h"
#include "HXTestSupport.h"

#include <QFile>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

const QString headers = u"HXCompletionCategoryHTTPRequestHeaders"_s;
const QString values = u"HXCompletionCategoryHTTPRequestHeadersValue"_s;

class CompletionManagerTest : public HXStoreTest
{
protected:
    void SetUp() override
    {
        HXStoreTest::SetUp();
        HXCompletionManager::reset();
    }
    void TearDown() override
    {
        HXCompletionManager::reset();
        HXCompletionManager::setSeedResourcePath(u":/Completions.json"_s);
        HXStoreTest::TearDown();
    }
    // Starts the store from `json` instead of the shipped list.
    void seedWith(const QByteArray &json)
    {
        const QString path = folder.filePath(u"seed.json"_s);
        ASSERT_TRUE(HXTest::writeFile(path, json));
        HXCompletionManager::setSeedResourcePath(path);
    }
    static HXCompletionManager *reopened()
    {
        HXCompletionManager::sharedCompletionManager()->saveUpdates();
        HXCompletionManager::resetSharedManager();
        return HXCompletionManager::sharedCompletionManager();
    }
    static QStringList lookup(const QString &prefix, const QString &category,
                              const std::optional<QString> &filter = std::nullopt)
    {
        QStringList found;
        for (const auto &entry :
             HXCompletionManager::sharedCompletionManager()->completionsForWord(prefix, {}, category, filter))
            found.append(u"%1:%2"_s.arg(entry->word()).arg(entry->weight()));
        return found;
    }

    QTemporaryDir folder;
};

TEST_F(CompletionManagerTest, ShippedListOffersHeaderNamesAndUsualValuesWithDescriptions)
{
    HXCompletionManager *manager = HXCompletionManager::sharedCompletionManager();
    EXPECT_EQ(lookup(u"accept-"_s, headers),
              QStringList({u"Accept-Charset:1"_s, u"Accept-Encoding:1"_s, u"Accept-Language:1"_s}));
    for (const QString &header :
         {u"Accept"_s, u"Content-Type"_s, u"Accept-Encoding"_s, u"Cache-Control"_s, u"Authorization"_s}) {
        const auto offered = manager->completionsForWord(QString(), {}, values, header.toUpper());
        EXPECT_GE(offered.size(), 4) << qPrintable(header);
        for (const auto &entry : offered) {
            EXPECT_FALSE(entry->comment().isEmpty()) << qPrintable(entry->word());
            EXPECT_FALSE(entry->isUserGenerated());
        }
    }
    EXPECT_EQ(lookup(u"Bea"_s, values, u"authorization"_s), QStringList({u"Bearer :1"_s}));
}

TEST_F(CompletionManagerTest, PrefixAndFilterIgnoreCaseButCategoryDoesNot)
{
    seedWith(R"([{"word": "Keep-Alive", "category": "c", "filter": "Connection"},
                 {"word": "keep", "category": "c", "filter": "Other"},
                 {"word": "close", "category": "c", "filter": "connection", "weight": 5}])");
    struct Case
    {
        QString prefix, category;
        std::optional<QString> filter;
        QStringList expected;
    };
    const Case cases[] = {
        {u"KEEP"_s, u"c"_s, std::nullopt, {u"Keep-Alive:1"_s, u"keep:1"_s}},
        {u"keep"_s, u"c"_s, u"CONNECTION"_s, {u"Keep-Alive:1"_s}},
        {QString(), u"c"_s, u"Connection"_s, {u"close:5"_s, u"Keep-Alive:1"_s}},
        {u"keep"_s, u"C"_s, std::nullopt, {}},
        {u"x"_s, u"c"_s, std::nullopt, {}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(lookup(c.prefix, c.category, c.filter), c.expected) << qPrintable(c.prefix + u'/' + c.category);
    // Only the part of the word inside the range is the prefix.
    const auto ranged = HXCompletionManager::sharedCompletionManager()->completionsForWord(
        u"Connection: clo"_s, {12, 3}, u"c"_s, std::nullopt);
    ASSERT_EQ(ranged.size(), 1);
    EXPECT_EQ(ranged.first()->word(), u"close"_s);
}

TEST_F(CompletionManagerTest, EmptyPrefixListsHeaviestFirstThenAlphabetically)
{
    seedWith(R"([{"word": "b", "category": "c"}, {"word": "a", "category": "c"},
                 {"word": "z", "category": "c", "weight": 2}, {"word": "y", "category": "d", "weight": 9}])");
    EXPECT_EQ(lookup(QString(), u"c"_s), QStringList({u"z:2"_s, u"a:1"_s, u"b:1"_s}));
}

TEST_F(CompletionManagerTest, AValueTypedThreeTimesOutranksSeededOnesAndIsKept)
{
    HXCompletionManager *manager = HXCompletionManager::sharedCompletionManager();
    for (int i = 0; i < 3; ++i)
        manager->addUserGeneratedCompletionForAttributedWord(u"application/vnd.kea+json"_s, values, u"Content-Type"_s);
    manager = reopened();
    const QStringList found = lookup(u"application/"_s, values, u"content-type"_s);
    ASSERT_GT(found.size(), 2);
    EXPECT_EQ(found.first(), u"application/vnd.kea+json:3"_s);
    EXPECT_EQ(found.at(1).section(u':', -1), u"1"_s);
    const auto learnt = manager->completionsForWord(u"application/vnd"_s, {}, values, std::nullopt);
    ASSERT_EQ(learnt.size(), 1);
    EXPECT_TRUE(learnt.first()->isUserGenerated());
    EXPECT_EQ(learnt.first()->comment(), QString());
}

TEST_F(CompletionManagerTest, AddingMergesOnlyExactDoublesWhenAsked)
{
    seedWith("[]");
    HXCompletionManager *manager = HXCompletionManager::sharedCompletionManager();
    manager->addCompletionForWord(u"gzip"_s, QString(), u"c"_s, std::nullopt, u"first"_s, 2, false, true);
    manager->addCompletionForWord(u"gzip"_s, QString(), u"c"_s, std::nullopt, u"second"_s, 3, false, true);
    manager->addCompletionForWord(u"gzip"_s, QString(), u"c"_s, std::nullopt, std::nullopt, 1, false, true);
    manager->addCompletionForWord(u"GZIP"_s, QString(), u"c"_s, std::nullopt, std::nullopt, 1, false, true);
    manager->addCompletionForWord(u"gzip"_s, QString(), u"c"_s, std::nullopt, std::nullopt, 1, false, false);
    manager->addCompletionForWord(QString(), QString(), u"c"_s, std::nullopt, std::nullopt, 1, false, false);
    manager = reopened();
    EXPECT_EQ(lookup(u"g"_s, u"c"_s), QStringList({u"gzip:6"_s, u"GZIP:1"_s, u"gzip:1"_s}));
    EXPECT_EQ(manager->completionsForWord(u"gzip"_s, {}, u"c"_s, std::nullopt).first()->comment(), u"second"_s);

    manager->deleteCompletionEntry(manager->completionsForWord(u"gzip"_s, {}, u"c"_s, std::nullopt).first());
    manager = reopened();
    EXPECT_EQ(lookup(u"g"_s, u"c"_s), QStringList({u"GZIP:1"_s, u"gzip:1"_s}));
}

TEST_F(CompletionManagerTest, AnUnreadableSeedListLeavesTheStoreEmpty)
{
    seedWith("[{\"word\": ");
    EXPECT_EQ(HXCompletionManager::sharedCompletionManager()->countOfEntries(), 0);
    EXPECT_TRUE(std::any_of(s_messages.begin(), s_messages.end(), [](const QString &message) {
        return message.startsWith(u"Cannot parse completion seed JSON. Error: "_s);
    }));
}

} // namespace
