// Documents under git: changes made on two branches merge without conflict,
// and a real conflict is refused with a clear error instead of being loaded.

#include "HXCLITestRunner.h"
#include "HXDocument.h"
#include "HXDynamicValueEngine.h"
#include "HXFetchRequest.h"
#include "HXKeyValue.h"
#include "HXManagedObjectContext.h"
#include "HXRequest.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>

namespace {

class CLIGitMergeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (QStandardPaths::findExecutable(QStringLiteral("git")).isEmpty())
            GTEST_SKIP() << "git is not installed";
        file = folder.filePath(QStringLiteral("api.kea"));
        git({QStringLiteral("init"), QStringLiteral("-q"), QStringLiteral("-b"), QStringLiteral("main")});
        ASSERT_EQ(HXRunCLI({QStringLiteral("new"), file}).status, 0);
        addRequest(QStringLiteral("A"), QStringLiteral("http://a.test/v1"), QStringLiteral("4"));
        addRequest(QStringLiteral("B"), QStringLiteral("http://b.test/v1"), QStringLiteral("8"));
        commit(QStringLiteral("base"));
    }

    int git(const QStringList &arguments)
    {
        QProcess process;
        process.setWorkingDirectory(folder.path());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"GIT_AUTHOR_NAME", "GIT_COMMITTER_NAME"})
            environment.insert(QString::fromLatin1(name), QStringLiteral("Kea Test"));
        for (const char *name : {"GIT_AUTHOR_EMAIL", "GIT_COMMITTER_EMAIL"})
            environment.insert(QString::fromLatin1(name), QStringLiteral("test@kea.invalid"));
        environment.insert(QStringLiteral("GIT_CONFIG_NOSYSTEM"), QStringLiteral("1"));
        environment.insert(QStringLiteral("HOME"), folder.path());
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral("git"), arguments);
        EXPECT_TRUE(process.waitForFinished(30000));
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }
    void commit(const QString &message)
    {
        ASSERT_EQ(git({QStringLiteral("add"), QStringLiteral("api.kea")}), 0);
        ASSERT_EQ(git({QStringLiteral("commit"), QStringLiteral("-q"), QStringLiteral("-m"), message}), 0);
    }

    // Changes the document the way the application does, then saves it.
    void edit(const std::function<void(HXDocument &)> &change)
    {
        auto document = HXDocument::openDocument(file);
        ASSERT_TRUE(document.ok()) << document.error().description.toStdString();
        change(**document);
        (*document)->managedObjectContext()->processPendingChanges();
        ASSERT_TRUE((*document)->save().ok());
    }
    static HXRequest *request(HXDocument &document, const QString &name)
    {
        const QList<HXManagedObject *> requests =
            document.managedObjectContext()->executeFetchRequest(HXFetchRequest(QStringLiteral("HXRequest"))).value();
        for (HXManagedObject *object : requests) {
            if (static_cast<HXRequest *>(object)->name() == name)
                return static_cast<HXRequest *>(object);
        }
        return nullptr;
    }
    static QString text(const QString &plain)
    {
        return HXDynamicValueEngine::archiveAttributedString(HXDynamicString(plain));
    }
    // A request whose uuid starts with `lead`, so that where it sorts among
    // the others is known.
    void addRequest(const QString &name, const QString &url, const QString &lead)
    {
        edit([&](HXDocument &document) {
            auto *added = document.managedObjectContext()->insertNewObject<HXRequest>(HXRequest::staticEntityName());
            added->setName(name);
            added->setUrl(text(url));
            added->setUuid(lead.repeated(8) + QStringLiteral("-0000-4000-8000-000000000000"));
        });
    }
    void setURL(const QString &name, const QString &url)
    {
        edit([&](HXDocument &document) { request(document, name)->setUrl(text(url)); });
    }

    QTemporaryDir folder;
    QString file;
};

