#include "HXJSONOutput.h"
#include "HXJSONParser.h"
#include "HXJSONString.h"
#include "HXJSONTestText.h"
#include "HXTestSupport.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

// The public JSONTestSuite corpus: y_ files must be accepted, n_ files
// rejected, and i_ files are up to the implementation. The parser is lenient,
// so here the y_ files must print back and give the right plain values, and
// every file must be handled quickly and safely.

namespace {

// Plain values compared with Qt's own JSON reader: numbers by value, and our
// keys (kept as written) after resolving their escapes.
bool samePlainValue(const QVariant &ours, const QVariant &reference, QString &why)
{
    const QMetaType type = reference.metaType();
    if (type == QMetaType::fromType<QVariantList>()) {
        const QVariantList a = ours.toList();
        const QVariantList b = reference.toList();
        if (ours.metaType() != type || a.size() != b.size()) {
            why = QStringLiteral("list differs");
            return false;
        }
        for (qsizetype i = 0; i < a.size(); ++i) {
            if (!samePlainValue(a[i], b[i], why))
                return false;
        }
        return true;
    }
    if (type == QMetaType::fromType<QVariantMap>()) {
        const QVariantMap a = ours.toMap();
        const QVariantMap b = reference.toMap();
        QVariantMap resolved;
        for (auto it = a.cbegin(); it != a.cend(); ++it)
            resolved.insert(
                HXJSONString::unescapedJSONStringWithRange(it.key(), {0, it.key().size()}).value_or(QString()),
                it.value());
        if (ours.metaType() != type || resolved.keys() != b.keys()) {
            why = QStringLiteral("keys differ");
            return false;
        }
        for (auto it = b.cbegin(); it != b.cend(); ++it) {
            if (!samePlainValue(resolved.value(it.key()), it.value(), why))
                return false;
        }
        return true;
    }
    if (type == QMetaType::fromType<double>() || type == QMetaType::fromType<qlonglong>()) {
        bool ok = false;
        const double a = ours.toDouble(&ok);
        const double b = reference.toDouble();
        if (!ok || !(a == b || std::abs(a - b) <= 1e-12 * std::abs(b))) {
            why = QStringLiteral("number %1 vs %2").arg(ours.toString(), reference.toString());
            return false;
        }
        return true;
    }
    if (ours.metaType() != type || ours != reference) {
        why = QStringLiteral("value %1 vs %2").arg(ours.toString(), reference.toString());
        return false;
    }
    return true;
}

// CPU time of this thread in milliseconds: a busy machine does not make a
// file look slow.
qint64 threadMilliseconds()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

QStringList corpusFiles(const QString &prefix)
{
    const QString folder = HXTest::testDataPath(QStringLiteral("JSONTestSuite/test_parsing"));
    if (folder.isEmpty())
        return {};
    QStringList files;
    const QDir dir(folder);
    for (const QString &name : dir.entryList({prefix + QStringLiteral("*.json")}, QDir::Files, QDir::Name))
        files.append(dir.filePath(name));
    return files;
}

} // namespace

TEST(HXJSONTestSuiteTest, AcceptedFilesPrintBackAndGiveTheirValues)
{
    const QStringList files = corpusFiles(QStringLiteral("y_"));
    if (files.isEmpty())
        GTEST_SKIP() << "JSONTestSuite/test_parsing is not beside the repository";
    for (const QString &path : files) {
        SCOPED_TRACE(path.toStdString());
        const QByteArray text = HXTest::readFile(path);
        auto parser = HXJSONParser::fromUtf8(text);
        const auto root = parser->parseWithError();
        ASSERT_TRUE(root);
        EXPECT_TRUE(parser->isWellFormed());
        HXJSONOutput output;
        ASSERT_TRUE(parser->printRoot(output));
        EXPECT_EQ(output.takeBytes(), HXJSONWithoutWhitespace(text));

        // Qt reads only containers at the top level: wrap the text in one.
        QJsonParseError error;
        const QJsonDocument reference = QJsonDocument::fromJson("[" + text + "]", &error);
        ASSERT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString();
        QString why;
        EXPECT_TRUE(samePlainValue(root->cfObject(), reference.array().toVariantList().value(0), why))
            << why.toStdString();
    }
}

TEST(HXJSONTestSuiteTest, RejectedAndUndecidedFilesAreHandledSafely)
{
    const QStringList files = corpusFiles(QStringLiteral("n_")) + corpusFiles(QStringLiteral("i_"));
    if (files.isEmpty())
        GTEST_SKIP() << "JSONTestSuite/test_parsing is not beside the repository";
    for (const QString &path : files) {
        SCOPED_TRACE(path.toStdString());
        const qint64 started = threadMilliseconds();
        const QByteArray text = HXTest::readFile(path);
        auto parser = HXJSONParser::fromUtf8(text);
        parser->printer().setNewlines(true);
        parser->printer().setIndentString(QStringLiteral("  "));
        parser->printer().setSortDictKeys(true);
        parser->printer().setStringOptions(0x11);
        if (const auto root = parser->parseWithError()) {
            EXPECT_LE(root->range().end(), parser->string().size());
            HXJSONOutput output;
            EXPECT_TRUE(parser->printRoot(output));
            (void)root->cfObject();
        }
        EXPECT_LT(threadMilliseconds() - started, 1000);
    }
}
