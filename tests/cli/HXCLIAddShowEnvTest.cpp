#include "HXDocument.h"
#include "HXDynamicValueEngine.h"
#include "HXEnvironmentVariable.h"
#include "HXEnvironmentVariableDynamicValue.h"
#include "HXManagedObjectContext.h"
#include "HXTestSupport.h"

#include "HXCLITestRunner.h"

#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class CLIAddShowEnvTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        file = folder.filePath(QStringLiteral("doc.kea"));
        ASSERT_EQ(run({QStringLiteral("new"), file}).status, 0);
    }
    // Runs kea-cli with its own settings file, so choices stay in the test.
    HXCLIRun run(const QStringList &arguments)
    {
        return HXRunCLI(QStringList{QStringLiteral("--settings"), folder.filePath(QStringLiteral("settings.ini"))} +
                        arguments);
    }
    QString add(const QStringList &arguments)
    {
        const HXCLIRun added = run(QStringList{QStringLiteral("add"), file} + arguments);
        EXPECT_EQ(added.status, 0) << added.err.constData();
        return QString::fromUtf8(added.out).trimmed();
    }
    QByteArray show(const QStringList &arguments)
    {
        const HXCLIRun shown = run(QStringList{QStringLiteral("show"), file} + arguments);
        EXPECT_EQ(shown.status, 0) << shown.err.constData();
        return shown.out;
    }

    QTemporaryDir folder;
    QString file;
};

TEST_F(CLIAddShowEnvTest, AddedRequestsShowWhatWouldBeSent)
{
    const QString uuid =
        add({QStringLiteral("--folder"), QStringLiteral("API/v1"), QStringLiteral("--name"), QStringLiteral("Sign up"),
             QStringLiteral("--method"), QStringLiteral("post"), QStringLiteral("--url"),
             QStringLiteral("http://h.test/users?x=1"), QStringLiteral("--header"), QStringLiteral("Accept: */*"),
             QStringLiteral("--header"), QStringLiteral("X-Trace:  on"), QStringLiteral("--body"),
             QStringLiteral("name=Kea+Bird&tag=a%26b"), QStringLiteral("--body-type"), QStringLiteral("form")});
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^[0-9A-F-]{36}$")).match(uuid).hasMatch()) << uuid.toStdString();

    const QByteArray expected = "method: POST\n"
                                "url: http://h.test/users?x=1\n"
                                "encoding: UTF-8\n"
                                "headers: 3\n"
                                "  Accept: */*\n"
                                "  X-Trace: on\n"
                                "  Content-Type: application/x-www-form-urlencoded\n"
                                "body: 23 bytes\n"
                                "name=Kea+Bird&tag=a%26b\n"
                                "warnings: 0\n";
    EXPECT_EQ(show({QStringLiteral("API/v1/Sign up")}), expected);
    EXPECT_EQ(show({QStringLiteral("Sign up")}), expected);
    EXPECT_EQ(show({uuid}), expected);
    EXPECT_EQ(show({uuid.toLower()}), expected);

    add({QStringLiteral("--name"), QStringLiteral("Top")});
    const HXCLIRun listed = run({QStringLiteral("list"), QStringLiteral("--long"), file});
    EXPECT_EQ(listed.status, 0);
    const QByteArray expectedTree =
        QByteArray("API/\n  v1/\n    Sign up  POST http://h.test/users?x=1  ") + uuid.toLatin1() + "\nTop  GET   ";
    EXPECT_TRUE(listed.out.startsWith(expectedTree)) << listed.out.constData();
}

