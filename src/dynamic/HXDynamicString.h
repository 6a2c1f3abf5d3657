#pragma once

#include "HXDynamicValue.h"
#include "HXStringEncoding.h"
#include "HXTextAttachment.h"

#include <QList>
#include <QMap>
#include <QString>

#include <functional>

// One component of a dynamic string met by enumerateComponentsWithBlock: a
// run of text (text set, attachment null), or one attachment character
// (text null; attachment the attachment found at that index, which may be
// null when the character carries none).
struct HXDynamicStringComponent
{
    QString text;
    const HXTextAttachment *attachment = nullptr;
    qsizetype location = 0;
    qsizetype length = 0;

    bool isText() const { return !text.isNull(); }
};

// A dynamic string in memory: text in which dynamic values stand as tokens.
// Each token is an object replacement character (U+FFFC) in the text with an
// HXTextAttachment at that index. A token counts as one character everywhere
// (lengths, ranges, parsers) and is never split, decoded or encoded.
//
// The stored form (one plain string) is made and read by
// HXDynamicValueEngine::archiveAttributedString / unarchiveAttributedString.
// A value type (copies are cheap: implicitly shared text, small map).
class HXDynamicString
{
public:
    static constexpr char16_t attachmentCharacter = 0xFFFC;

    HXDynamicString() = default;
    // Plain text. A U+FFFC inside it is an attachment character without an
    // attachment (it evaluates to nothing).
    explicit HXDynamicString(QString plainText) : m_text(std::move(plainText)) {}
    static HXDynamicString withAttachment(const HXTextAttachment &attachment);
    static HXDynamicString withDynamicValue(const HXDynamicValuePtr &value);

    // The text, with U+FFFC where tokens stand.
    const QString &string() const { return m_text; }
    qsizetype length() const { return m_text.size(); }
    bool isEmpty() const { return m_text.isEmpty(); }
    // The attachment at `index`, or null.
    const HXTextAttachment *attachmentAt(qsizetype index) const;
    const QMap<qsizetype, HXTextAttachment> &attachments() const { return m_attachments; }

    void append(const QString &text);
    void append(const HXDynamicString &other);
    void appendAttachment(const HXTextAttachment &attachment);
    void appendDynamicValue(const HXDynamicValuePtr &value);
    // The part from `position`, `length` characters long (-1: to the end),
    // attachments kept.
    HXDynamicString mid(qsizetype position, qsizetype length = -1) const;

    // Calls `block` once per component, in order; the block may set `stop`.
    void enumerateComponentsWithBlock(
        const std::function<void(const HXDynamicStringComponent &component, bool &stop)> &block) const;
    // True when `predicate` holds for some component. Text runs are offered
    // with a null value; each attachment with its dynamic value (null when it
    // has none).
    bool containsDynamicValue(const std::function<bool(const HXDynamicValuePtr &value)> &predicate) const;
    // The first attachment's dynamic value for which `predicate` holds.
    HXDynamicValuePtr
    firstDynamicValueMatching(const std::function<bool(const HXDynamicValuePtr &value)> &predicate) const;
    // The value when the string is exactly one attachment (and nothing else).
    HXDynamicValuePtr onlyDynamicValue() const;

    // Splits on a plain separator; tokens stay intact. An empty string gives
    // no pieces; otherwise the runs before each separator and the remainder
    // (always present, possibly empty).
    QList<HXDynamicString> componentsSeparatedByString(const QString &separator) const;
    // Percent-decodes (encodes) every text run in `encoding`; tokens are
    // copied through unchanged.
    HXDynamicString attributedStringByReplacingPercentEscapesUsingEncoding(HXStringEncoding encoding,
                                                                           bool usePlusForSpaces) const;
    HXDynamicString attributedStringByAddingPercentEscapeUsingEncoding(HXStringEncoding encoding,
                                                                       bool usePlusForSpaces) const;
    // Treats the string as a URL and sets the query parameter `name`: the
    // first parameter with that name gets `value`, or a new parameter is
    // appended. The part before "?" is kept.
    HXDynamicString attributedStringByAddingQueryParameter(const QString &name, const HXDynamicString &value) const;

    friend bool operator==(const HXDynamicString &, const HXDynamicString &) = default;

private:
    QString m_text;
    QMap<qsizetype, HXTextAttachment> m_attachments;
};

Q_DECLARE_METATYPE(HXDynamicString)
