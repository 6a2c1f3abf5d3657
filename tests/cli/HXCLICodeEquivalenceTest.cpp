#include "HXCLITestRunner.h"
#include "HXTestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <iostream>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// The code kea-cli generates, run by the real tools against the echo
// service, sends what Kea itself sends: the same method, target, body bytes,
// and the request's own headers (and Content-Type) in the same order. Headers
// a tool adds by itself (Host, User-Agent, Accept...) are not compared.

namespace {

struct Echoed
{
    QString method;
    QString target;
    QByteArray body;
    QStringList headers; // "name: value" of the compared names, in order
};

// The echo service's answer in what a run printed (tools print a status line
// or nothing before it).
std::optional<Echoed> echoed(const QByteArray &output, const QStringList &comparedNames)
{
    const qsizetype start = output.indexOf('{');
    const qsizetype end = output.lastIndexOf('}');
    if (start < 0 || end < start)
        return std::nullopt;
    const QJsonObject object = QJsonDocument::fromJson(output.mid(start, end - start + 1)).object();
    if (object.isEmpty())
        return std::nullopt;
    Echoed result{object.value("method"_L1).toString(), object.value("target"_L1).toString(), {}, {}};
    result.body = object.value("bodyEncoding"_L1).toString() == "base64"_L1
                      ? QByteArray::fromBase64(object.value("body"_L1).toString().toLatin1())
                      : object.value("body"_L1).toString().toUtf8();
    for (const QJsonValue &header : object.value("headers"_L1).toArray()) {
        const QString name = header.toObject().value("name"_L1).toString();
        if (comparedNames.contains(name, Qt::CaseInsensitive))
            result.headers.append(name.toLower() + ": "_L1 + header.toObject().value("value"_L1).toString());
    }
    return result;
}

struct Case
{
    QString name;
    QStringList addOptions;
    QStringList headerNames;
    QStringList notWith = {}; // tools that are known to send it otherwise
};

struct Tool
{
    QString language;
    QString program; // runs the generated file
    QString missing; // why the tool cannot run here, empty when it can
    // Headers the tool puts where its own defaults stand: their values are
    // compared, not their place.
    QStringList placedByTool = {};
};

// The headers without those named, and those named sorted.
QPair<QStringList, QStringList> splitHeaders(const QStringList &headers, const QStringList &names)
{
    QPair<QStringList, QStringList> split;
    for (const QString &header : headers)
        (names.contains(header.section(u':', 0, 0), Qt::CaseInsensitive) ? split.second : split.first).append(header);
    split.second.sort();
    return split;
}

QString missingReason(const QString &program, const QStringList &check)
{
    if (QStandardPaths::findExecutable(program).isEmpty())
        return program + " is not installed"_L1;
    QProcess process;
    process.start(program, check);
    if (!process.waitForFinished(20000) || process.exitCode() != 0)
        return program + u' ' + check.join(u' ') + " failed"_L1;
    return {};
}

class CLICodeEquivalenceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        echo.start(QStringLiteral(KEA_CLI_PATH), {u"echo"_s, u"--port"_s, u"0"_s});
        QByteArray line;
        ASSERT_TRUE(HXTest::waitUntil(
            [&] {
                echo.waitForReadyRead(50);
                line += echo.readAllStandardOutput();
                return line.endsWith('\n') || echo.state() == QProcess::NotRunning;
            },
            10000));
        base = "http://127.0.0.1:"_L1 + QString::fromLatin1(line.mid(line.lastIndexOf(':') + 1).trimmed());
        file = folder.filePath(u"code.kea"_s);
        ASSERT_EQ(HXRunCLI({u"new"_s, file}).status, 0);
    }
    void TearDown() override
    {
        echo.kill();
        echo.waitForFinished();
    }

    QProcess echo;
    QTemporaryDir folder;
    QString base;
    QString file;
};

