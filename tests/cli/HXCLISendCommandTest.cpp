#include "HXTestSupport.h"

#include "HXCLITestRunner.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <memory>
#include <vector>

namespace {

// Runs kea-cli as a separate process with its own settings and data folder,
// which later runs share, as two invocations on one machine do.
class CLISendCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        echo.setProcessEnvironment(environment());
        echo.start(QStringLiteral(KEA_CLI_PATH),
                   {QStringLiteral("echo"), QStringLiteral("--port"), QStringLiteral("0")});
        ASSERT_TRUE(echo.waitForReadyRead(10000));
        const QRegularExpressionMatch match =
            QRegularExpression(QStringLiteral(":(\\d+)")).match(QString::fromUtf8(echo.readLine()));
        ASSERT_TRUE(match.hasMatch());
        port = match.captured(1);
        document = folder.filePath(QStringLiteral("demo.kea"));
        ASSERT_EQ(run({QStringLiteral("demo"), document, QStringLiteral("--port"), port}).status, 0);
    }
    void TearDown() override
    {
        echo.kill();
        echo.waitForFinished(5000);
    }
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), folder.filePath(QStringLiteral("data")));
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), folder.filePath(QStringLiteral("config")));
        return env;
    }
    HXCLIRun run(const QStringList &arguments) { return HXRunCLI(arguments, QByteArray(), environment()); }

    QTemporaryDir folder;
    QProcess echo;
    QString port;
    QString document;
};

TEST_F(CLISendCommandTest, ALaterRunUsesTheResponseOfAnEarlierOne)
{
    // Before any login the profile has no token to send.
    HXCLIRun first = run({QStringLiteral("send"), document, QStringLiteral("Profile")});
    EXPECT_EQ(first.status, 0);
    EXPECT_TRUE(first.out.contains("HTTP/1.1 401")) << first.out.constData();

    HXCLIRun login = run({QStringLiteral("send"), document, QStringLiteral("Accounts/Log in")});
    EXPECT_EQ(login.status, 0) << login.err.constData();
    const QRegularExpressionMatch token =
        QRegularExpression(QStringLiteral("\"token\": \"([^\"]+)\"")).match(QString::fromUtf8(login.out));
    ASSERT_TRUE(token.hasMatch()) << login.out.constData();

    HXCLIRun profile = run({QStringLiteral("send"), document, QStringLiteral("Profile"), QStringLiteral("--verbose")});
    EXPECT_EQ(profile.status, 0);
    EXPECT_TRUE(profile.out.contains(QByteArray(QByteArray("> Authorization: Bearer ") + token.captured(1).toUtf8())))
        << profile.out.constData();
    EXPECT_TRUE(profile.out.contains("\"authenticated\": true"));

    // Another environment logs in another user, whose token then travels.
    HXCLIRun staging = run({QStringLiteral("send"), document, QStringLiteral("Log in"), QStringLiteral("Profile"),
                            QStringLiteral("--env"), QStringLiteral("Staging")});
    EXPECT_TRUE(staging.out.contains("\"user\": \"staging-tester\"")) << staging.out.constData();
    EXPECT_FALSE(staging.out.contains(token.captured(1).toUtf8()));

    HXCLIRun stored = run({QStringLiteral("responses"), document, QStringLiteral("Log in")});
    EXPECT_EQ(stored.status, 0);
    EXPECT_EQ(stored.out.count("200 OK"), 2);
}

