#include "HXURLEncodedTextParser.h"

void HXURLEncodedTextParser::parse()
{
    m_ranges.clear();
    m_parsed = true;
    if (!m_stringBlock)
        return;
    const QString text = m_stringBlock().string();
    const qsizetype size = text.size();
    qsizetype position = 0;
    while (position < size) {
        qsizetype pairEnd = text.indexOf(u'&', position);
        if (pairEnd < 0)
            pairEnd = size;
        const qsizetype equals = text.indexOf(u'=', position);
        if (equals >= 0 && equals < pairEnd) {
            m_ranges.append({position, equals - position});
            m_ranges.append({equals + 1, pairEnd - equals - 1});
        } else {
            m_ranges.append({position, pairEnd - position});
        }
        position = pairEnd + 1;
    }
}

void HXURLEncodedTextParser::invalidateString()
{
    m_ranges.clear();
    m_parsed = false;
}

void HXURLEncodedTextParser::applyAttributesInRange(HXTextRange range,
                                                    const std::function<void(int style, HXTextRange range)> &block)
{
    if (!m_parsed)
        parse();
    block(StylePlain, range);
    for (qsizetype i = 0; i < m_ranges.size(); ++i)
        block(i % 2 == 0 ? StyleKey : StyleValue, m_ranges.at(i));
}

QString HXURLEncodedTextParser::keyPathForObjectAtRange(HXTextRange range, HXTextRange *objectRange)
{
    if (!m_parsed)
        parse();
    for (qsizetype i = 0; i < m_ranges.size(); i += 2) {
        const HXTextRange key = m_ranges.at(i);
        const HXTextRange last = i + 1 < m_ranges.size() ? m_ranges.at(i + 1) : key;
        const HXTextRange pair{key.location, last.end() - key.location};
        if (range.location >= pair.location && range.end() <= pair.end()) {
            if (objectRange)
                *objectRange = pair;
            return QStringLiteral("pairs.%1").arg(i / 2);
        }
    }
    return QString();
}
