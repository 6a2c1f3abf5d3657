#pragma once

#include <QByteArray>
#include <QString>

#include <variant>

// What a dynamic value yields when evaluated: nothing, a string, or bytes.
// A value that fails yields nothing; it never reports an error.
//
//     HXDynamicResult evaluate() override { return QStringLiteral("abc"); }      // a string
//     HXDynamicResult evaluate() override { return fileBytes; }                  // bytes (QByteArray)
//     HXDynamicResult evaluate() override { return {}; }                         // nothing
class HXDynamicResult
{
public:
    HXDynamicResult() = default;
    HXDynamicResult(QString string) : m_value(std::move(string)) {}
    HXDynamicResult(QByteArray data) : m_value(std::move(data)) {}

    bool isNull() const { return m_value.index() == 0; }
    bool isString() const { return m_value.index() == 1; }
    bool isData() const { return m_value.index() == 2; }

    // The string (empty unless isString()).
    QString string() const { return isString() ? std::get<1>(m_value) : QString(); }
    // The bytes (empty unless isData()).
    QByteArray data() const { return isData() ? std::get<2>(m_value) : QByteArray(); }

    friend bool operator==(const HXDynamicResult &, const HXDynamicResult &) = default;

private:
    std::variant<std::monostate, QString, QByteArray> m_value;
};

// The class an evaluation is asked to produce.
enum class HXDynamicResultClass { String, Data };
