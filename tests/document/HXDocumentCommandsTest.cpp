#include "HXDocumentCommands.h"
#include "HXDocument.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironment.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableValue.h"
#include "HXFetchRequest.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"
#include "HXRequestGroup.h"
#include "HXRequestHandler.h"
#include "HXScriptedPresenter.h"
#include "HXUndoManager.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

using Selection = HXDocumentCommands::Selection;
using Action = HXDocumentCommands::Action;

class DocumentCommandsTest : public ::testing::Test
{
protected:
    void SetUp() override { HXPresenter::setSharedPresenter(&presenter); }
    void TearDown() override { HXPresenter::setSharedPresenter(nullptr); }

    HXManagedObjectContext *context() { return document.managedObjectContext(); }
    HXUndoManager *undo() { return context()->undoManager(); }
    HXRequest *request(const QString &name, HXRequestGroup *parent = nullptr)
    {
        auto *made = context()->insertNewObject<HXRequest>(HXRequest::staticEntityName());
        made->setName(name);
        made->setOrderAndParent(parent, nullptr);
        return made;
    }
    HXRequestGroup *folder(const QString &name, HXRequestGroup *parent = nullptr)
    {
        auto *made = context()->insertNewObject<HXRequestGroup>(HXRequestGroup::staticEntityName());
        made->setName(name);
        made->setOrderAndParent(parent, nullptr);
        return made;
    }
    QStringList names(const QList<HXRequestTreeItem *> &items)
    {
        QStringList result;
        for (const HXRequestTreeItem *item : HXDocument::sortedItems(items))
            result.append(item->name());
        return result;
    }

    HXScriptedPresenter presenter;
    HXDocument document;
    HXDocumentCommands commands{&document};
};

TEST_F(DocumentCommandsTest, NewDocumentHasOneRequestTheDefaultEnvironmentAndNothingToUndo)
{
    std::unique_ptr<HXDocument> fresh = HXDocument::makeUntitledDocument();
    EXPECT_EQ(fresh->topLevelItems().size(), 1);
    EXPECT_NE(dynamic_cast<HXRequest *>(fresh->topLevelItems().first()), nullptr);
    ASSERT_NE(fresh->currentEnvironment(), nullptr);
    EXPECT_EQ(fresh->currentEnvironment()->name(), QStringLiteral("Default"));
    EXPECT_FALSE(fresh->managedObjectContext()->undoManager()->canUndo());
    EXPECT_FALSE(fresh->documentUUID().isEmpty());
}

TEST_F(DocumentCommandsTest, DuplicateNames)
{
    const std::vector<std::pair<QString, QString>> cases = {
        {QStringLiteral("Login"), QStringLiteral("Login Duplicate")},
        {QStringLiteral("Login Duplicate"), QStringLiteral("Login Duplicate (2)")},
        {QStringLiteral("Login Duplicate (7)"), QStringLiteral("Login Duplicate (8)")},
        {QStringLiteral("Login duplicate"), QStringLiteral("Login Duplicate (2)")},
        {QStringLiteral("Duplicate"), QStringLiteral("Duplicate Duplicate")},
        {QStringLiteral(""), QStringLiteral(" Duplicate")},
    };
    for (const auto &[name, expected] : cases)
        EXPECT_EQ(HXDocumentCommands::duplicateName(name), expected) << name.toStdString();
}

TEST_F(DocumentCommandsTest, DuplicatePlacesDeepCopiesAfterTheirSourcesWithFreshUUIDs)
{
    HXRequestGroup *accounts = folder(QStringLiteral("Accounts"));
    HXRequest *login = request(QStringLiteral("Login"), accounts);
    request(QStringLiteral("Profile"), accounts)->setOrderAndParent(accounts, login);
    login->setHeaderName(QStringLiteral("X-Token"), QStringLiteral("abc"));
    context()->processPendingChanges();

    const QList<HXRequest *> copies = commands.duplicate({login, accounts});
    ASSERT_EQ(copies.size(), 1);
    HXRequest *copy = copies.first();
    EXPECT_EQ(names(accounts->children()),
              QStringList({QStringLiteral("Login"), QStringLiteral("Login Duplicate"), QStringLiteral("Profile")}));
    EXPECT_NE(copy->uuid(), login->uuid());
    ASSERT_EQ(copy->headers().size(), login->headers().size());
    EXPECT_EQ(copy->headers().first()->value(), QStringLiteral("abc"));
    EXPECT_NE(copy->headers().first(), login->headers().first());
    EXPECT_EQ(undo()->undoActionName(), QStringLiteral("Duplicate"));
    undo()->undo();
    EXPECT_FALSE(copy->isLive());
    EXPECT_EQ(accounts->children().size(), 2);
}

