#pragma once

#include "HXResponseDynamicValue.h"

// A value inside the referenced request's latest response body (JSON, XML or form URL-encoded), found by a key path
// such as \"data.items[0].id\".
class HXResponseBodyPathDynamicValue : public HXResponseDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXResponseBodyPathDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }

    enum Format { FormatAutomatic = 0, FormatJSON = 1, FormatXML = 2, FormatFormURLEncoded = 3 };
    QString keyPath() const { return stringValue(QStringLiteral("keyPath")); }
    void setKeyPath(const QString &archived) { setValue(QStringLiteral("keyPath"), archived); }
    quint32 format() const { return quint32(integerValue(QStringLiteral("format"))); }
    void setFormat(quint32 format) { setValue(QStringLiteral("format"), qint64(format)); }
    std::optional<QVariantList> contentObjectsFor(const QString &property) const override;
    std::optional<QString> localizedStringFor(const QString &property, const QVariant &object) const override;
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;
    HXDynamicResult evaluate() override;
    QString displayString() const override;
};
