// What makes documents merge under git: ids that never collide, objects that
// keep their lines together, older files still read, and conflicts refused.

#include "HXDocumentModel.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXUndoManager.h"
#include "HXXMLStore.h"

#include <QCryptographicHash>
#include <QHash>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

const HXManagedObjectModel &model()
{
    return HXDocumentModel::currentModel();
}

std::unique_ptr<HXManagedObjectContext> sampleDocument()
{
    auto context = std::make_unique<HXManagedObjectContext>(&model());
    auto *folder = context->insertNewObject<HXRequestGroup>(QStringLiteral("HXRequestGroup"));
    folder->setName(QStringLiteral("Folder"));
    for (int i = 0; i < 3; ++i) {
        auto *request = context->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
        request->setName(QStringLiteral("Request %1").arg(i));
        request->setUrl(QStringLiteral("http://127.0.0.1:1/%1").arg(i));
        request->setOrderAndParent(i == 2 ? nullptr : folder, nullptr);
        HXKeyValue::addKeyValueName(QStringLiteral("X-Row"), QString::number(i), QStringLiteral("request"), request);
    }
    context->processPendingChanges();
    return context;
}

std::unique_ptr<HXManagedObjectContext> load(const QByteArray &bytes, bool *changedOutsideKea = nullptr)
{
    auto loaded = HXXMLStore::loadData(bytes, QStringLiteral("doc.kea"), model(), changedOutsideKea);
    EXPECT_TRUE(loaded.ok()) << (loaded ? "" : loaded.error().description.toStdString());
    return loaded ? std::move(loaded).value() : nullptr;
}

// The file as Kea wrote it before: counter ids and a closing digest line.
QByteArray counterIdFile(const QByteArray &current)
{
    QHash<QString, QString> numbers;
    auto numbered = [&numbers](const QString &id) {
        if (!numbers.contains(id))
            numbers.insert(id, QStringLiteral("p%1").arg(numbers.size() + 1));
        return numbers.value(id);
    };
    QString text = QString::fromUtf8(current);
    const QRegularExpression reference(QStringLiteral("\\b(id|to)=\"([^\"]*)\""));
    QString legacy;
    qsizetype from = 0;
    for (const QRegularExpressionMatch &match : reference.globalMatch(text)) {
        QStringList targets = match.captured(2).split(u' ');
        for (QString &target : targets)
            target = numbered(target);
        legacy += text.mid(from, match.capturedStart() - from) + match.captured(1) + QStringLiteral("=\"") +
                  targets.join(u' ') + u'"';
        from = match.capturedEnd();
    }
    legacy += text.mid(from);
    QByteArray bytes = legacy.toUtf8();
    bytes.chop(QByteArrayLiteral("</kea-document>\n").size());
    bytes += " <integrity sha256=\"" + QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex() +
             "\"/>\n</kea-document>\n";
    return bytes;
}

QStringList objectIds(const QByteArray &bytes)
{
    QStringList ids;
    const QRegularExpression id(QStringLiteral("<object entity=\"\\w+\" id=\"([^\"]+)\""));
    for (const QRegularExpressionMatch &match : id.globalMatch(QString::fromUtf8(bytes)))
        ids.append(match.captured(1));
    return ids;
}

TEST(XMLStoreMergeTest, IdsAreUuidsOrRandomAndSurviveLoadsAndUndo)
{
    auto context = sampleDocument();
    const QByteArray saved = HXXMLStore::serialize(*context);
    const QStringList ids = objectIds(saved);
    ASSERT_EQ(ids.size(), 7);
    const QList<HXManagedObject *> requests =
        context->executeFetchRequest(HXFetchRequest(QStringLiteral("HXRequest"))).value();
    for (HXManagedObject *request : requests)
        EXPECT_TRUE(ids.contains(static_cast<HXRequest *>(request)->uuid()));
    for (const QString &id : ids)
        EXPECT_TRUE(QRegularExpression(QStringLiteral("^([0-9a-f]{32}|[0-9A-F-]{36})$")).match(id).hasMatch())
            << id.toStdString();
    EXPECT_FALSE(saved.contains("<integrity"));

    auto loaded = load(saved);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(HXXMLStore::serialize(*loaded), saved);
    // Deleting a row and undoing it brings back the same id.
    HXManagedObject *row = loaded->executeFetchRequest(HXFetchRequest(QStringLiteral("HXKeyValue"))).value().first();
    loaded->deleteObject(row);
    loaded->processPendingChanges();
    loaded->undoManager()->undo();
    loaded->processPendingChanges();
    EXPECT_EQ(HXXMLStore::serialize(*loaded), saved);
}

TEST(XMLStoreMergeTest, ObjectURIsNameTheSameObjectsAfterALoad)
{
    // Remembered URIs (the selected environment, say) must survive a later
    // run, whose object numbers follow the order of the file.
    auto context = sampleDocument();
    const QList<HXManagedObject *> objects = context->registeredObjects();
    auto loaded = load(HXXMLStore::serialize(*context));
    ASSERT_TRUE(loaded);
    for (const HXManagedObject *object : objects) {
        const HXManagedObject *found = loaded->objectWithURI(object->objectURI());
        ASSERT_NE(found, nullptr) << object->objectURI().toStdString();
        EXPECT_EQ(found->objectURI(), object->objectURI());
        EXPECT_EQ(found->valueForKey(QStringLiteral("name")), object->valueForKey(QStringLiteral("name")));
        EXPECT_EQ(found->valueForKey(QStringLiteral("value")), object->valueForKey(QStringLiteral("value")));
    }

    // A file with counter ids still answers to the numbers in its ids.
    auto legacy = load(counterIdFile(HXXMLStore::serialize(*context)));
    ASSERT_TRUE(legacy);
    const QString prefix = QStringLiteral("x-coredata://") + legacy->storeUUID();
    for (qint64 number = 1; number <= qint64(objects.size()); ++number) {
        HXManagedObject *object = legacy->objectWithNumber(number);
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(legacy->objectWithURI(prefix + u'/' + object->entityName() + QStringLiteral("/p%1").arg(number)),
                  object);
    }
    EXPECT_EQ(legacy->objectWithURI(prefix + QStringLiteral("/HXRequestGroup/p99")), nullptr);
}