TEST_F(CLIAddShowEnvTest, BodiesAsTextHexAndInTheirCharset)
{
    add({QStringLiteral("--name"), QStringLiteral("Latin"), QStringLiteral("--method"), QStringLiteral("PUT"),
         QStringLiteral("--header"), QStringLiteral("Content-Type: text/plain; charset=iso-8859-1"),
         QStringLiteral("--body"), QStringLiteral("caf\u00e9 {\"a\": 1}")});
    const QByteArray latin = show({QStringLiteral("Latin")});
    EXPECT_TRUE(latin.contains("encoding: ISO-8859-1\n"));
    EXPECT_TRUE(latin.contains("body: 13 bytes\ncaf\xc3\xa9 {\"a\": 1}\n"));

    const QString binary = folder.filePath(QStringLiteral("binary"));
    ASSERT_TRUE(HXTest::writeFile(binary, QByteArray("\x01\x02"
                                                     "abcdefghijklmnopq",
                                                     19)));
    add({QStringLiteral("--name"), QStringLiteral("Binary"), QStringLiteral("--method"), QStringLiteral("DELETE"),
         QStringLiteral("--body"), QLatin1Char('@') + binary});
    const QByteArray binaryShown = show({QStringLiteral("Binary")});
    EXPECT_TRUE(binaryShown.endsWith("body: 19 bytes, hex\n"
                                     "00000000  01 02 61 62 63 64 65 66  67 68 69 6a 6b 6c 6d 6e  |..abcdefghijklmn|\n"
                                     "00000010  6f 70 71                                          |opq|\n"
                                     "warnings: 1\n"
                                     "  DELETE requests shouldn't have a body [Remove Body] [Change to POST]\n"))
        << binaryShown.constData();

    add({QStringLiteral("--name"), QStringLiteral("Parts"), QStringLiteral("--method"), QStringLiteral("POST"),
         QStringLiteral("--body"), QStringLiteral("f=1"), QStringLiteral("--body-type"), QStringLiteral("multipart")});
    EXPECT_TRUE(show({QStringLiteral("Parts")})
                    .contains("  Content-Type: multipart/form-data; boundary=__X_KEA_BOUNDARY__\n"
                              "body: 93 bytes\n"
                              "--__X_KEA_BOUNDARY__\r\nContent-Disposition: form-data; name=\"f\"\r\n\r\n1\r\n"
                              "--__X_KEA_BOUNDARY__--\r\n"));
}

TEST_F(CLIAddShowEnvTest, FindingRequestsAndFailuresLeaveTheFileAlone)
{
    add({QStringLiteral("--folder"), QStringLiteral("A"), QStringLiteral("--name"), QStringLiteral("Same")});
    add({QStringLiteral("--folder"), QStringLiteral("B"), QStringLiteral("--name"), QStringLiteral("Same")});
    const QByteArray before = HXTest::readFile(file);

    HXCLIRun ambiguous = run({QStringLiteral("show"), file, QStringLiteral("Same")});
    EXPECT_EQ(ambiguous.status, 2);
    EXPECT_TRUE(ambiguous.err.contains("2 requests are named 'Same'"));
    EXPECT_EQ(run({QStringLiteral("show"), file, QStringLiteral("B/Same")}).status, 0);
    EXPECT_EQ(run({QStringLiteral("show"), file, QStringLiteral("C/Same")}).status, 2);
    EXPECT_EQ(run({QStringLiteral("show"), file, QStringLiteral("B/Same"), QStringLiteral("--env"),
                   QStringLiteral("Nowhere")})
                  .status,
              2);

    const QList<QStringList> failing = {
        {QStringLiteral("add"), file},
        {QStringLiteral("add"), file, QStringLiteral("--name"), QStringLiteral("x"), QStringLiteral("--body-type"),
         QStringLiteral("json")},
        {QStringLiteral("add"), file, QStringLiteral("--name"), QStringLiteral("x"), QStringLiteral("--header"),
         QStringLiteral("no colon")},
        {QStringLiteral("add"), file, QStringLiteral("--name"), QStringLiteral("x"), QStringLiteral("--body"),
         QStringLiteral("@") + folder.filePath(QStringLiteral("missing"))},
        {QStringLiteral("env"), file, QStringLiteral("set"), QStringLiteral("nope"), QStringLiteral("Default"),
         QStringLiteral("v")},
        {QStringLiteral("env"), file, QStringLiteral("choose"), QStringLiteral("nope")},
        {QStringLiteral("env"), file, QStringLiteral("frobnicate")},
    };
    for (const QStringList &arguments : failing) {
        const HXCLIRun failed = run(arguments);
        EXPECT_EQ(failed.status, 2) << arguments.join(u' ').toStdString();
        EXPECT_FALSE(failed.err.isEmpty());
    }
    EXPECT_EQ(HXTest::readFile(file), before);
}