TEST_F(CLISendCommandTest, SendAllAsksThenSendsInUUIDOrderFollowingRedirects)
{
    // Request names by uuid, from the long listing ("  Name  METHOD url  UUID").
    const HXCLIRun listed = run({QStringLiteral("list"), QStringLiteral("--long"), document});
    QMap<QString, QString> namesByUUID;
    for (const QString &line : QString::fromUtf8(listed.out).split(u'\n', Qt::SkipEmptyParts)) {
        const QStringList parts = line.trimmed().split(QStringLiteral("  "));
        if (parts.size() == 3)
            namesByUUID.insert(parts.at(2), parts.at(0));
    }
    ASSERT_EQ(namesByUUID.size(), 6) << listed.out.constData();
    const QMap<QString, QStringList> statusLines = {
        {QStringLiteral("Log in"), {QStringLiteral("200 OK")}},
        {QStringLiteral("Profile"), {QStringLiteral("200 OK")}},
        {QStringLiteral("Post a form"), {QStringLiteral("200 OK")}},
        {QStringLiteral("Upload a file"), {QStringLiteral("200 OK")}},
        {QStringLiteral("Redirect chain"),
         {QStringLiteral("302 Found"), QStringLiteral("302 Found"), QStringLiteral("302 Found"),
          QStringLiteral("200 OK")}},
        {QStringLiteral("Not found"), {QStringLiteral("404 Not Found")}},
    };
    // The profile carries the login's token only when the login went first.
    const QStringList order = namesByUUID.values(); // QMap: ascending uuid
    QMap<QString, QStringList> expectedLines = statusLines;
    if (order.indexOf(QStringLiteral("Profile")) < order.indexOf(QStringLiteral("Log in")))
        expectedLines[QStringLiteral("Profile")] = {QStringLiteral("401 Unauthorized")};
    QByteArray expected;
    for (const QString &name : order)
        for (const QString &status : expectedLines.value(name))
            expected += (name + QStringLiteral("  HTTP/1.1 ") + status + u'\n').toUtf8();

    HXCLIRun all = run({QStringLiteral("send"), document, QStringLiteral("--all"), QStringLiteral("--quiet")});
    EXPECT_EQ(all.status, 0) << all.err.constData();
    EXPECT_EQ(all.out, expected);
    EXPECT_TRUE(all.err.contains("Send all?\nSend 6 request(s)?")) << all.err.constData();

    HXCLIRun failing = run({QStringLiteral("send"), document, QStringLiteral("Not found"), QStringLiteral("--fail"),
                            QStringLiteral("--quiet")});
    EXPECT_EQ(failing.status, 1);
    EXPECT_EQ(failing.out, QByteArray("Not found  HTTP/1.1 404 Not Found\n"));

    // With the service gone, sending fails with exit status 1 and a message.
    echo.kill();
    echo.waitForFinished(5000);
    HXCLIRun failed = run({QStringLiteral("send"), document, QStringLiteral("Not found")});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.err.contains("Kea can't get a response")) << failed.err.constData();

    EXPECT_EQ(run({QStringLiteral("send"), document}).status, 2);
    EXPECT_EQ(run({QStringLiteral("send"), document, QStringLiteral("No such request")}).status, 2);
    EXPECT_EQ(
        run({QStringLiteral("send"), folder.filePath(QStringLiteral("missing.kea")), QStringLiteral("--all")}).status,
        2);
}

TEST_F(CLISendCommandTest, EachEngineAndTheComparisonOfAll)
{
    // The Qt engine rebuilds the reason phrase; every engine names itself.
    const QList<std::pair<QString, QByteArray>> engines = {{QStringLiteral("own"), "HTTP/1.1 404 Not Found"},
                                                           {QStringLiteral("libcurl"), "HTTP/1.1 404 Not Found"},
                                                           {QStringLiteral("qt"), "HTTP/1.1 404 NOT FOUND"}};
    const QList<QByteArray> names = {"Kea HTTP/1.1", "libcurl", "Qt Network"};
    for (qsizetype i = 0; i < engines.size(); ++i) {
        HXCLIRun sent = run({QStringLiteral("send"), document, QStringLiteral("Not found"), QStringLiteral("--engine"),
                             engines[i].first, QStringLiteral("--verbose")});
        EXPECT_EQ(sent.status, 0) << sent.err.constData();
        EXPECT_TRUE(sent.out.startsWith(QByteArray("== engine: " + names[i] + '\n'))) << sent.out.constData();
        EXPECT_TRUE(sent.out.contains(engines[i].second)) << sent.out.constData();
    }
    EXPECT_EQ(run({QStringLiteral("send"), document, QStringLiteral("Not found"), QStringLiteral("--engine"),
                   QStringLiteral("curl")})
                  .status,
              2);

    // Same status and body everywhere; only the own engine shows its
    // Connection header, which is marked.
    HXCLIRun same = run({QStringLiteral("compare"), document, QStringLiteral("Accounts/Log in")});
    EXPECT_EQ(same.status, 0) << same.out.constData() << same.err.constData();
    const QList<QByteArray> lines = same.out.split('\n');
    ASSERT_GE(lines.size(), 4);
    EXPECT_EQ(lines[0], "== Log in");
    for (const QByteArray &name : names)
        EXPECT_TRUE(lines[1].contains(name));
    EXPECT_TRUE(lines[2].startsWith("  status ")) << lines[2].constData();
    EXPECT_TRUE(same.out.contains("* Connection             | close ")) << same.out.constData();
    EXPECT_TRUE(same.out.contains("\n  body ")) << same.out.constData();

    // The echo differs with the headers each engine sent: a failed comparison.
    HXCLIRun different = run({QStringLiteral("compare"), document, QStringLiteral("Redirect chain")});
    EXPECT_EQ(different.status, 1);
    EXPECT_TRUE(different.out.contains("\n* body ")) << different.out.constData();
    EXPECT_EQ(run({QStringLiteral("compare"), document}).status, 2);
}

