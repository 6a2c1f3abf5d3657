#include "HXTimestampDynamicValue.h"
#include "HXDynamicValueContext.h"
#include "HXEncodingValueTestSupport.h"

#include <QLocale>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

using namespace HXEncodingValueTest;

namespace {

// 1994-11-06 08:49:37 UTC, a Sunday.
const QDateTime sampleDate = QDateTime(QDate(1994, 11, 6), QTime(8, 49, 37), QTimeZone::utc());

std::shared_ptr<HXTimestampDynamicValue> fixedTimestamp(quint32 format, const QDateTime &date = sampleDate)
{
    auto timestamp = HXDynamicValue::make<HXTimestampDynamicValue>();
    timestamp->setFormat(format);
    timestamp->setNow(false);
    timestamp->setDate(date);
    return timestamp;
}

// Switches the process to a German locale and a far-away zone for the
// duration of a test, to prove the output depends on neither.
class ForeignLocale
{
public:
    ForeignLocale() : m_previousLocale(QLocale())
    {
        m_previousTZ = qgetenv("TZ");
        qputenv("TZ", "Pacific/Kiritimati");
        tzset();
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        std::setlocale(LC_ALL, "de_DE.UTF-8");
    }
    ~ForeignLocale()
    {
        std::setlocale(LC_ALL, "C");
        QLocale::setDefault(m_previousLocale);
        if (m_previousTZ.isNull())
            qunsetenv("TZ");
        else
            qputenv("TZ", m_previousTZ);
        tzset();
    }

private:
    QLocale m_previousLocale;
    QByteArray m_previousTZ;
};

} // namespace

TEST(HXTimestampDynamicValue, FormatsInEnglishAndUTCWhateverTheLocale)
{
    ForeignLocale foreign;
    EXPECT_EQ(evaluatedString(fixedTimestamp(2)), QStringLiteral("Sun, 06 Nov 1994 08:49:37 GMT"));
    EXPECT_EQ(evaluatedString(fixedTimestamp(1)), QStringLiteral("784111777"));
    EXPECT_EQ(evaluatedString(fixedTimestamp(3)), QStringLiteral("1994-11-06T08:49:37+0000"));

    auto custom = fixedTimestamp(0);
    custom->setCustomFormat(QStringLiteral("%A %d %B %Y, %H:%M:%S %Z (%j)"));
    EXPECT_EQ(evaluatedString(custom), QStringLiteral("Sunday 06 November 1994, 08:49:37 GMT (310)"));
}

TEST(HXTimestampDynamicValue, ISOFlagsDeltaAndNegativeTimes)
{
    auto iso = fixedTimestamp(3);
    iso->setUseTSeparator(false);
    iso->setUseZForUTC(true);
    EXPECT_EQ(evaluatedString(iso), QStringLiteral("1994-11-06 08:49:37Z"));

    // Epoch time rounds down: 10 s after 1970 minus 20 s is -10.
    auto epoch = fixedTimestamp(1, QDateTime::fromSecsSinceEpoch(10, QTimeZone::utc()));
    epoch->setDelta(-20);
    EXPECT_EQ(evaluatedString(epoch), QStringLiteral("-10"));
    epoch->setDelta(-10.5);
    EXPECT_EQ(evaluatedString(epoch), QStringLiteral("-1"));

    auto rfc = fixedTimestamp(2);
    rfc->setDelta(86400 * 366 + 0.9);
    EXPECT_EQ(evaluatedString(rfc), QStringLiteral("Tue, 07 Nov 1995 08:49:37 GMT"));

    auto before1970 = fixedTimestamp(2, QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59), QTimeZone::utc()));
    EXPECT_EQ(evaluatedString(before1970), QStringLiteral("Wed, 31 Dec 1969 23:59:59 GMT"));
}

TEST(HXTimestampDynamicValue, CustomPatternEdges)
{
    auto custom = fixedTimestamp(0);
    // Non-ASCII pattern characters are not passed to strftime as they are.
    custom->setCustomFormat(QStringLiteral("%Y\u00e9%%"));
    EXPECT_EQ(evaluatedString(custom), QStringLiteral("1994?%"));
    custom->setCustomFormat(QString());
    EXPECT_EQ(evaluatedString(custom), QString());
    // Output longer than the buffer gives nothing rather than a cut text.
    custom->setCustomFormat(QStringLiteral("%Y").repeated(2000));
    EXPECT_EQ(evaluatedString(custom), QString());
}

TEST(HXTimestampDynamicValue, UnknownFormatsAndUnrepresentableTimesGiveNothing)
{
    EXPECT_EQ(HXTimestampDynamicValue::formattedTimestamp(0, 4, QString(), true, false), std::nullopt);
    EXPECT_EQ(HXTimestampDynamicValue::formattedTimestamp(1e300, 2, QString(), true, false), std::nullopt);
    EXPECT_EQ(HXTimestampDynamicValue::formattedTimestamp(std::nan(""), 1, QString(), true, false), std::nullopt);
    // A fixed time that was never stored.
    auto bare = fixedTimestamp(2);
    bare->setValue(QStringLiteral("date"), QVariant());
    EXPECT_EQ(evaluatedString(bare), QString());
}

TEST(HXTimestampDynamicValue, NowIsTheTimeOfEvaluationAndOnePerPass)
{
    auto timestamp = HXDynamicValue::make<HXTimestampDynamicValue>();
    timestamp->setFormat(1);
    timestamp->setDelta(3600);
    const qint64 expected = QDateTime::currentSecsSinceEpoch() + 3600;
    EXPECT_NEAR(evaluatedString(timestamp).toLongLong(), expected, 2);

    // Two equal tokens in one pass give one text.
    timestamp->setFormat(0);
    timestamp->setCustomFormat(QStringLiteral("%H:%M:%S"));
    const QString twice = archived({HXDynamicValuePtr(timestamp), QStringLiteral("|"), timestamp->copy()});
    QStringList parts;
    inPass(HXStringEncoding::UTF8, [&] { parts = HXDynamicValueEngine::evaluateStringAsString(twice).split(u'|'); });
    ASSERT_EQ(parts.size(), 2);
    EXPECT_EQ(parts.at(0), parts.at(1));
}

TEST(HXTimestampDynamicValue, DefaultDateHeaderValue)
{
    const HXDynamicString stored =
        HXDynamicValueEngine::unarchiveAttributedString(HXTimestampDynamicValue::archivedDefaultDateHeaderValue());
    const auto timestamp = std::dynamic_pointer_cast<HXTimestampDynamicValue>(stored.onlyDynamicValue());
    ASSERT_TRUE(timestamp);
    EXPECT_EQ(timestamp->format(), 2u);
    EXPECT_TRUE(timestamp->now());
    EXPECT_TRUE(HXDynamicValueEngine::evaluateStringAsString(HXTimestampDynamicValue::archivedDefaultDateHeaderValue())
                    .endsWith(QLatin1String(" GMT")));
}
