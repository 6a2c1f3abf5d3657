#include "HXDynamicString.h"

#include "HXStringAdditions.h"
#include "HXURLEncodedStringParser.h"

HXDynamicString HXDynamicString::withAttachment(const HXTextAttachment &attachment)
{
    HXDynamicString string;
    string.appendAttachment(attachment);
    return string;
}

HXDynamicString HXDynamicString::withDynamicValue(const HXDynamicValuePtr &value)
{
    return withAttachment(HXTextAttachment::withDynamicValue(value));
}

const HXTextAttachment *HXDynamicString::attachmentAt(qsizetype index) const
{
    const auto it = m_attachments.constFind(index);
    return it == m_attachments.constEnd() ? nullptr : &it.value();
}

void HXDynamicString::append(const QString &text)
{
    m_text.append(text);
}

void HXDynamicString::append(const HXDynamicString &other)
{
    const qsizetype offset = m_text.size();
    m_text.append(other.m_text);
    for (auto it = other.m_attachments.constBegin(); it != other.m_attachments.constEnd(); ++it)
        m_attachments.insert(offset + it.key(), it.value());
}

void HXDynamicString::appendAttachment(const HXTextAttachment &attachment)
{
    m_attachments.insert(m_text.size(), attachment);
    m_text.append(QChar(attachmentCharacter));
}

void HXDynamicString::appendDynamicValue(const HXDynamicValuePtr &value)
{
    appendAttachment(HXTextAttachment::withDynamicValue(value));
}

HXDynamicString HXDynamicString::mid(qsizetype position, qsizetype length) const
{
    position = std::clamp<qsizetype>(position, 0, m_text.size());
    if (length < 0 || length > m_text.size() - position)
        length = m_text.size() - position;
    HXDynamicString result;
    result.m_text = m_text.mid(position, length);
    for (auto it = m_attachments.lowerBound(position); it != m_attachments.constEnd() && it.key() < position + length;
         ++it)
        result.m_attachments.insert(it.key() - position, it.value());
    return result;
}

void HXDynamicString::enumerateComponentsWithBlock(
    const std::function<void(const HXDynamicStringComponent &component, bool &stop)> &block) const
{
    bool stop = false;
    qsizetype runStart = 0;
    const qsizetype size = m_text.size();
    for (qsizetype i = 0; i <= size && !stop; ++i) {
        if (i < size && m_text.at(i) != QChar(attachmentCharacter))
            continue;
        if (i > runStart) {
            block({m_text.mid(runStart, i - runStart), nullptr, runStart, i - runStart}, stop);
            if (stop)
                break;
        }
        if (i < size)
            block({QString(), attachmentAt(i), i, 1}, stop);
        runStart = i + 1;
    }
}

bool HXDynamicString::containsDynamicValue(const std::function<bool(const HXDynamicValuePtr &value)> &predicate) const
{
    bool found = false;
    enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &stop) {
        const HXDynamicValuePtr value =
            component.attachment ? component.attachment->dynamicValue() : HXDynamicValuePtr();
        if (predicate(value)) {
            found = true;
            stop = true;
        }
    });
    return found;
}

HXDynamicValuePtr
HXDynamicString::firstDynamicValueMatching(const std::function<bool(const HXDynamicValuePtr &value)> &predicate) const
{
    HXDynamicValuePtr match;
    enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &stop) {
        if (!component.attachment)
            return;
        HXDynamicValuePtr value = component.attachment->dynamicValue();
        if (value && predicate(value)) {
            match = std::move(value);
            stop = true;
        }
    });
    return match;
}

HXDynamicValuePtr HXDynamicString::onlyDynamicValue() const
{
    if (m_text.size() != 1 || m_text.at(0) != QChar(attachmentCharacter))
        return nullptr;
    const HXTextAttachment *attachment = attachmentAt(0);
    return attachment ? attachment->dynamicValue() : nullptr;
}

QList<HXDynamicString> HXDynamicString::componentsSeparatedByString(const QString &separator) const
{
    QList<HXDynamicString> pieces;
    if (m_text.isEmpty())
        return pieces;
    if (separator.isEmpty()) {
        pieces.append(*this);
        return pieces;
    }
    qsizetype start = 0;
    while (true) {
        const qsizetype at = m_text.indexOf(separator, start);
        if (at < 0)
            break;
        pieces.append(mid(start, at - start));
        start = at + separator.size();
    }
    pieces.append(mid(start));
    return pieces;
}

HXDynamicString HXDynamicString::attributedStringByReplacingPercentEscapesUsingEncoding(HXStringEncoding encoding,
                                                                                        bool usePlusForSpaces) const
{
    HXDynamicString result;
    enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &) {
        if (component.isText()) {
            result.append(HXStringAdditions::stringByReplacingPercentEscapesUsingEncoding(component.text, encoding,
                                                                                          usePlusForSpaces));
        } else {
            result.append(mid(component.location, 1));
        }
    });
    return result;
}

HXDynamicString HXDynamicString::attributedStringByAddingPercentEscapeUsingEncoding(HXStringEncoding encoding,
                                                                                    bool usePlusForSpaces) const
{
    HXDynamicString result;
    enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &) {
        if (component.isText()) {
            result.append(HXStringAdditions::stringByAddingPercentExcapeUsingEncoding(component.text, encoding,
                                                                                      usePlusForSpaces));
        } else {
            result.append(mid(component.location, 1));
        }
    });
    return result;
}

HXDynamicString HXDynamicString::attributedStringByAddingQueryParameter(const QString &name,
                                                                        const HXDynamicString &value) const
{
    HXURLEncodedStringParser::Options parseOptions;
    parseOptions.withPath = true;
    QList<HXURLEncodedRow> rows = HXURLEncodedStringParser::rowsForString(*this, parseOptions);
    bool replaced = false;
    for (HXURLEncodedRow &row : rows) {
        if (row.name.string() == name) {
            row.value = value;
            replaced = true;
            break;
        }
    }
    if (!replaced)
        rows.append({HXDynamicString(name), value, true});
    HXURLEncodedStringParser::Options writeOptions;
    writeOptions.pathFromURLValue = QVariant::fromValue(*this);
    return HXURLEncodedStringParser::stringForRows(rows, writeOptions);
}