TEST_F(CLISendCommandTest, RunsThatCreateTheStoresTogetherRecordEveryResponse)
{
    // Copies of the document, so that nothing but the stores is shared.
    constexpr int together = 5;
    std::vector<std::unique_ptr<QProcess>> sends;
    for (int i = 0; i < together; ++i) {
        const QString copy = folder.filePath(QStringLiteral("copy-%1.kea").arg(i));
        ASSERT_TRUE(QFile::copy(document, copy));
        sends.push_back(std::make_unique<QProcess>());
        sends.back()->setProcessEnvironment(environment());
        sends.back()->start(QStringLiteral(KEA_CLI_PATH),
                            {QStringLiteral("send"), copy, QStringLiteral("Not found"), QStringLiteral("--quiet")});
    }
    for (const auto &send : sends) {
        ASSERT_TRUE(send->waitForFinished(60000));
        EXPECT_EQ(send->exitCode(), 0) << send->readAllStandardError().constData();
    }
    HXCLIRun stored = run({QStringLiteral("responses"), document, QStringLiteral("Not found")});
    EXPECT_EQ(stored.out.count("404 Not Found"), together) << stored.out.constData();
    EXPECT_FALSE(QDir(folder.filePath(QStringLiteral("data/Trash"))).exists());
}

TEST_F(CLISendCommandTest, AResponseThatCannotBeRecordedFailsTheRun)
{
    ASSERT_EQ(run({QStringLiteral("send"), document, QStringLiteral("Not found")}).status, 0);
    QDirIterator stores(folder.filePath(QStringLiteral("data")), {QStringLiteral("Responses.sqlite")}, QDir::Files,
                        QDirIterator::Subdirectories);
    ASSERT_TRUE(stores.hasNext());
    const QString store = stores.next();
    for (const QString &suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")})
        QFile::remove(store + suffix);
    // Something that is no database and that SQLite cannot open either.
    ASSERT_TRUE(QDir().mkpath(store));

    HXCLIRun failed = run({QStringLiteral("send"), document, QStringLiteral("Not found")});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.out.contains("404 Not Found"));
    EXPECT_TRUE(failed.err.contains("the responses could not be recorded")) << failed.err.constData();
    EXPECT_TRUE(QFileInfo(store).isDir());
}

} // namespace

TEST_F(CLISendCommandTest, SentHeadersAreLearntAsCompletions)
{
    // The header value sent three times outranks the shipped values.
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(run({QStringLiteral("send"), document, QStringLiteral("Log in")}).status, 0);
    HXCLIRun values = run({QStringLiteral("complete"), QStringLiteral("HXCompletionCategoryHTTPRequestHeadersValue"),
                           QStringLiteral("--filter"), QStringLiteral("content-TYPE"), QStringLiteral("APPLICATION/")});
    EXPECT_EQ(values.status, 0) << values.err.constData();
    EXPECT_TRUE(values.out.startsWith("application/json\t4\tJSON body\n")) << values.out.constData();

    HXCLIRun names = run({QStringLiteral("complete"), QStringLiteral("HXCompletionCategoryHTTPRequestHeaders"),
                          QStringLiteral("content-t")});
    EXPECT_EQ(names.out, "Content-Type\t4\tMedia type of the request body\n");
    EXPECT_EQ(run({QStringLiteral("complete")}).status, 2);
}