TEST_F(CLIGitMergeTest, ChangesOnTwoBranchesMergeWithoutConflict)
{
    ASSERT_EQ(git({QStringLiteral("checkout"), QStringLiteral("-q"), QStringLiteral("-b"), QStringLiteral("one")}), 0);
    addRequest(QStringLiteral("C"), QStringLiteral("http://c.test/"), QStringLiteral("1"));
    setURL(QStringLiteral("A"), QStringLiteral("http://a.test/v2"));
    commit(QStringLiteral("one"));

    ASSERT_EQ(git({QStringLiteral("checkout"), QStringLiteral("-q"), QStringLiteral("-b"), QStringLiteral("two"),
                   QStringLiteral("main")}),
              0);
    addRequest(QStringLiteral("D"), QStringLiteral("http://d.test/"), QStringLiteral("C"));
    edit([&](HXDocument &document) {
        HXKeyValue::addKeyValueName(QStringLiteral("X-Added"), text(QStringLiteral("yes")), QStringLiteral("request"),
                                    request(document, QStringLiteral("B")));
    });
    ASSERT_EQ(HXRunCLI({QStringLiteral("env"), file, QStringLiteral("add-variable"), QStringLiteral("token"),
                        QStringLiteral("t0k")})
                  .status,
              0);
    commit(QStringLiteral("two"));

    ASSERT_EQ(git({QStringLiteral("checkout"), QStringLiteral("-q"), QStringLiteral("one")}), 0);
    ASSERT_EQ(git({QStringLiteral("merge"), QStringLiteral("-q"), QStringLiteral("--no-edit"), QStringLiteral("two")}),
              0);

    const HXCLIRun checked = HXRunCLI({QStringLiteral("check"), file});
    EXPECT_EQ(checked.status, 0) << checked.err.constData();
    EXPECT_EQ(checked.out, QByteArray("requests: 4\nfolders: 0\nenvironments: 1\nvariables: 1\n"));
    EXPECT_TRUE(checked.err.isEmpty()) << checked.err.constData();
    const HXCLIRun listed = HXRunCLI({QStringLiteral("list"), QStringLiteral("--long"), file});
    for (const char *expected : {"http://a.test/v2", "http://b.test/v1", "http://c.test/", "http://d.test/"})
        EXPECT_TRUE(listed.out.contains(expected)) << expected << " missing from\n" << listed.out.constData();
    EXPECT_TRUE(HXRunCLI({QStringLiteral("show"), file, QStringLiteral("B")}).out.contains("X-Added: yes"));
    EXPECT_TRUE(HXRunCLI({QStringLiteral("env"), file}).out.contains("t0k"));
}

TEST_F(CLIGitMergeTest, EditsOfOneFieldOnBothBranchesAreAConflictKeaRefuses)
{
    ASSERT_EQ(git({QStringLiteral("checkout"), QStringLiteral("-q"), QStringLiteral("-b"), QStringLiteral("one")}), 0);
    setURL(QStringLiteral("A"), QStringLiteral("http://a.test/one"));
    commit(QStringLiteral("one"));
    ASSERT_EQ(git({QStringLiteral("checkout"), QStringLiteral("-q"), QStringLiteral("-b"), QStringLiteral("two"),
                   QStringLiteral("main")}),
              0);
    setURL(QStringLiteral("A"), QStringLiteral("http://a.test/two"));
    commit(QStringLiteral("two"));

    ASSERT_NE(git({QStringLiteral("merge"), QStringLiteral("-q"), QStringLiteral("--no-edit"), QStringLiteral("one")}),
              0);
    const HXCLIRun checked = HXRunCLI({QStringLiteral("check"), file});
    EXPECT_EQ(checked.status, 2);
    EXPECT_TRUE(checked.out.isEmpty());
    EXPECT_TRUE(checked.err.contains("merge conflict")) << checked.err.constData();
    EXPECT_TRUE(checked.err.contains(QByteArray(file.toUtf8() + ':'))) << checked.err.constData();
    EXPECT_NE(HXRunCLI({QStringLiteral("list"), file}).status, 0);
}

} // namespace
