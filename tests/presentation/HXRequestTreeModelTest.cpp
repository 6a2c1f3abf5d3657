#include "HXRequestTreeModel.h"
#include "HXClipboardPasteboard.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXManagedObjectContext.h"
#include "HXPasteboardManagement.h"
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
        a = commands.addRequest({});
        folder = commands.addRequestFolder({a});
        b = commands.addRequest({folder});
        c = commands.addRequest({b});
        d = commands.addRequest({});
        const QList<std::pair<HXRequestTreeItem *, const char *>> names = {
            {folder, "F"}, {a, "a"}, {b, "b"}, {c, "c"}, {d, "d"}};
        for (const auto &[item, name] : names)
            commands.renameRequestTreeItem(item, QString::fromLatin1(name));
        commands.setValueForKey(a, QStringLiteral("url"), QStringLiteral("http://example.com/users"), QString());
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
    HXDocumentCommands commands{&document};
    HXRequest *a = nullptr, *b = nullptr, *c = nullptr, *d = nullptr;
    HXRequestGroup *folder = nullptr;
    HXRequestTreeModel model{&commands};
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
    commands.undo();
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
        {"onto the folder goes last in it", {d}, -1, true, "a F[b c d]"},
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
            commands.undo();
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

    QMimeData garbled;
    garbled.setData(HXClipboardPasteboard::itemsMimeType, "\x00\x00\x00\x01\x7f\xff\xff\xff");
    EXPECT_FALSE(model.canDropMimeData(&garbled, Qt::MoveAction, -1, 0, {})) << "damaged items";
}

TEST_F(RequestTreeModelTest, ADropFromAnotherDocumentCopiesTheArchive)
{
    HXDocument other;
    HXDocumentCommands otherCommands{&other};
    HXRequestTreeModel otherModel{&otherCommands};
    HXRequestGroup *otherFolder = otherCommands.addRequestFolder({});
    std::unique_ptr<QMimeData> data(dragOf({folder}));

    ASSERT_TRUE(otherModel.canDropMimeData(data.get(), Qt::MoveAction, -1, 0, otherModel.indexForItem(otherFolder)));
    otherModel.dropMimeData(data.get(), Qt::MoveAction, -1, 0, otherModel.indexForItem(otherFolder));
    ASSERT_EQ(otherFolder->children().size(), 1);
    HXRequestTreeItem *copy = otherFolder->children().first();
    EXPECT_EQ(copy->name(), QStringLiteral("F"));
    EXPECT_EQ(copy->children().size(), 2) << "the folder came with its requests";
    EXPECT_EQ(shape(), QStringLiteral("a F[b c] d")) << "the source document is untouched";
    EXPECT_TRUE(b->isLive());
}

TEST_F(RequestTreeModelTest, DeletingAFolderAsksAndTakesItsRequests)
{
    commands.deleteRequest({folder, b});
    EXPECT_EQ(shape(), QStringLiteral("a d"));
    EXPECT_FALSE(c->isLive());
    commands.undo();
    EXPECT_EQ(shape(), QStringLiteral("a F[b c] d"));
}

} // namespace