namespace {

// The common JUnit report form as CI servers read it, written for this test:
// suites of test cases, each case with at most one of failure, error or
// skipped, then its output.
const char junitSchema[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema" elementFormDefault="qualified">
  <xs:simpleType name="count"><xs:restriction base="xs:nonNegativeInteger"/></xs:simpleType>
  <xs:simpleType name="seconds"><xs:restriction base="xs:decimal"><xs:minInclusive value="0"/></xs:restriction></xs:simpleType>
  <xs:complexType name="problem">
    <xs:simpleContent>
      <xs:extension base="xs:string">
        <xs:attribute name="message" type="xs:string"/>
        <xs:attribute name="type" type="xs:string"/>
      </xs:extension>
    </xs:simpleContent>
  </xs:complexType>
  <xs:element name="testsuites">
    <xs:complexType>
      <xs:sequence><xs:element ref="testsuite" minOccurs="0" maxOccurs="unbounded"/></xs:sequence>
      <xs:attribute name="name" type="xs:string"/>
      <xs:attribute name="tests" type="count"/>
      <xs:attribute name="failures" type="count"/>
      <xs:attribute name="errors" type="count"/>
      <xs:attribute name="skipped" type="count"/>
      <xs:attribute name="time" type="seconds"/>
    </xs:complexType>
  </xs:element>
  <xs:element name="testsuite">
    <xs:complexType>
      <xs:sequence>
        <xs:element name="testcase" minOccurs="0" maxOccurs="unbounded">
          <xs:complexType>
            <xs:sequence>
              <xs:choice minOccurs="0">
                <xs:element name="failure" type="problem"/>
                <xs:element name="error" type="problem"/>
                <xs:element name="skipped" type="problem"/>
              </xs:choice>
              <xs:element name="system-out" type="xs:string" minOccurs="0"/>
              <xs:element name="system-err" type="xs:string" minOccurs="0"/>
            </xs:sequence>
            <xs:attribute name="name" type="xs:string" use="required"/>
            <xs:attribute name="classname" type="xs:string" use="required"/>
            <xs:attribute name="time" type="seconds"/>
          </xs:complexType>
        </xs:element>
      </xs:sequence>
      <xs:attribute name="name" type="xs:string" use="required"/>
      <xs:attribute name="tests" type="count" use="required"/>
      <xs:attribute name="failures" type="count"/>
      <xs:attribute name="errors" type="count"/>
      <xs:attribute name="skipped" type="count"/>
      <xs:attribute name="time" type="seconds"/>
      <xs:attribute name="timestamp" type="xs:dateTime"/>
    </xs:complexType>
  </xs:element>
</xs:schema>
)";

bool validJUnit(const QByteArray &xml)
{
    xmlSchemaParserCtxtPtr parser = xmlSchemaNewMemParserCtxt(junitSchema, int(sizeof junitSchema - 1));
    xmlSchemaPtr schema = xmlSchemaParse(parser);
    xmlSchemaValidCtxtPtr validation = schema ? xmlSchemaNewValidCtxt(schema) : nullptr;
    xmlDocPtr document = xmlReadMemory(xml.constData(), int(xml.size()), "report.xml", nullptr, XML_PARSE_NONET);
    const bool valid = validation && document && xmlSchemaValidateDoc(validation, document) == 0;
    xmlFreeDoc(document);
    xmlSchemaFreeValidCtxt(validation);
    xmlSchemaFree(schema);
    xmlSchemaFreeParserCtxt(parser);
    return valid;
}

} // namespace