TEST_F(CLIAddShowEnvTest, EnvironmentsAndVariables)
{
    ASSERT_EQ(run({QStringLiteral("env"), file, QStringLiteral("add-variable"), QStringLiteral("host"),
                   QStringLiteral("dev.test")})
                  .status,
              0);
    ASSERT_EQ(
        run({QStringLiteral("env"), file, QStringLiteral("add-environment"), QStringLiteral("Production")}).status, 0);
    EXPECT_EQ(
        run({QStringLiteral("env"), file, QStringLiteral("add-environment"), QStringLiteral("Production")}).status, 2);
    ASSERT_EQ(run({QStringLiteral("env"), file, QStringLiteral("set"), QStringLiteral("host"),
                   QStringLiteral("Production"), QStringLiteral("prod.test")})
                  .status,
              0);

    // A URL holding the variable's token, in its stored form.
    QString stored;
    {
        auto document = HXDocument::openDocument(file);
        ASSERT_TRUE(document.ok());
        HXFetchRequest fetch(HXEnvironmentVariable::staticEntityName());
        const auto variables = (*document)->managedObjectContext()->executeFetchRequest(fetch);
        ASSERT_TRUE(variables.ok());
        ASSERT_EQ(variables->size(), 1);
        auto token = HXDynamicValue::make<HXEnvironmentVariableDynamicValue>();
        token->setEnvironmentVariable(static_cast<HXEnvironmentVariable *>(variables->first()));
        HXDynamicString url(QStringLiteral("http://"));
        url.appendDynamicValue(token);
        url.append(QStringLiteral("/"));
        stored = HXDynamicValueEngine::archiveAttributedString(url);
    }
    add({QStringLiteral("--name"), QStringLiteral("Env"), QStringLiteral("--url"), stored});

    const HXCLIRun listed = run({QStringLiteral("env"), file});
    EXPECT_EQ(listed.status, 0);
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^environments:\n\\* Default\n  Production\nvariables:\n"
                                                  "  host  [0-9A-F-]{36}\n    Default: dev.test\n"
                                                  "    Production: prod.test\n$"))
                    .match(QString::fromUtf8(listed.out))
                    .hasMatch())
        << listed.out.constData();

    EXPECT_TRUE(
        show({QStringLiteral("Env")}).contains("url: http://dev.test/\nencoding: UTF-8\nenvironment: Default\n"));
    const QByteArray before = HXTest::readFile(file);
    EXPECT_TRUE(show({QStringLiteral("Env"), QStringLiteral("--env"), QStringLiteral("Production")})
                    .contains("url: http://prod.test/\n"));
    // --env is for one run: the file and the remembered choice stay.
    EXPECT_EQ(HXTest::readFile(file), before);
    EXPECT_TRUE(show({QStringLiteral("Env")}).contains("url: http://dev.test/\n"));

    ASSERT_EQ(run({QStringLiteral("env"), file, QStringLiteral("choose"), QStringLiteral("Production")}).status, 0);
    EXPECT_EQ(HXTest::readFile(file), before);
    EXPECT_TRUE(show({QStringLiteral("Env")}).contains("url: http://prod.test/\n"));
    EXPECT_TRUE(run({QStringLiteral("env"), file}).out.startsWith("environments:\n  Default\n* Production\n"));
}

} // namespace
