#include "HXTimestampDynamicValue.h"

#include "HXDynamicValueCatalogue.h"

#include <QCoreApplication>

#include <clocale>
#include <cmath>
#include <ctime>
#include <locale.h>

namespace {

// Breaks `seconds` down as Greenwich time, dropping the fraction either
// towards zero (as a C cast does) or downwards; false when out of range.
enum class Rounding { TowardsZero, Down };
bool brokenDownUTC(double seconds, Rounding rounding, std::tm &out)
{
    // About 30 million years either way: well inside what gmtime_r and the
    // int year of std::tm can represent.
    if (!std::isfinite(seconds) || std::fabs(seconds) > 1e15)
        return false;
    const auto whole = static_cast<std::time_t>(rounding == Rounding::Down ? std::floor(seconds) : std::trunc(seconds));
    return gmtime_r(&whole, &out) != nullptr;
}

// strftime in the "C" locale, so names and numbers do not follow the user's
// locale. The pattern is taken as ASCII; the output buffer holds 4096 bytes.
QString formatWithStrftime(const QString &pattern, const std::tm &time)
{
    QByteArray ascii(pattern.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < pattern.size(); ++i) {
        const char16_t c = pattern.at(i).unicode();
        ascii[i] = c < 0x80 ? char(c) : '?';
    }
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
    char buffer[4096];
    const size_t length = cLocale ? strftime_l(buffer, sizeof buffer, ascii.constData(), &time, cLocale)
                                  : strftime(buffer, sizeof buffer, ascii.constData(), &time);
    return QString::fromLatin1(buffer, qsizetype(length));
}

QString rfc1123(const std::tm &time)
{
    static constexpr const char *days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr const char *months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const long long year = static_cast<long long>(time.tm_year) + 1900;
    return QStringLiteral("%1, %2 %3 %4 %5:%6:%7 GMT")
        .arg(QLatin1String(days[time.tm_wday % 7]))
        .arg(time.tm_mday, 2, 10, QLatin1Char('0'))
        .arg(QLatin1String(months[time.tm_mon % 12]))
        .arg(year, 4, 10, QLatin1Char('0'))
        .arg(time.tm_hour, 2, 10, QLatin1Char('0'))
        .arg(time.tm_min, 2, 10, QLatin1Char('0'))
        .arg(time.tm_sec, 2, 10, QLatin1Char('0'));
}

const char *const formatLabels[] = {
    QT_TRANSLATE_NOOP("HXTimestampDynamicValue", "Custom formatting"),
    QT_TRANSLATE_NOOP("HXTimestampDynamicValue", "Epoch Time"),
    QT_TRANSLATE_NOOP("HXTimestampDynamicValue", "RFC 1123"),
    QT_TRANSLATE_NOOP("HXTimestampDynamicValue", "ISO 8601"),
};

} // namespace

void HXTimestampDynamicValue::registerKind()
{
    HXDynamicValueCatalogue::registerKind<HXTimestampDynamicValue>();
}

const QList<HXDynamicProperty> &HXTimestampDynamicValue::dynamicKeyPaths() const
{
    static const QList<HXDynamicProperty> keys = {
        {QStringLiteral("format"), HXDynamicPropertyType::Integer},
        {QStringLiteral("customFormat"), HXDynamicPropertyType::String},
        {QStringLiteral("now"), HXDynamicPropertyType::Boolean},
        {QStringLiteral("date"), HXDynamicPropertyType::Date},
        {QStringLiteral("delta"), HXDynamicPropertyType::Double},
        {QStringLiteral("useTSeparator"), HXDynamicPropertyType::Boolean},
        {QStringLiteral("useZForUTC"), HXDynamicPropertyType::Boolean},
    };
    return keys;
}

void HXTimestampDynamicValue::registerDefaultValues()
{
    setFormat(FormatRFC1123);
    setCustomFormat(QString());
    setNow(true);
    setDate(QDateTime::currentDateTimeUtc());
    setDelta(0.0);
    setUseTSeparator(true);
    setUseZForUTC(false);
}

std::optional<QString> HXTimestampDynamicValue::formattedTimestamp(double secondsSince1970, quint32 format,
                                                                   const QString &customFormat, bool useTSeparator,
                                                                   bool useZForUTC)
{
    // strftime formats see the time truncated to whole seconds; the other
    // formats round down.
    const Rounding rounding =
        format == FormatCustom || format == FormatISO8601 ? Rounding::TowardsZero : Rounding::Down;
    std::tm time{};
    if (!brokenDownUTC(secondsSince1970, rounding, time))
        return std::nullopt;
    switch (format) {
    case FormatCustom:
        return formatWithStrftime(customFormat, time);
    case FormatEpochTime:
        return QString::number(static_cast<long long>(std::floor(secondsSince1970)));
    case FormatRFC1123:
        return rfc1123(time);
    case FormatISO8601: {
        const QString pattern = QLatin1String("%Y-%m-%d") + (useTSeparator ? u'T' : u' ') + QLatin1String("%H:%M:%S") +
                                (useZForUTC ? QStringLiteral("Z") : QStringLiteral("+0000"));
        return formatWithStrftime(pattern, time);
    }
    default:
        return std::nullopt;
    }
}

HXDynamicResult HXTimestampDynamicValue::evaluate()
{
    double seconds = 0;
    if (now()) {
        seconds = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    } else {
        const QDateTime fixed = date();
        if (!fixed.isValid())
            return {};
        seconds = double(fixed.toMSecsSinceEpoch()) / 1000.0;
    }
    seconds += delta();
    const std::optional<QString> text =
        formattedTimestamp(seconds, format(), customFormat(), useTSeparator(), useZForUTC());
    if (!text)
        return {};
    return *text;
}

QString HXTimestampDynamicValue::displayString() const
{
    return localizedName();
}

QString HXTimestampDynamicValue::secondaryDisplayString() const
{
    if (format() == FormatCustom)
        return customFormat();
    return localizedStringFor(QStringLiteral("Format"), qint64(format())).value_or(QString());
}

std::optional<QVariantList> HXTimestampDynamicValue::contentObjectsFor(const QString &property) const
{
    if (property != QLatin1String("Format"))
        return std::nullopt;
    QVariantList objects;
    for (qint64 i = 0; i < qint64(std::size(formatLabels)); ++i)
        objects.append(i);
    return objects;
}

std::optional<QString> HXTimestampDynamicValue::localizedStringFor(const QString &property,
                                                                   const QVariant &object) const
{
    if (property != QLatin1String("Format"))
        return std::nullopt;
    bool ok = false;
    const qint64 number = object.toLongLong(&ok);
    if (!ok || number < 0 || number >= qint64(std::size(formatLabels)))
        return QString();
    return QCoreApplication::translate("HXTimestampDynamicValue", formatLabels[number]);
}

QString HXTimestampDynamicValue::archivedDefaultDateHeaderValue()
{
    auto value = HXDynamicValue::make<HXTimestampDynamicValue>();
    value->setFormat(FormatRFC1123);
    return value->archivedString();
}
