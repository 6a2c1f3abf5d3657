#include "HXKeyValueTableModel.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXDynamicString.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXUndoManager.h"

#include <QAbstractItemModelTester>

#include <gtest/gtest.h>

namespace {

class KeyValueTableModelTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        request = commands.addRequest({});
        model.setOwner(request, QStringLiteral("request"));
    }

    // Rows as "name=value", a disabled row marked with "!", the blank row as "_".
    QString rows() const
    {
        QStringList rows;
        for (int row = 0; row < model.rowCount(); ++row) {
            const QString name = model.index(row, HXKeyValueTableModel::NameColumn).data().toString();
            const QString value = model.index(row, HXKeyValueTableModel::ValueColumn).data().toString();
            const QVariant check = model.index(row, HXKeyValueTableModel::EnabledColumn).data(Qt::CheckStateRole);
            if (name.isEmpty() && value.isEmpty() && !check.isValid())
                rows.append(QStringLiteral("_"));
            else
                rows.append((check.toInt() == Qt::Unchecked ? QStringLiteral("!") : QString()) + name + u'=' + value);
        }
        return rows.join(u' ');
    }

    bool type(int row, int column, const QString &text) { return model.setData(model.index(row, column), text); }

    HXDocument document;
    HXDocumentCommands commands{&document};
    HXRequest *request = nullptr;
    HXKeyValueTableModel model{&commands};
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(KeyValueTableModelTest, TypingIntoTheBlankRowAddsARowAndUndoes)
{
    EXPECT_EQ(rows(), QStringLiteral("_"));
    EXPECT_FALSE(type(0, HXKeyValueTableModel::NameColumn, QString())) << "nothing typed adds nothing";
    ASSERT_TRUE(type(0, HXKeyValueTableModel::NameColumn, QStringLiteral("Accept")));
    EXPECT_EQ(rows(), QStringLiteral("Accept= _"));
    ASSERT_TRUE(type(0, HXKeyValueTableModel::ValueColumn, QStringLiteral("text/plain")));
    ASSERT_TRUE(type(1, HXKeyValueTableModel::ValueColumn, QStringLiteral("only a value")));
    EXPECT_EQ(rows(), QStringLiteral("Accept=text/plain =only a value _"));

    ASSERT_TRUE(model.setData(model.index(0, HXKeyValueTableModel::EnabledColumn), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_EQ(rows(), QStringLiteral("!Accept=text/plain =only a value _"));
    EXPECT_EQ(document.managedObjectContext()->undoManager()->undoActionName(), QStringLiteral("Disable Row"));

    EXPECT_TRUE(model.removeRows(1, 1));
    EXPECT_FALSE(model.removeRows(1, 1)) << "the blank row cannot be removed";
    EXPECT_EQ(rows(), QStringLiteral("!Accept=text/plain _"));
    commands.undo();
    commands.undo();
    EXPECT_EQ(rows(), QStringLiteral("Accept=text/plain =only a value _"));
}

TEST_F(KeyValueTableModelTest, InheritedAndTokenCellsAreNotEditable)
{
    auto *folder = document.managedObjectContext()->insertNewObject<HXRequestGroup>(HXRequestGroup::staticEntityName());
    HXKeyValue *inherited = commands.addKeyValue(folder, QStringLiteral("groupForHeaders"), QStringLiteral("X-Team"),
                                                 QStringLiteral("kea"));
    const QString token = HXDynamicValueEngine::archiveAttributedString(HXDynamicString::withDynamicValue(
        HXDynamicValueCatalogue::createValue(QStringLiteral("HXBasicAuthDynamicValue"))));
    commands.addKeyValue(request, QStringLiteral("request"), QStringLiteral("Authorization"), token);
    model.setInheritedRows({inherited});
    EXPECT_EQ(model.rowCount(), 3);

    const QModelIndex tokenCell = model.index(0, HXKeyValueTableModel::ValueColumn);
    EXPECT_TRUE(tokenCell.data(HXKeyValueTableModel::HasTokensRole).toBool());
    EXPECT_FALSE(model.flags(tokenCell) & Qt::ItemIsEditable);
    EXPECT_EQ(tokenCell.data(HXKeyValueTableModel::StoredStringRole).toString(), token);
    EXPECT_TRUE(model.flags(model.index(0, HXKeyValueTableModel::NameColumn)) & Qt::ItemIsEditable);

    EXPECT_TRUE(model.isInheritedRow(2));
    EXPECT_EQ(model.index(2, HXKeyValueTableModel::NameColumn).data().toString(), QStringLiteral("X-Team"));
    EXPECT_FALSE(model.flags(model.index(2, HXKeyValueTableModel::NameColumn)) & Qt::ItemIsEditable);
    EXPECT_FALSE(type(2, HXKeyValueTableModel::NameColumn, QStringLiteral("changed")));
    EXPECT_FALSE(model.removeRows(2, 1));
}

} // namespace
