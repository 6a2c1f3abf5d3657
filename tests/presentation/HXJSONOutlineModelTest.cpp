#include "HXJSONOutlineModel.h"
#include "HXJSONParser.h"

#include <QAbstractItemModelTester>

#include <gtest/gtest.h>

namespace {

std::shared_ptr<const HXJSONTree> treeOf(const QByteArray &json)
{
    std::unique_ptr<HXJSONParser> parser = HXJSONParser::fromUtf8(json);
    std::shared_ptr<HXJSONItem> root = parser->parseWithError();
    return root ? root->tree() : nullptr;
}

// The outline as text, every row expanded: "key: value" with children in braces.
QString outline(const QAbstractItemModel &model, const QModelIndex &parent = {})
{
    QStringList rows;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex key = model.index(row, HXJSONOutlineModel::KeyColumn, parent);
        QString text = key.data().toString() + QStringLiteral(": ") +
                       model.index(row, HXJSONOutlineModel::ValueColumn, parent).data().toString();
        if (model.hasChildren(key))
            text += QStringLiteral(" {") + outline(model, key) + u'}';
        rows.append(text);
    }
    return rows.join(QStringLiteral(", "));
}

TEST(JSONOutlineModelTest, ShowsEveryValueWithItsKeyOrIndex)
{
    const QList<std::pair<QByteArray, const char *>> cases = {
        {"42", "root: 42"},
        {"\"text\"", "root: \"text\""},
        {"{}", "root: {0 members}"},
        {"[]", "root: [0 elements]"},
        {R"({"a": 1, "b": [true, null, "x"]})",
         "root: {2 members} {a: 1, b: [3 elements] {[0]: true, [1]: null, [2]: \"x\"}}"},
        {R"([{"k": {"deep": [1]}}, 2.5])",
         "root: [2 elements] {[0]: {1 member} {k: {1 member} {deep: [1 element] {[0]: 1}}}, [1]: 2.5}"},
        {R"({"é": "ü", "quote\"d": "a\nb"})", "root: {2 members} {é: \"ü\", quote\\\"d: \"a\\nb\"}"},
        {R"({"open": [1, 2)", "root: {1 member} {open: [2 elements] {[0]: 1, [1]: 2}}"},
    };
    for (const auto &[json, expected] : cases) {
        SCOPED_TRACE(json.toStdString());
        HXJSONOutlineModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
        model.setTree(treeOf(json));
        EXPECT_EQ(outline(model), QString::fromUtf8(expected));
    }
}

TEST(JSONOutlineModelTest, CutsLongValuesAndMapsRowsToText)
{
    const QByteArray longString = QByteArray(HXJSONOutlineModel::maximumValueLength + 50, 'x');
    const QByteArray json = "{\"long\": \"" + longString + "\", \"n\": 12345}";
    HXJSONOutlineModel model;
    model.setTree(treeOf(json));
    const QModelIndex root = model.index(0, 0);
    const QString shown = model.index(0, HXJSONOutlineModel::ValueColumn, root).data().toString();
    EXPECT_EQ(shown.size(), HXJSONOutlineModel::maximumValueLength + 3) << "quotes and the ellipsis";
    EXPECT_TRUE(shown.endsWith(QStringLiteral("…\"")));

    const auto [start, length] = model.textRange(model.index(1, 0, root));
    EXPECT_EQ(QString::fromUtf8(json).mid(start, length), QStringLiteral("12345"));
    EXPECT_EQ(model.parent(model.index(1, 1, root)), root);
}

TEST(JSONOutlineModelTest, EmptyWithoutATree)
{
    HXJSONOutlineModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setTree(treeOf("   "));
    EXPECT_EQ(model.rowCount(), 0);
    model.setTree(treeOf("[1]"));
    EXPECT_EQ(model.rowCount(), 1);
    model.setTree(nullptr);
    EXPECT_EQ(model.rowCount(), 0);
}

} // namespace
