#include "HXRequestTreeModel.h"
#include "HXDocument.h"
#include "HXDocumentActions.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXUndoManager.h"

#include <QAbstractItemModelTester>
#include <QMimeData>

#include <gtest/gtest.h>

namespace {

class RequestTreeModelTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // Top level: a, folder (b, c), d.
        a = actions.addRequest(nullptr);
        folder = actions.addRequestFolder(a);
        b = actions.addRequest(folder);
        c = actions.addRequest(b);
        d = actions.addRequest(nullptr);
        actions.renameItem(folder, QStringLiteral("F"));
        actions.renameItem(a, QStringLiteral("a"));
        actions.renameItem(b, QStringLiteral("b"));
        actions.renameItem(c, QStringLiteral("c"));
        actions.renameItem(d, QStringLiteral("d"));
        actions.setValue(a, QStringLiteral("url"), QStringLiteral("http://example.com/users"), QString());
        undo()->removeAllActions();
    }

    HXUndoManager *undo() { return document.managedObjectContext()->undoManager(); }

    // The tree as text: names in order, a folder's children in brackets.
    QString shape(const QModelIndex &parent = {}) const
    {
        QStringList names;
        for (int row = 0; row < model.rowCount(parent); ++row) {
            const QModelIndex index = model.index(row, 0, parent);
            QString name = index.data().toString();
            if (index.data(HXRequestTreeModel::IsFolderRole).toBool())
                name += u'[' + shape(index) + u']';
            names.append(name);
        }
        return names.join(u' ');
    }

    QMimeData *dragOf(const QList<HXRequestTreeItem *> &items) const
    {
        QModelIndexList indexes;
        for (HXRequestTreeItem *item : items)
            indexes.append(model.indexForItem(item));
        return model.mimeData(indexes);
    }

    HXDocument document;
    HXDocumentActions actions{&document};
    HXRequest *a = nullptr, *b = nullptr, *c = nullptr, *d = nullptr;
    HXRequestGroup *folder = nullptr;
    HXRequestTreeModel model{&actions};
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(RequestTreeModelTest, FollowsTheStoreAndItsUndo)
{
    EXPECT_EQ(shape(), QStringLiteral("a F[b c] d"));
    const QModelIndex first = model.index(0, 0);
    EXPECT_EQ(first.data(HXRequestTreeModel::MethodRole).toString(), QStringLiteral("GET"));
    EXPECT_EQ(first.data(HXRequestTreeModel::SearchTextRole).toString(), QStringLiteral("a\nhttp://example.com/users"));

    EXPECT_TRUE(model.setData(first, QStringLiteral("  renamed  ")));
    EXPECT_FALSE(model.setData(first, QStringLiteral("   "))) << "a blank name is refused";
    EXPECT_EQ(shape(), QStringLiteral("renamed F[b c] d"));
    EXPECT_EQ(undo()->undoActionName(), QStringLiteral("Rename"));
    actions.undo();
    EXPECT_EQ(shape(), QStringLiteral("a F[b c] d"));
}

TEST_F(RequestTreeModelTest, DropsMoveItemsAsOneUndoStep)
{
    struct Case
    {
        const char *name;
        QList<HXRequestTreeItem *> dragged;
        int row;
        bool ontoFolder;
        const char *expected;
    };
    const QList<Case> cases = {
        {"onto the folder goes first in it", {d}, -1, true, "a F[d b c]"},
        {"between two children", {a}, 1, true, "F[b a c] d"},
        {"to the top of the list", {d, c}, 0, false, "d c a F[b]"},
        {"to the end of the list", {b}, -1, false, "a F[c] d b"},
        {"after the dragged item itself", {a}, 1, false, "a F[b c] d"},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.name);
        std::unique_ptr<QMimeData> data(dragOf(test.dragged));
        const QModelIndex parent = test.ontoFolder ? model.indexForItem(folder) : QModelIndex();
        ASSERT_TRUE(model.canDropMimeData(data.get(), Qt::MoveAction, test.row, 0, parent));
        model.dropMimeData(data.get(), Qt::MoveAction, test.row, 0, parent);
        EXPECT_EQ(shape(), QString::fromLatin1(test.expected));
        if (undo()->canUndo()) {
            actions.undo();
            EXPECT_EQ(shape(), QStringLiteral("a F[b c] d"));
        }
    }
}

TEST_F(RequestTreeModelTest, RefusesDropsThatCannotWork)
{
    std::unique_ptr<QMimeData> folderDrag(dragOf({folder}));
    EXPECT_FALSE(model.canDropMimeData(folderDrag.get(), Qt::MoveAction, -1, 0, model.indexForItem(folder)))
        << "a folder into itself";
    std::unique_ptr<QMimeData> requestDrag(dragOf({d}));
    EXPECT_FALSE(model.canDropMimeData(requestDrag.get(), Qt::MoveAction, -1, 0, model.indexForItem(a)))
        << "onto a request";
    EXPECT_FALSE(model.canDropMimeData(requestDrag.get(), Qt::CopyAction, -1, 0, {}));

    QMimeData foreign;
    foreign.setData(QString::fromLatin1(HXRequest::pasteboardTypeURI), "x-coredata://other-store/HXRequest/p1");
    EXPECT_FALSE(model.canDropMimeData(&foreign, Qt::MoveAction, -1, 0, {})) << "an item of another document";
    foreign.setData(QString::fromLatin1(HXRequest::pasteboardTypeURI), a->objectURI().toUtf8() + "\nnonsense");
    EXPECT_FALSE(model.canDropMimeData(&foreign, Qt::MoveAction, -1, 0, {})) << "one unknown item spoils the drop";
}

TEST_F(RequestTreeModelTest, DeletingAFolderAsksAndTakesItsRequests)
{
    actions.deleteItems({folder, b});
    EXPECT_EQ(shape(), QStringLiteral("a d"));
    EXPECT_FALSE(c->isLive());
    actions.undo();
    EXPECT_EQ(shape(), QStringLiteral("a F[b c] d"));
}

} // namespace