TEST_F(DocumentCommandsTest, GroupingNamesTheFolderAfterTheFirstThreeItems)
{
    const std::vector<std::pair<QStringList, QString>> cases = {
        {{QStringLiteral("a")}, QStringLiteral("a")},
        {{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}, QStringLiteral("a, b, c")},
        {{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("d")},
         QStringLiteral("a, b, c...")},
        {{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("d"), QStringLiteral("e")},
         QStringLiteral("a, b, c...")},
    };
    for (const auto &[itemNames, expected] : cases) {
        Selection selection;
        for (const QString &name : itemNames)
            selection.append(request(name));
        HXRequestGroup *group = commands.groupRequestTreeItems(selection);
        EXPECT_EQ(group->name(), expected);
        for (qsizetype i = 0; i < selection.size(); ++i) {
            EXPECT_EQ(selection.at(i)->parent(), group);
            EXPECT_EQ(selection.at(i)->order(), i);
        }
        EXPECT_EQ(undo()->undoActionName(), QStringLiteral("Group Requests"));
    }
}

TEST_F(DocumentCommandsTest, NewFoldersAreNumberedByTheirPlace)
{
    HXRequestGroup *first = commands.addRequestFolder({});
    EXPECT_EQ(first->name(), QStringLiteral("Group"));
    HXRequestGroup *second = commands.addRequestFolder({first});
    EXPECT_EQ(second->parent(), first);
    EXPECT_EQ(second->name(), QStringLiteral("Group"));
    request(QStringLiteral("top"));
    HXRequestGroup *third = commands.addRequestFolder({});
    EXPECT_EQ(third->order(), 2);
    EXPECT_EQ(third->name(), QStringLiteral("Group (3)"));
    EXPECT_EQ(undo()->undoActionName(), QStringLiteral("Add Request Folder"));
}

TEST_F(DocumentCommandsTest, DeleteQuestionTexts)
{
    auto requests = [this](int count) {
        QList<HXRequest *> list;
        for (int i = 0; i < count; ++i)
            list.append(request(QStringLiteral("r%1").arg(i)));
        return list;
    };
    auto folders = [this](int count) {
        QList<HXRequestGroup *> list;
        for (int i = 0; i < count; ++i)
            list.append(folder(QStringLiteral("f%1").arg(i)));
        return list;
    };
    struct Case
    {
        int r, f;
        const char *title, *undoName;
    };
    const Case cases[] = {
        {2, 2, "Delete 2 requests and 2 folders?", "Delete"},   {3, 1, "Delete 3 requests and one folder?", "Delete"},
        {2, 0, "Delete 2 requests?", "Delete Requests"},        {1, 3, "Delete one request and 3 folders?", "Delete"},
        {1, 1, "Delete one request and one folder?", "Delete"}, {1, 0, "Delete one request?", "Delete Request"},
        {0, 2, "Delete 2 folders?", "Delete Request Folders"},  {0, 1, "Delete one folder?", "Delete Request Folder"},
    };
    for (const Case &c : cases) {
        const auto question = HXDocumentCommands::deleteQuestion(requests(c.r), folders(c.f));
        EXPECT_EQ(question.title, QString::fromUtf8(c.title));
        EXPECT_EQ(question.undoActionName, QString::fromUtf8(c.undoName)) << c.title;
    }
    HXRequest *one = request(QStringLiteral("Login"));
    one->setUrl(QStringLiteral("http://h/"));
    HXRequestGroup *f = folder(QStringLiteral("F"));
    EXPECT_EQ(HXDocumentCommands::deleteQuestion({one}, {f}).informativeText,
              QStringLiteral("Delete the request Login (GET http://h/)?\n\nDelete the folder F?\n"));
    EXPECT_EQ(HXDocumentCommands::deleteQuestion(requests(2), {}).informativeText,
              QStringLiteral("Delete the following requests?\n- r0 (GET ) \n- r1 (GET ) \n"));
}

