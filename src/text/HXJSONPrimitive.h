#pragma once

#include "HXJSONItem.h"

// A string value, number, true, false or null.
class HXJSONPrimitive : public HXJSONItem
{
public:
    enum PrimitiveType : int {
        String = 0,
        Number = 1,
        True = 2,
        False = 3,
        Null = 4,
    };

    HXJSONPrimitive(std::shared_ptr<const HXJSONTree> tree, qint32 index);

    // The plain value: the unescaped string (none when an escape is
    // invalid), the number (qlonglong when integral and in range, else
    // double; none when it cannot be read), true, false, or null.
    QVariant value() const { return m_value; }
    PrimitiveType primitiveType() const { return m_type; }

    QVariant cfObject() const override { return m_value; }
    using HXJSONItem::appendJSONString;
    void appendJSONString(HXJSONOutput &output, const HXJSONParser &parser, int level) const override;

    // The number a token's text stands for, or none.
    static QVariant numberFromText(QByteArrayView text);

private:
    PrimitiveType m_type = String;
    QVariant m_value;
};
