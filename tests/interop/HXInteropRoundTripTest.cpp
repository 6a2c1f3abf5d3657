#include "HXInteropTestSupport.h"
#include "HXPostmanExporter.h"
#include "HXPostmanImporter.h"

#include <QJsonDocument>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Descriptions are not carried into a document.
void clearDescriptions(QList<HXInteropItem> &items)
{
    for (HXInteropItem &item : items) {
        item.request.description.clear();
        clearDescriptions(item.children);
    }
}

TEST(InteropRoundTripTest, PostmanThroughKeaKeepsRequestsFoldersHeadersAndBodies)
{
    QTemporaryDir folder;
    QFile(folder.filePath(u"heron.jpg"_s)).open(QIODevice::WriteOnly);
    auto original = HXImportSource::read(HXInteropTest::fixture(u"postman-v2.1.json"_s));
    ASSERT_TRUE(original);

    HXDocument document;
    ASSERT_TRUE(document.saveAs(folder.filePath(u"birds.kea"_s)));
    const HXImportReport report = HXCollectionImport::importCollection(*original, &document, nullptr, folder.path());
    EXPECT_EQ(report.requests, 6);
    EXPECT_EQ(report.folders, 3);

    QStringList notes;
    const QByteArray exported = HXPostmanExporter::exportDocument(&document, &notes);
    auto again = HXImportSource::read(exported);
    ASSERT_TRUE(again) << again.error().description.toStdString();
    clearDescriptions(original->items);
    EXPECT_EQ(again->items, original->items) << exported.constData();
    for (const auto &variable : original->variables)
        EXPECT_TRUE(again->variables.contains(variable)) << variable.first.toStdString();
    EXPECT_TRUE(again->skipped.isEmpty()) << again->skipped.join(u'\n').toStdString();
    EXPECT_TRUE(notes.isEmpty()) << notes.join(u'\n').toStdString();
}

// Tokens Postman cannot express travel as variables holding their readable
// form, each with a note.
TEST(InteropRoundTripTest, TokensWithoutACounterpartBecomeNotedVariables)
{
    HXInteropCollection collection;
    HXInteropRequest request;
    request.name = u"Signed"_s;
    request.url = u"https://h.example.test/{{id}}"_s;
    collection.items.append({false, request.name, request, {}});
    HXDocument document;
    HXCollectionImport::importCollection(collection, &document, nullptr, {});
    auto *added = static_cast<HXRequest *>(document.topLevelItems().first());
    const HXDynamicStringTextContext context{document.managedObjectContext(), {}};
    added->setBody(
        *HXDynamicStringTextFormat::archivedStringFromText(u"n={{nonce 16}}&at={{timestamp epoch}}"_s, context));

    QStringList notes;
    const QJsonObject exported = QJsonDocument::fromJson(HXPostmanExporter::exportDocument(&document, &notes)).object();
    const QJsonObject body = exported.value("item"_L1)
                                 .toArray()
                                 .first()
                                 .toObject()
                                 .value("request"_L1)
                                 .toObject()
                                 .value("body"_L1)
                                 .toObject();
    EXPECT_EQ(body.value("raw"_L1).toString(), u"n={{kea_nonce_1}}&at={{$timestamp}}"_s);
    ASSERT_EQ(notes.size(), 1);
    EXPECT_TRUE(notes.first().contains(u"{{nonce 16}}"_s)) << notes.first().toStdString();
    bool found = false;
    for (const QJsonValue &variable : exported.value("variable"_L1).toArray()) {
        if (variable.toObject().value("key"_L1).toString() == u"kea_nonce_1"_s) {
            found = true;
            EXPECT_EQ(variable.toObject().value("value"_L1).toString(), u"{{nonce 16}}"_s);
            EXPECT_FALSE(variable.toObject().value("description"_L1).toString().isEmpty());
        }
    }
    EXPECT_TRUE(found);
}

} // namespace