TEST_F(DocumentCommandsTest, DeletingAFolderOfTwelveRequestsAndElevenSubfoldersAsksWithTheRequestCount)
{
    HXRequestGroup *outer = folder(QStringLiteral("Outer"));
    for (int i = 0; i < 11; ++i)
        request(QStringLiteral("r%1").arg(i), folder(QStringLiteral("f%1").arg(i), outer));
    request(QStringLiteral("last"), outer);
    context()->processPendingChanges();

    presenter.answer = 1;
    commands.deleteRequest({outer});
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_EQ(presenter.alerts.first().kind, HXPresenter::AlertKind::DeleteRequestTreeItems);
    EXPECT_EQ(presenter.alerts.first().message, QStringLiteral("Delete 12 requests and 12 folders?"));
    EXPECT_EQ(presenter.alerts.first().informativeText,
              QStringLiteral("Delete the following requests?\n12 Requests\nDelete the following folders?\n12 Folders"));
    EXPECT_TRUE(outer->isLive());

    presenter.answer = 0;
    commands.deleteRequest({outer});
    EXPECT_FALSE(outer->isLive());
    EXPECT_TRUE(document.topLevelItems().isEmpty());
    EXPECT_EQ(undo()->undoActionName(), QStringLiteral("Delete"));
    undo()->undo();
    EXPECT_EQ(outer->children().size(), 12);
}

TEST_F(DocumentCommandsTest, PasteCopiesTheLiveObjectAndFallsBackToTheArchive)
{
    HXRequest *login = request(QStringLiteral("Login"));
    login->setHeaderName(QStringLiteral("Accept"), QStringLiteral("text/plain"));
    HXRequestGroup *group = folder(QStringLiteral("G"));
    request(QStringLiteral("inside"), group);
    context()->processPendingChanges();
    commands.copy({login, group});
    ASSERT_TRUE(commands.canPaste());

    const QList<HXRequestTreeItem *> pasted = commands.paste({});
    ASSERT_EQ(pasted.size(), 2);
    auto *copy = dynamic_cast<HXRequest *>(pasted.at(0));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy->uuid(), login->uuid());
    EXPECT_EQ(copy->headers().size(), 1);
    EXPECT_EQ(names(pasted.at(1)->children()), QStringList{QStringLiteral("inside")});

    // The source is gone: the same pasteboard content pastes from the archive,
    // also into another document.
    commands.cut({login});
    EXPECT_FALSE(login->isLive());
    HXDocument other;
    HXDocumentCommands otherCommands(&other);
    const QList<HXRequestTreeItem *> again = otherCommands.paste({});
    ASSERT_EQ(again.size(), 1);
    EXPECT_EQ(again.first()->managedObjectContext(), other.managedObjectContext());
    EXPECT_EQ(again.first()->name(), QStringLiteral("Login"));
    EXPECT_EQ(static_cast<HXRequest *>(again.first())->headers().size(), 1);
}

TEST_F(DocumentCommandsTest, FoldersOnlyAndArrangedListsDisableCommands)
{
    HXRequestGroup *group = folder(QStringLiteral("G"));
    HXRequest *a = request(QStringLiteral("a"));
    HXRequest *b = request(QStringLiteral("b"));
    b->setFollowRedirects(false);
    HXDocumentCommands::InterfaceState state;
    state.selection = {group};
    for (Action action : {Action::Duplicate, Action::Copy, Action::Cut, Action::SendRequest})
        EXPECT_FALSE(commands.validateUserInterfaceItem(action, state).enabled);
    EXPECT_EQ(commands.validateUserInterfaceItem(Action::DeleteRequest, state).title, QStringLiteral("Delete Folder"));
    state.selection = {a};
    EXPECT_EQ(commands.validateUserInterfaceItem(Action::DeleteRequest, state).title, QStringLiteral("Delete Request"));
    state.selection = {a, b};
    EXPECT_EQ(commands.validateUserInterfaceItem(Action::DeleteRequest, state).title, QStringLiteral("Delete"));
    EXPECT_EQ(commands.validateUserInterfaceItem(Action::ToogleFollowRedirects, state).state,
              HXDocumentCommands::State::Mixed);
    EXPECT_FALSE(commands.validateUserInterfaceItem(Action::SetCustomRequestMethod, state).enabled);
    commands.toogleFollowRedirects(state.selection);
    EXPECT_TRUE(a->followRedirects() && b->followRedirects());
    commands.toogleFollowRedirects(state.selection);
    EXPECT_FALSE(a->followRedirects() || b->followRedirects());

    for (int arrangement : {1, 2, 3}) {
        state.arrangeBy = arrangement;
        EXPECT_FALSE(commands.validateUserInterfaceItem(Action::AddRequestFolder, state).enabled);
        EXPECT_FALSE(commands.validateUserInterfaceItem(Action::GroupRequestTreeItems, state).enabled);
    }
    state.arrangeBy = 0;
    EXPECT_TRUE(commands.validateUserInterfaceItem(Action::GroupRequestTreeItems, state).enabled);
}