TEST_F(CLICodeEquivalenceTest, GeneratedProgramsSendWhatKeaSends)
{
    const QList<Case> cases = {
        {u"Post JSON"_s,
         {u"--method"_s, u"POST"_s, u"--url"_s, u"/items?q=a%20b&x=1"_s, u"--header"_s, u"X-Request-Id: 42"_s,
          u"--header"_s, u"Content-Type: application/json"_s, u"--header"_s, u"X-Quote: it's \"q\" $HOME `x` \\ end"_s,
          u"--body"_s, u"{\"name\": \"Zo\u00EB\", \"n\": 1}\n"_s},
         {u"X-Request-Id"_s, u"Content-Type"_s, u"X-Quote"_s}},
        // Control characters, quotes and a percent sign in a body without a
        // Content-Type, which no tool may invent.
        {u"Put controls"_s,
         {u"--method"_s, u"PUT"_s, u"--url"_s, u"/upload"_s, u"--header"_s, u"X-Order: 1"_s, u"--body"_s,
          // The stored form, as --body @... would read a file.
          QString::fromUtf8(
              QJsonDocument(QJsonArray{u"@start \x01\x1b%s \\' \"\tline\r\n"_s}).toJson(QJsonDocument::Compact))},
         {u"X-Order"_s, u"Content-Type"_s}},
        {u"Get brackets"_s,
         {u"--url"_s, u"/search?tag=[a]&b={c}"_s, u"--header"_s, u"X-Empty: "_s, u"--header"_s, u"X-Last: z"_s},
         {u"X-Empty"_s, u"X-Last"_s, u"Content-Type"_s},
         // requests percent-encodes the brackets.
         {u"httpie"_s, u"python"_s}},
    };
    const QList<Tool> tools = {
        {u"curl"_s, u"bash"_s, missingReason(u"curl"_s, {u"--version"_s})},
        {u"httpie"_s, u"bash"_s, missingReason(u"http"_s, {u"--version"_s}), {u"Content-Type"_s, u"Accept"_s}},
        {u"python"_s, u"python3"_s, missingReason(u"python3"_s, {u"-c"_s, u"import requests"_s})},
    };

    for (const Case &test : cases) {
        QStringList add = {u"add"_s, file, u"--name"_s, test.name};
        for (const QString &option : test.addOptions)
            add.append(option.startsWith(u'/') ? base + option : option);
        ASSERT_EQ(HXRunCLI(add).status, 0) << test.name.toStdString();
        const HXCLIRun sent = HXRunCLI({u"send"_s, file, test.name});
        ASSERT_EQ(sent.status, 0) << sent.err.constData();
        const auto expected = echoed(sent.out, test.headerNames);
        ASSERT_TRUE(expected) << sent.out.constData();

        for (const Tool &tool : tools) {
            SCOPED_TRACE(QString(test.name + " with "_L1 + tool.language).toStdString());
            if (test.notWith.contains(tool.language))
                continue;
            if (!tool.missing.isEmpty()) {
                std::cout << "[  NOTE    ] " << tool.language.toStdString()
                          << " not run: " << tool.missing.toStdString() << '\n';
                continue;
            }
            const HXCLIRun code = HXRunCLI({u"code"_s, file, test.name, u"--lang"_s, tool.language});
            ASSERT_EQ(code.status, 0) << code.err.constData();
            const QString program = folder.filePath(tool.language + ".txt"_L1);
            ASSERT_TRUE(HXTest::writeFile(program, code.out));
            QProcess run;
            run.start(tool.program, {program});
            ASSERT_TRUE(run.waitForFinished(30000));
            const QByteArray output = run.readAllStandardOutput();
            const auto actual = echoed(output, test.headerNames);
            ASSERT_TRUE(actual) << code.out.constData() << "\n"
                                << output.constData() << run.readAllStandardError().constData();
            EXPECT_EQ(actual->method, expected->method);
            EXPECT_EQ(actual->target, expected->target);
            EXPECT_EQ(splitHeaders(actual->headers, tool.placedByTool),
                      splitHeaders(expected->headers, tool.placedByTool))
                << code.out.constData();
            EXPECT_EQ(actual->body, expected->body) << code.out.constData();
        }
    }
}

// HAR export: each stored response with the request that was sent.
TEST_F(CLICodeEquivalenceTest, HARExportHoldsStoredResponsesWithTheirRequests)
{
    ASSERT_EQ(HXRunCLI({u"add"_s, file, u"--name"_s, u"Teapot"_s, u"--url"_s, base + u"/status/418?x=1"_s,
                        u"--header"_s, u"X-Kind: tea"_s})
                  .status,
              0);
    ASSERT_EQ(HXRunCLI({u"send"_s, file, u"Teapot"_s}).status, 0);
    const HXCLIRun exported = HXRunCLI({u"export"_s, file, u"--format"_s, u"har"_s});
    ASSERT_EQ(exported.status, 0) << exported.err.constData();
    const QJsonObject log = QJsonDocument::fromJson(exported.out).object().value("log"_L1).toObject();
    EXPECT_EQ(log.value("version"_L1).toString(), u"1.2"_s);
    const QJsonArray entries = log.value("entries"_L1).toArray();
    ASSERT_EQ(entries.size(), 1) << exported.out.constData();
    const QJsonObject entry = entries.first().toObject();
    EXPECT_EQ(entry.value("request"_L1).toObject().value("url"_L1).toString(), base + u"/status/418?x=1"_s);
    EXPECT_EQ(entry.value("request"_L1).toObject().value("headers"_L1).toArray().first().toObject().value("value"_L1),
              u"tea"_s);
    EXPECT_EQ(entry.value("response"_L1).toObject().value("status"_L1).toInt(), 418);
    EXPECT_TRUE(entry.value("response"_L1)
                    .toObject()
                    .value("content"_L1)
                    .toObject()
                    .value("text"_L1)
                    .toString()
                    .contains(u"/status/418"_s));
}

} // namespace
