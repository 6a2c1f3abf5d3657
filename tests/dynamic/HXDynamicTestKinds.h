#pragma once

// Small dynamic value kinds used only by the tests of the base class, the
// dynamic strings and the engine, so that those tests do not depend on the
// real kinds.

#include "HXDynamicValue.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"

namespace HXDynamicTest {

// Counts evaluate() calls of the kinds below.
inline int &evaluationCount()
{
    static int count = 0;
    return count;
}

// "<" + input evaluated + ">"; one property of every stored type.
class EchoValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXTestEchoDynamicValue"); }
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override
    {
        static const QList<HXDynamicProperty> keys = {
            {QStringLiteral("input"), HXDynamicPropertyType::String},
            {QStringLiteral("count"), HXDynamicPropertyType::Integer},
            {QStringLiteral("flag"), HXDynamicPropertyType::Boolean},
            {QStringLiteral("ratio"), HXDynamicPropertyType::Double},
            {QStringLiteral("when"), HXDynamicPropertyType::Date},
            {QStringLiteral("blob"), HXDynamicPropertyType::Data},
            {QStringLiteral("rows"), HXDynamicPropertyType::KeyValueRows},
            {QStringLiteral("request"), HXDynamicPropertyType::Reference, QStringLiteral("HXRequest")},
        };
        return keys;
    }
    QString input() const { return stringValue(QStringLiteral("input")); }
    void setInput(const QString &input) { setValue(QStringLiteral("input"), input); }
    void registerDefaultValues() override
    {
        setValue(QStringLiteral("count"), 7);
        setValue(QStringLiteral("flag"), true);
    }
    HXDynamicResult evaluate() override
    {
        ++evaluationCount();
        return QString(u'<' + HXDynamicValueEngine::evaluateStringAsString(input()) + u'>');
    }
    QString displayString() const override
    {
        return QStringLiteral("Echo(") + HXDynamicValueEngine::displayStringFromString(input()) + u')';
    }
    std::optional<QVariantList> contentObjectsFor(const QString &property) const override
    {
        if (property == u"Count")
            return QVariantList{0, 1, 2, QStringLiteral("many")};
        if (property == u"X")
            return QVariantList{true};
        return std::nullopt;
    }
    std::optional<QString> localizedStringFor(const QString &property, const QVariant &object) const override
    {
        if (property != u"Count")
            return std::nullopt;
        static const QStringList names = {QStringLiteral("zero"), QStringLiteral("one"), QStringLiteral("two")};
        return names.value(object.toInt());
    }
};

// Returns its blob as bytes, or nothing when the blob is empty.
class BytesValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXTestBytesDynamicValue"); }
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override
    {
        static const QList<HXDynamicProperty> keys = {{QStringLiteral("blob"), HXDynamicPropertyType::Data}};
        return keys;
    }
    void setBlob(const QByteArray &blob) { setValue(QStringLiteral("blob"), blob); }
    HXDynamicResult evaluate() override
    {
        ++evaluationCount();
        const QByteArray blob = dataValue(QStringLiteral("blob"));
        return blob.isEmpty() ? HXDynamicResult() : HXDynamicResult(blob);
    }
    QString displayString() const override { return QStringLiteral("Bytes"); }
};

// A subclass of EchoValue, for the kind-of-class rules.
class LoudEchoValue : public EchoValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXTestLoudEchoDynamicValue"); }
    QString className() const override { return staticClassName(); }
    bool isKindOfClass(const QString &name) const override
    {
        return name == EchoValue::staticClassName() || HXDynamicValue::isKindOfClass(name);
    }
};

// Evaluates an equal copy of itself inside its own evaluation: "[" + the
// inner result + "]". The recursion guard makes the inner one give nothing.
class SelfValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXTestSelfDynamicValue"); }
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override
    {
        static const QList<HXDynamicProperty> keys = {{QStringLiteral("tag"), HXDynamicPropertyType::String}};
        return keys;
    }
    HXDynamicResult evaluate() override
    {
        ++evaluationCount();
        const HXDynamicResult inner =
            HXDynamicValueEngine::evaluateDynamicValue(copy(), HXDynamicResultClass::String, HXStringEncoding::UTF8);
        innerWasNothing = inner.isNull();
        return QString(u'[' + inner.string() + u']');
    }
    static inline bool innerWasNothing = false;
};

inline void registerTestKinds()
{
    HXDynamicValueCatalogue::registerKind<EchoValue>();
    HXDynamicValueCatalogue::registerKind<BytesValue>();
    HXDynamicValueCatalogue::registerKind<LoudEchoValue>();
    HXDynamicValueCatalogue::registerKind<SelfValue>();
}

// A stored dynamic string of text runs and tokens.
inline HXDynamicString dynamicString(std::initializer_list<std::variant<QString, HXDynamicValuePtr>> pieces)
{
    HXDynamicString string;
    for (const auto &piece : pieces) {
        if (const auto *text = std::get_if<QString>(&piece))
            string.append(*text);
        else
            string.appendDynamicValue(std::get<HXDynamicValuePtr>(piece));
    }
    return string;
}

inline std::shared_ptr<EchoValue> echo(const QString &input)
{
    auto value = HXDynamicValue::make<EchoValue>();
    value->setInput(input);
    return value;
}

} // namespace HXDynamicTest