TEST_F(DocumentCommandsTest, UndoTitlesComeFromTheUndoManager)
{
    HXDocumentCommands::InterfaceState state;
    context()->processPendingChanges();
    undo()->removeAllActions();
    EXPECT_EQ(commands.validateUserInterfaceItem(Action::Undo, state).title, QStringLiteral("Undo"));
    EXPECT_FALSE(commands.validateUserInterfaceItem(Action::Undo, state).enabled);
    commands.addRequestFolder({});
    EXPECT_EQ(commands.validateUserInterfaceItem(Action::Undo, state).title, QStringLiteral("Undo Add Request Folder"));
    undo()->undo();
    EXPECT_EQ(commands.validateUserInterfaceItem(Action::Redo, state).title, QStringLiteral("Redo Add Request Folder"));
}

TEST_F(DocumentCommandsTest, ChangesNameTheirKeysAndArriveOnTheNextEventLoopTurn)
{
    HXRequest *a = request(QStringLiteral("a"));
    context()->processPendingChanges();
    QSignalSpy spy(context(), &HXManagedObjectContext::objectsDidChange);
    a->setName(QStringLiteral("renamed"));
    a->setUrl(QStringLiteral("http://x/"));
    EXPECT_EQ(spy.count(), 0);
    ASSERT_TRUE(spy.wait(1000));
    const auto changes = spy.first().first().value<HXManagedObjectChanges>();
    EXPECT_EQ(changes.keysForObject(a), QSet<QString>({QStringLiteral("name"), QStringLiteral("url")}));
    EXPECT_FALSE(changes.wasMoved(a));

    commands.groupRequestTreeItems({a});
    // The command processed its changes itself.
    EXPECT_EQ(spy.count(), 2);
    const auto grouped = spy.last().first().value<HXManagedObjectChanges>();
    EXPECT_TRUE(grouped.wasMoved(a));
}

TEST_F(DocumentCommandsTest, SendAllAsksWithTheCountAndSendsInUUIDOrder)
{
    QList<HXRequest *> requests;
    for (const char *name : {"one", "two", "three"}) {
        requests.append(request(QString::fromLatin1(name)));
        requests.last()->setUrl(QStringLiteral("http://127.0.0.1:9/"));
    }
    std::sort(requests.begin(), requests.end(),
              [](const HXRequest *a, const HXRequest *b) { return a->uuid() < b->uuid(); });

    presenter.answer = 1;
    commands.sendAllRequests();
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_EQ(presenter.alerts.first().kind, HXPresenter::AlertKind::SendAllRequests);
    EXPECT_EQ(presenter.alerts.first().message, QStringLiteral("Send all?"));
    EXPECT_EQ(presenter.alerts.first().informativeText, QStringLiteral("Send 3 request(s)?"));
    EXPECT_EQ(presenter.alerts.first().buttons, QStringList({QStringLiteral("Send all"), QStringLiteral("Cancel")}));
    EXPECT_FALSE(document.requestHandler()->isBusy());

    presenter.answer = 0;
    commands.sendAllRequests();
    EXPECT_EQ(document.requestHandler()->queuedRequests(), requests.mid(1));
    commands.sendAllRequests();
    EXPECT_EQ(presenter.alerts.last().kind, HXPresenter::AlertKind::StopAndSendAllRequests);
    EXPECT_EQ(presenter.alerts.last().informativeText,
              QStringLiteral("A request is currently running, stop it and send 3 request(s)?"));
    commands.stopRequests();
    EXPECT_FALSE(document.requestHandler()->isBusy());
}

TEST_F(DocumentCommandsTest, LinksAddRequestsAndSendOnlyWhenAsked)
{
    const QUrl form(QStringLiteral("kea://current.document/requests/new?method=post&url=http://127.0.0.1:9/"
                                   "&body=a%3D1&bodyType=FORM&name=Form"));
    ASSERT_TRUE(commands.handleURL(form, false));
    auto *added = dynamic_cast<HXRequest *>(document.topLevelItems().last());
    ASSERT_NE(added, nullptr);
    EXPECT_EQ(added->name(), QStringLiteral("Form"));
    EXPECT_EQ(added->method(), QStringLiteral("POST"));
    EXPECT_EQ(added->bodyType(), HXRequest::BodyTypeForm);
    EXPECT_FALSE(document.requestHandler()->isBusy());

    const QUrl json(QStringLiteral("kea://current.document/requests/new?body=%7B%7D&bodyType=json&send"));
    ASSERT_TRUE(commands.handleURL(json, true));
    ASSERT_EQ(document.topLevelItems().size(), 1);
    EXPECT_EQ(HXDynamicValueEngine::unarchiveAttributedString(
                  static_cast<HXRequest *>(document.topLevelItems().first())->body()),
              HXDynamicString(QStringLiteral("{}")));
    EXPECT_TRUE(document.requestHandler()->isBusy());
    commands.stopRequests();
    EXPECT_EQ(undo()->undoCount(), 1);
    EXPECT_EQ(undo()->undoActionName(), QStringLiteral("Add Request"));
    EXPECT_FALSE(commands.handleURL(QUrl(QStringLiteral("kea://current.document/other")), false));
}

} // namespace

