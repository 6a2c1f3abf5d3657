#pragma once

#include "HXDynamicValue.h"

#include <optional>

// A timestamp: the time of evaluation (or a fixed date) plus a delta,
// formatted as a custom strftime pattern, epoch seconds, RFC 1123 or
// ISO 8601. Always English and UTC, whatever the user's locale and zone.
class HXTimestampDynamicValue : public HXDynamicValue
{
public:
    enum Format : quint32 {
        FormatCustom = 0,
        FormatEpochTime = 1,
        FormatRFC1123 = 2,
        FormatISO8601 = 3,
    };

    static QString staticClassName() { return QStringLiteral("HXTimestampDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    quint32 format() const { return quint32(integerValue(QStringLiteral("format"))); }
    void setFormat(quint32 format) { setValue(QStringLiteral("format"), qint64(format)); }
    QString customFormat() const { return stringValue(QStringLiteral("customFormat")); }
    void setCustomFormat(const QString &pattern) { setValue(QStringLiteral("customFormat"), pattern); }
    bool now() const { return boolValue(QStringLiteral("now")); }
    void setNow(bool now) { setValue(QStringLiteral("now"), now); }
    QDateTime date() const { return dateValue(QStringLiteral("date")); }
    void setDate(const QDateTime &date) { setValue(QStringLiteral("date"), date); }
    double delta() const { return doubleValue(QStringLiteral("delta")); }
    void setDelta(double seconds) { setValue(QStringLiteral("delta"), seconds); }
    bool useTSeparator() const { return boolValue(QStringLiteral("useTSeparator")); }
    void setUseTSeparator(bool use) { setValue(QStringLiteral("useTSeparator"), use); }
    bool useZForUTC() const { return boolValue(QStringLiteral("useZForUTC")); }
    void setUseZForUTC(bool use) { setValue(QStringLiteral("useZForUTC"), use); }

    void registerDefaultValues() override;
    HXDynamicResult evaluate() override;
    QString displayString() const override;
    // The editor's secondary text: the format's label, or the custom pattern.
    QString secondaryDisplayString() const;

    std::optional<QVariantList> contentObjectsFor(const QString &property) const override;
    std::optional<QString> localizedStringFor(const QString &property, const QVariant &object) const override;

    // Formats `secondsSince1970` (UTC); nothing for an unknown format or a
    // time that cannot be broken down into a calendar date.
    static std::optional<QString> formattedTimestamp(double secondsSince1970, quint32 format,
                                                     const QString &customFormat, bool useTSeparator, bool useZForUTC);

    // The archived dynamic string of a fresh timestamp in RFC 1123 format:
    // the default value of a "Date" header.
    static QString archivedDefaultDateHeaderValue();
};
