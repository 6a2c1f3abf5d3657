#include "HXRequestArrangementModel.h"
#include "HXDocument.h"
#include "HXDocumentCommands.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXRequestTreeModel.h"

#include <QAbstractItemModelTester>

#include <gtest/gtest.h>

namespace {

// The arranged list as text: "header: request request | header: ...".
QString shape(const QAbstractItemModel &model)
{
    QStringList groups;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QModelIndex header = model.index(row, 0);
        if (!header.data(HXRequestArrangementModel::HeaderRole).toBool()) {
            groups.append(header.data().toString());
            continue;
        }
        QStringList names;
        for (int child = 0; child < model.rowCount(header); ++child)
            names.append(model.index(child, 0, header).data().toString());
        groups.append(header.data().toString() + u": " + names.join(u' '));
    }
    return groups.join(QStringLiteral(" | "));
}

TEST(RequestArrangementModelTest, GroupsFollowTheArrangementAndTheTreeAsItChanges)
{
    HXDocument document;
    HXDocumentCommands commands(&document);
    HXRequestTreeModel tree(&commands);
    HXRequestArrangementModel arranged;
    arranged.setSourceModel(&tree);
    QAbstractItemModelTester tester{&arranged, QAbstractItemModelTester::FailureReportingMode::Fatal};

    // A folder with a POST to one host, and a GET to another at the top.
    HXRequest *post = commands.addRequest({});
    HXRequestGroup *folder = commands.addRequestFolder({post});
    Q_UNUSED(folder);
    HXRequest *get = commands.addRequest({});
    const QList<std::tuple<HXRequest *, const char *, const char *, const char *>> requests = {
        {post, "create", "POST", "https://api.example.com/items"},
        {get, "list", "GET", "http://other.example.org/items"},
    };
    for (const auto &[request, name, method, url] : requests) {
        commands.renameRequestTreeItem(request, QString::fromLatin1(name));
        commands.setValueForKey(request, QStringLiteral("method"), QString::fromLatin1(method), QString());
        commands.setValueForKey(request, QStringLiteral("url"), QString::fromLatin1(url), QString());
    }

    const struct
    {
        int arrangement;
        const char *shape;
    } cases[] = {
        {HXRequestArrangementModel::ByMethod, "GET (1): list | POST (1): create"},
        {HXRequestArrangementModel::ByHost, "api.example.com (1): create | other.example.org (1): list"},
    };
    for (const auto &testCase : cases) {
        SCOPED_TRACE(testCase.shape);
        arranged.setArrangement(testCase.arrangement);
        EXPECT_EQ(shape(arranged), QString::fromLatin1(testCase.shape));
    }
    // A change of method moves the request to its new group.
    arranged.setArrangement(HXRequestArrangementModel::ByMethod);
    commands.setValueForKey(get, QStringLiteral("method"), QStringLiteral("POST"), QString());
    EXPECT_EQ(shape(arranged), u"POST (2): create list"_qs);
    // A header is not a request: it takes no selection and has no tree index.
    const QModelIndex header = arranged.index(0, 0);
    EXPECT_FALSE(arranged.flags(header) & Qt::ItemIsSelectable);
    EXPECT_FALSE(arranged.mapToSource(header).isValid());
    EXPECT_EQ(arranged.mapFromSource(tree.indexForItem(get)).parent(), header);
}

} // namespace