TEST_F(DocumentCommandsTest, PasteTogglesAndCustomMethodAreNamedUndoSteps)
{
    HXRequest *a = request(QStringLiteral("a"));
    context()->processPendingChanges();
    commands.copy({a});
    const QList<std::pair<std::function<void()>, QString>> steps = {
        {[&] { commands.paste({a}); }, QStringLiteral("Paste")},
        {[&] { commands.toogleFollowRedirects({a}); }, QStringLiteral("Follow Redirects")},
        {[&] { commands.toogleRedirectMethod({a}); }, QStringLiteral("Keep Method")},
        {[&] { commands.toogleRedirectAuthorization({a}); }, QStringLiteral("Keep Authorization")},
        {[&] { EXPECT_TRUE(commands.setCustomRequestMethod({a}, QStringLiteral("PROPFIND"))); },
         QStringLiteral("Custom Method")},
    };
    for (const auto &[step, name] : steps) {
        step();
        EXPECT_EQ(undo()->undoActionName(), name);
    }
    EXPECT_EQ(a->method(), QStringLiteral("PROPFIND"));
    undo()->undo();
    EXPECT_NE(a->method(), QStringLiteral("PROPFIND"));
}

TEST_F(DocumentCommandsTest, CustomMethodsMustBeHTTPTokens)
{
    const QList<std::pair<QString, bool>> cases = {
        {QStringLiteral("PURGE"), true},
        {QStringLiteral("M-SEARCH"), true},
        {QStringLiteral("x_y.z~!#$%&'*+^`|"), true},
        {QString(), false},
        {QStringLiteral("GET X"), false},
        {QStringLiteral("GET\r\nX: y"), false},
        {QStringLiteral("GET\n"), false},
        {QStringLiteral("A(B)"), false},
        {QStringLiteral("A:B"), false},
        {QStringLiteral("M\u00c9THODE"), false},
    };
    for (const auto &[method, valid] : cases)
        EXPECT_EQ(HXDocumentCommands::isValidRequestMethod(method), valid) << method.toStdString();

    HXRequest *a = request(QStringLiteral("a"));
    HXRequest *b = request(QStringLiteral("b"));
    a->setMethod(QStringLiteral("GET"));
    EXPECT_FALSE(commands.setCustomRequestMethod({a}, QStringLiteral("GET\r\nX: y")));
    EXPECT_FALSE(commands.setCustomRequestMethod({a, b}, QStringLiteral("PURGE"))) << "one request only";
    EXPECT_EQ(a->method(), QStringLiteral("GET"));
}

TEST_F(DocumentCommandsTest, DeletingVariablesTakesTheirValuesAndUndoes)
{
    HXEnvironment *second = HXEnvironment::addEnvironment(QStringLiteral("Second"), context());
    HXEnvironmentVariable *host =
        HXEnvironment::addEnvironmentVariable(QStringLiteral("host"), QStringLiteral("h"), context());
    HXEnvironmentVariable *port =
        HXEnvironment::addEnvironmentVariable(QStringLiteral("port"), QStringLiteral("80"), context());
    auto valueCount = [&] {
        HXFetchRequest fetch(QStringLiteral("HXEnvironmentVariableValue"));
        return context()->executeFetchRequest(fetch).valueOr({}).size();
    };
    const qsizetype before = valueCount();

    commands.deleteEnvironmentVariables({host});
    EXPECT_FALSE(host->isLive());
    EXPECT_TRUE(port->isLive());
    EXPECT_EQ(valueCount(), before - HXEnvironment::environmentsSortedByName(context()).size());
    EXPECT_EQ(undo()->undoActionName(), QStringLiteral("Delete Environment Variable"));
    undo()->undo();
    context()->processPendingChanges();
    EXPECT_EQ(valueCount(), before);
    ASSERT_NE(second->valueForVariable(host), nullptr);
    EXPECT_EQ(second->valueForVariable(host)->value(), QStringLiteral("h"));

    commands.deleteEnvironmentVariables({host, port, host});
    EXPECT_EQ(undo()->undoActionName(), QStringLiteral("Delete Environment Variables"));
}
