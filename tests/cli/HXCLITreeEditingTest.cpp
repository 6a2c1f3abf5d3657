#include "HXTestSupport.h"

#include "HXCLITestRunner.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class CLITreeEditingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        file = folder.filePath(QStringLiteral("doc.kea"));
        ASSERT_EQ(run({QStringLiteral("new"), file}).status, 0);
    }
    HXCLIRun run(const QStringList &arguments)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), folder.filePath(QStringLiteral("data")));
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), folder.filePath(QStringLiteral("config")));
        return HXRunCLI(arguments, QByteArray(), env);
    }
    // Runs a command that must succeed and gives its output.
    QByteArray ok(const QStringList &arguments)
    {
        const HXCLIRun result = run(arguments);
        EXPECT_EQ(result.status, 0) << arguments.join(u' ').toStdString() << ": " << result.err.constData();
        return result.out;
    }
    void add(const QString &name, const QStringList &more = {})
    {
        ok(QStringList{QStringLiteral("add"), file, QStringLiteral("--name"), name} + more);
    }
    QByteArray list() { return ok({QStringLiteral("list"), file}); }

    QTemporaryDir folder;
    QString file;
};

TEST_F(CLITreeEditingTest, DuplicatesAndGroupsAreNamedAsInTheApplication)
{
    add(QStringLiteral("Login"));
    ok({QStringLiteral("dup"), file, QStringLiteral("Login")});
    ok({QStringLiteral("dup"), file, QStringLiteral("Login Duplicate")});
    EXPECT_EQ(list(), QByteArray("Login\nLogin Duplicate\nLogin Duplicate (2)\n"));

    // A second request of the same name is refused unless asked for.
    const HXCLIRun refused = run({QStringLiteral("add"), file, QStringLiteral("--name"), QStringLiteral("Login")});
    EXPECT_EQ(refused.status, 2);
    EXPECT_TRUE(refused.err.contains("--allow-duplicate"));
    add(QStringLiteral("Login"), {QStringLiteral("--allow-duplicate")});

    for (const char *name : {"d", "e"})
        add(QString::fromLatin1(name));
    EXPECT_EQ(ok({QStringLiteral("group"), file, QStringLiteral("Login Duplicate"),
                  QStringLiteral("Login Duplicate (2)"), QStringLiteral("d"), QStringLiteral("e")}),
              QByteArray("Login Duplicate, Login Duplicate (2), d...\n"));
    EXPECT_EQ(list(), QByteArray("Login\nLogin\nLogin Duplicate, Login Duplicate (2), d.../\n"
                                 "  Login Duplicate\n  Login Duplicate (2)\n  d\n  e\n"));
}

// The question's texts are the application's own (checked with the document
// commands); here: it is asked, and nothing changes without --yes.
TEST_F(CLITreeEditingTest, RemovingAsksWithTheApplicationsTextsAndNeedsYes)
{
    add(QStringLiteral("r"), {QStringLiteral("--folder"), QStringLiteral("Outer/f")});
    add(QStringLiteral("last"), {QStringLiteral("--folder"), QStringLiteral("Outer")});
    const QByteArray before = HXTest::readFile(file);

    const HXCLIRun asked = run({QStringLiteral("rm"), file, QStringLiteral("Outer")});
    EXPECT_EQ(asked.status, 1);
    EXPECT_TRUE(asked.err.contains("Delete 2 requests and 2 folders?\nDelete the following requests?\n"))
        << asked.err.constData();
    EXPECT_EQ(HXTest::readFile(file), before);

    ok({QStringLiteral("rm"), file, QStringLiteral("Outer/"), QStringLiteral("--yes")});
    EXPECT_EQ(list(), QByteArray());
}