TEST(XMLStoreMergeTest, AnAddedObjectAddsOnlyItsOwnLines)
{
    auto context = sampleDocument();
    const QByteArray before = HXXMLStore::serialize(*context);
    auto *request = context->insertNewObject<HXRequest>(QStringLiteral("HXRequest"));
    request->setName(QStringLiteral("Added"));
    HXKeyValue::addKeyValueName(QStringLiteral("X-New"), QStringLiteral("1"), QStringLiteral("request"), request);
    context->processPendingChanges();
    const QByteArray after = HXXMLStore::serialize(*context);

    // Taking out the new objects' blocks gives back the old file exactly.
    QList<QByteArray> lines = after.split('\n');
    const QStringList old = objectIds(before);
    for (qsizetype i = 0; i < lines.size();) {
        const QRegularExpressionMatch open =
            QRegularExpression(QStringLiteral("^ <object entity=\"\\w+\" id=\"([^\"]+)\">$"))
                .match(QString::fromUtf8(lines.at(i)));
        if (open.hasMatch() && !old.contains(open.captured(1))) {
            while (lines.at(i) != " </object>")
                lines.removeAt(i);
            lines.removeAt(i);
        } else {
            ++i;
        }
    }
    EXPECT_EQ(lines.join('\n'), before);
    EXPECT_EQ(objectIds(after).size(), old.size() + 2);
}

TEST(XMLStoreMergeTest, CounterIdFilesAreReadAndTheFirstSaveRewritesThem)
{
    auto context = sampleDocument();
    const QByteArray current = HXXMLStore::serialize(*context);
    const QByteArray legacy = counterIdFile(current);
    ASSERT_TRUE(legacy.contains("id=\"p7\""));

    bool changed = true;
    auto loaded = load(legacy, &changed);
    ASSERT_TRUE(loaded);
    EXPECT_FALSE(changed);
    const QByteArray rewritten = HXXMLStore::serialize(*loaded);
    EXPECT_FALSE(rewritten.contains("id=\"p"));
    EXPECT_FALSE(rewritten.contains("<integrity"));
    EXPECT_EQ(loaded->countForFetchRequest(HXFetchRequest(QStringLiteral("HXKeyValue"))), 3);

    // A digest that no longer fits opens the file and says so; a damaged
    // digest line is still refused.
    QByteArray edited = legacy;
    edited.replace("Request 1", "Request one");
    loaded = load(edited, &changed);
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(changed);
    QByteArray damaged = legacy;
    damaged.insert(damaged.lastIndexOf("\"/>"), "0");
    auto refused = HXXMLStore::loadData(damaged, QStringLiteral("doc.kea"), model());
    ASSERT_FALSE(refused.ok());
    EXPECT_EQ(refused.error().code, HXXMLStore::IntegrityError);
}

TEST(XMLStoreMergeTest, MergeConflictsAreRefusedNamingTheFirstMarker)
{
    const QByteArray good = HXXMLStore::serialize(*sampleDocument());
    const QList<QByteArray> lines = good.split('\n');
    struct Case
    {
        int line; // 1-based line the conflict starts on
        QByteArray marker;
    };
    for (const Case &c : {Case{3, "<<<<<<< HEAD"}, Case{12, "<<<<<<< ours"}, Case{20, "======="},
                          Case{int(lines.size()) - 2, ">>>>>>> feature/x"}}) {
        QList<QByteArray> broken = lines;
        broken.insert(c.line - 1, c.marker);
        auto result = HXXMLStore::loadData(broken.join('\n'), QStringLiteral("doc.kea"), model());
        ASSERT_FALSE(result.ok()) << c.marker.constData();
        EXPECT_EQ(result.error().code, HXXMLStore::MergeConflictError);
        EXPECT_TRUE(result.error().description.startsWith(QStringLiteral("doc.kea:%1: ").arg(c.line)))
            << result.error().description.toStdString();
        EXPECT_TRUE(result.error().description.contains(u"merge conflict")) << result.error().description.toStdString();
    }
}

} // namespace

TEST(XMLStoreMergeTest, RequestsSharingAUuidKeepDistinctIdsThroughSavesAndLoads)
{
    // Merging two branches that both copied a request gives requests with
    // one uuid. The one read by it sorts last (after every hexadecimal store
    // identifier), so the others come before it when the file is read again.
    auto context = sampleDocument();
    const QString uuid = QStringLiteral("ffffffff-ffff-4fff-bfff-ffffffffffff");
    const QList<HXManagedObject *> requests =
        context->executeFetchRequest(HXFetchRequest(QStringLiteral("HXRequest"))).value();
    for (HXManagedObject *request : requests)
        request->setValueForKey(uuid, QStringLiteral("uuid"));
    context->processPendingChanges();
    QByteArray saved = HXXMLStore::serialize(*context);
    for (int round = 0; round < 3; ++round) {
        const QStringList ids = objectIds(saved);
        EXPECT_EQ(QSet<QString>(ids.begin(), ids.end()).size(), ids.size()) << "round " << round;
        EXPECT_EQ(ids.count(uuid), 1);
        auto loaded = load(saved);
        ASSERT_TRUE(loaded);
        saved = HXXMLStore::serialize(*loaded);
    }
}