TEST_F(CLISendCommandTest, ReportsForContinuousIntegration)
{
    // The schema check itself refuses what CI servers would.
    EXPECT_FALSE(validJUnit("<testsuites><testsuite name=\"x\" tests=\"1\"><testcase name=\"a\"/></testsuite>"
                            "</testsuites>"));
    EXPECT_FALSE(validJUnit("<testsuites><testsuite name=\"x\" tests=\"1\"><testcase name=\"a\" classname=\"b\">"
                            "<failure/><error/></testcase></testsuite></testsuites>"));

    const QString junit = folder.filePath(QStringLiteral("report.xml"));
    const QString json = folder.filePath(QStringLiteral("report.json"));
    HXCLIRun sent = run({QStringLiteral("send"), document, QStringLiteral("Not found"), QStringLiteral("Log in"),
                         QStringLiteral("Forms/Post a form"), QStringLiteral("--fail"), QStringLiteral("--quiet"),
                         QStringLiteral("--report"), QStringLiteral("junit"), junit, QStringLiteral("--report"),
                         QStringLiteral("json"), json});
    EXPECT_EQ(sent.status, 1) << sent.err.constData();
    const QByteArray xml = HXTest::readFile(junit);
    EXPECT_TRUE(validJUnit(xml)) << xml.constData();
    EXPECT_TRUE(xml.contains("<testsuite name=\"demo.kea\" tests=\"3\" failures=\"1\" errors=\"0\" skipped=\"0\""))
        << xml.constData();
    EXPECT_TRUE(xml.contains("<testcase name=\"Not found\" classname=\"demo.kea\""));
    EXPECT_TRUE(xml.contains("<failure message=\"the response is HTTP/1.1 404 Not Found\" type=\"HTTPStatus\">"));
    EXPECT_TRUE(xml.contains("<testcase name=\"Post a form\" classname=\"Forms\""));

    const QJsonObject report = QJsonDocument::fromJson(HXTest::readFile(json)).object();
    EXPECT_EQ(report.value(QStringLiteral("tests")).toInt(), 3);
    EXPECT_EQ(report.value(QStringLiteral("failed")).toInt(), 1);
    const QJsonArray cases = report.value(QStringLiteral("requests")).toArray();
    ASSERT_EQ(cases.size(), 3);
    const QJsonObject notFound = cases.at(0).toObject();
    EXPECT_EQ(notFound.value(QStringLiteral("result")).toString(), QStringLiteral("failed"));
    EXPECT_EQ(notFound.value(QStringLiteral("status")).toInt(), 404);
    EXPECT_EQ(notFound.value(QStringLiteral("method")).toString(), QStringLiteral("GET"));
    const QJsonObject login = cases.at(1).toObject();
    EXPECT_EQ(login.value(QStringLiteral("folder")).toString(), QStringLiteral("Accounts"));
    EXPECT_EQ(login.value(QStringLiteral("result")).toString(), QStringLiteral("passed"));
    EXPECT_TRUE(login.value(QStringLiteral("failure")).isNull());

    // --bail: the first failure ends the run; the rest are skipped, unsent.
    HXCLIRun bailed = run({QStringLiteral("send"), document, QStringLiteral("Not found"), QStringLiteral("Log in"),
                           QStringLiteral("--fail"), QStringLiteral("--bail"), QStringLiteral("--quiet"),
                           QStringLiteral("--report"), QStringLiteral("junit"), junit});
    EXPECT_EQ(bailed.status, 1);
    EXPECT_EQ(bailed.out, QByteArray("Not found  HTTP/1.1 404 Not Found\n"));
    const QByteArray bailedXML = HXTest::readFile(junit);
    EXPECT_TRUE(validJUnit(bailedXML)) << bailedXML.constData();
    EXPECT_TRUE(bailedXML.contains("skipped=\"1\""));
    EXPECT_TRUE(bailedXML.contains("<skipped message=\"not sent: an earlier request failed (--bail)\"/>"));

    // --timeout overrides each request's own time limit for the run.
    ASSERT_EQ(run({QStringLiteral("add"), document, QStringLiteral("--name"), QStringLiteral("Slow"),
                   QStringLiteral("--url"), QStringLiteral("http://127.0.0.1:%1/delay/5").arg(port)})
                  .status,
              0);
    QElapsedTimer clock;
    clock.start();
    HXCLIRun slow = run({QStringLiteral("send"), document, QStringLiteral("Slow"), QStringLiteral("--timeout"),
                         QStringLiteral("0.5"), QStringLiteral("--report"), QStringLiteral("json"), json});
    EXPECT_LT(clock.elapsed(), 4000);
    EXPECT_EQ(slow.status, 1);
    const QJsonObject timedOut = QJsonDocument::fromJson(HXTest::readFile(json))
                                     .object()
                                     .value(QStringLiteral("requests"))
                                     .toArray()
                                     .at(0)
                                     .toObject();
    EXPECT_EQ(timedOut.value(QStringLiteral("result")).toString(), QStringLiteral("error"));
    EXPECT_FALSE(timedOut.value(QStringLiteral("failure")).toString().isEmpty());

    // Bad options are usage errors; a report that cannot be written fails the run.
    for (const QStringList &options : {QStringList{QStringLiteral("--timeout"), QStringLiteral("0")},
                                       QStringList{QStringLiteral("--timeout"), QStringLiteral("soon")},
                                       QStringList{QStringLiteral("--report"), QStringLiteral("xml"), junit}}) {
        EXPECT_EQ(run(QStringList{QStringLiteral("send"), document, QStringLiteral("Log in")} + options).status, 2)
            << options.join(u' ').toStdString();
    }
    HXCLIRun unwritable = run({QStringLiteral("send"), document, QStringLiteral("Log in"), QStringLiteral("--report"),
                               QStringLiteral("json"), folder.filePath(QStringLiteral("missing/report.json"))});
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_TRUE(unwritable.err.contains("the report could not be written")) << unwritable.err.constData();
}
