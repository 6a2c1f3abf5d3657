#pragma once

#include <QString>

#include <optional>

class HXDynamicString;

// One word offered as a completion in the request editors. Entries belong to
// the completion store, which alone changes them.
class HXCompletionEntry
{
public:
    QString word() const { return m_word; }
    // The archived rich form inserted when chosen (may hold dynamic values);
    // empty when the entry has only its plain word.
    QString attributedWord() const { return m_attributedWord; }
    QString category() const { return m_category; }
    std::optional<QString> filter() const { return m_filter; }
    std::optional<QString> desc() const { return m_desc; }
    quint64 weight() const { return m_weight; }
    bool isUserGenerated() const { return m_isUserGenerated; }

    QString stringValue() const { return m_word; }
    QString comment() const { return m_desc.value_or(QString()); }
    // The rich form, or the plain word when there is none.
    HXDynamicString attributedStringValue() const;

private:
    friend class HXCompletionManager;

    QString m_word;
    QString m_attributedWord;
    QString m_category;
    std::optional<QString> m_filter;
    std::optional<QString> m_desc;
    quint64 m_weight = 1;
    bool m_isUserGenerated = false;

    qint64 m_rowId = 0;  // 0 until written
    bool m_dirty = true; // changed since last written
};