TEST_F(CLITreeEditingTest, MoveRenameSetAndCopyBetweenDocuments)
{
    for (const char *name : {"a", "b", "c"})
        add(QString::fromLatin1(name));
    ok({QStringLiteral("mkdir"), file, QStringLiteral("F/G")});
    ok({QStringLiteral("mv"), file, QStringLiteral("c"), QStringLiteral("--before"), QStringLiteral("a")});
    ok({QStringLiteral("mv"), file, QStringLiteral("a"), QStringLiteral("--into"), QStringLiteral("F/G")});
    ok({QStringLiteral("rename"), file, QStringLiteral("F/"), QStringLiteral("Folder")});
    EXPECT_EQ(list(), QByteArray("c\nb\nFolder/\n  G/\n    a\n"));
    EXPECT_EQ(run({QStringLiteral("mv"), file, QStringLiteral("Folder/"), QStringLiteral("--into"),
                   QStringLiteral("Folder/G")})
                  .status,
              2);

    ok({QStringLiteral("set"), file, QStringLiteral("b"), QStringLiteral("--method"), QStringLiteral("put"),
        QStringLiteral("--url"), QStringLiteral("http://h.test/{{base64 \"a b\"}}"), QStringLiteral("--header"),
        QStringLiteral("X-Sum: {{hash md5 abc}}")});
    const QByteArray shown = ok({QStringLiteral("show"), file, QStringLiteral("b")});
    EXPECT_TRUE(shown.contains("method: PUT\nurl: http://h.test/YSBi\n")) << shown.constData();
    EXPECT_TRUE(shown.contains("X-Sum: 900150983CD24FB0D6963F7D28E17F72")) << shown.constData();
    const HXCLIRun badToken =
        run({QStringLiteral("set"), file, QStringLiteral("b"), QStringLiteral("--url"), QStringLiteral("{{nope}}")});
    EXPECT_EQ(badToken.status, 2);
    EXPECT_TRUE(badToken.err.contains("--url: column 3: expected a kind of token")) << badToken.err.constData();

    const QString other = folder.filePath(QStringLiteral("other.kea"));
    ok({QStringLiteral("new"), other});
    EXPECT_EQ(ok({QStringLiteral("cp"), file, QStringLiteral("Folder/"), other}), QByteArray("Folder\n"));
    EXPECT_EQ(ok({QStringLiteral("list"), other}), QByteArray("Folder/\n  G/\n    a\n"));
}

TEST_F(CLITreeEditingTest, LinksAddRequestsAsTheApplicationDoes)
{
    struct Case
    {
        QString query;
        QByteArray expected; // in kea-cli show's output
    };
    const Case cases[] = {
        {QStringLiteral("method=post&url=http://h.test/f&body=a%3D1%26b%3Dx%20y&bodyType=FORM&name=Form"),
         "Content-Type: application/x-www-form-urlencoded\nbody: 9 bytes\na=1&b=x+y\n"},
        {QStringLiteral("method=post&url=http://h.test/j&body=%7B%22a%22%3A1%7D&bodyType=json&name=Json"),
         "body: 7 bytes\n{\"a\":1}\n"},
        {QStringLiteral("url=http://h.test/h&headers=X-A%3D1%26X-B%3D2&name=Headers"), "  X-A: 1\n  X-B: 2\n"},
    };
    for (const Case &c : cases) {
        const QByteArray uuid =
            ok({QStringLiteral("url"), file, QStringLiteral("kea://current.document/requests/new?") + c.query})
                .trimmed();
        EXPECT_EQ(uuid.size(), 36);
        const QByteArray shown = ok({QStringLiteral("show"), file, QString::fromLatin1(uuid)});
        EXPECT_TRUE(shown.contains(c.expected)) << shown.constData();
    }
    // Opened just for the link: only the new request remains.
    ok({QStringLiteral("url"), file, QStringLiteral("kea://new.document/requests/new?name=Only"),
        QStringLiteral("--new")});
    EXPECT_EQ(list(), QByteArray("Only\n"));
}

TEST_F(CLITreeEditingTest, AddHelpTeachesTheFourRecipes)
{
    const QByteArray help = ok({QStringLiteral("add"), QStringLiteral("--help")});
    for (const char *recipe : {"{{env base}}/users", "{{response \"Log in\" body token}}", "--field photo=@./photo.jpg",
                               "{{hmac sha256 key="})
        EXPECT_TRUE(help.contains(recipe)) << recipe;
    for (const char *command : {"rename", "rm", "mv", "dup", "group", "mkdir", "set", "cp", "url", "send"}) {
        const HXCLIRun commandHelp = run({QString::fromLatin1(command), QStringLiteral("--help")});
        EXPECT_EQ(commandHelp.status, 0) << command;
        EXPECT_TRUE(commandHelp.out.startsWith(QByteArray("Usage: kea-cli ").append(command))) << command;
    }
}

} // namespace
