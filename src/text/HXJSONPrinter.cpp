#include "HXJSONPrinter.h"

#include "HXJSONEscaping.h"
#include "HXJSONOutput.h"
#include "HXJSONString.h"
#include "HXJSONTree.h"

#include <QString>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

// Orders keys as the platform compares strings: by UTF-16 units.
bool keyLess(QByteArrayView a, QByteArrayView b)
{
    if (!HXJSONEscaping::hasNonASCII(a) && !HXJSONEscaping::hasNonASCII(b)) {
        const int c = std::memcmp(a.data(), b.data(), size_t(std::min(a.size(), b.size())));
        return c != 0 ? c < 0 : a.size() < b.size();
    }
    return QString::fromUtf8(a) < QString::fromUtf8(b);
}

} // namespace

void HXJSONPrinter::setIndentString(const QString &indent)
{
    m_indentString = indent;
    m_indentUtf8 = indent.toUtf8();
}

void HXJSONPrinter::setKeyValueSeparator(const QString &separator)
{
    m_keyValueSeparator = separator;
    m_keyValueSeparatorUtf8 = separator.toUtf8();
}

void HXJSONPrinter::setObjectSeparator(const QString &separator)
{
    m_objectSeparator = separator;
    m_objectSeparatorUtf8 = separator.toUtf8();
}

void HXJSONPrinter::printString(HXJSONOutput &output, const HXJSONTree &tree, qint32 index) const
{
    const HXJSONNode node = tree.node(index);
    const char *data = tree.text().constData();
    if (m_stringOptions == 0) {
        output.append(data + node.start - 1, node.end - node.start + 2);
        return;
    }
    const bool escapeUnicode = (m_stringOptions & 0xF) != 2;
    const bool escapeSlashes = ((m_stringOptions >> 4) & 0xF) != 2;
    const auto *bytes = reinterpret_cast<const unsigned char *>(data);
    if (HXJSONEscaping::needsReescaping(bytes + node.start, bytes + node.end, escapeUnicode, escapeSlashes)) {
        thread_local std::string scratch; // reused, so printing a string does not allocate
        scratch.clear();
        if (HXJSONEscaping::reescape(bytes + node.start, bytes + node.end, escapeUnicode, escapeSlashes, scratch)) {
            output.append('"');
            output.append(scratch.data(), qsizetype(scratch.size()));
            output.append('"');
            return;
        }
        const QString raw = QString::fromUtf8(data + node.start, node.end - node.start);
        const std::optional<QString> value = HXJSONString::unescapedJSONStringWithRange(raw, {0, raw.size()});
        if (value) {
            output.append('"');
            output.append(
                HXJSONString::escapeJSONStringWithRange(*value, {0, value->size()}, escapeUnicode, escapeSlashes));
            output.append('"');
            return;
        }
        // An invalid escape: the string prints as written.
    }
    output.append(data + node.start - 1, node.end - node.start + 2);
}

void HXJSONPrinter::printLeaf(HXJSONOutput &output, const HXJSONTree &tree, qint32 index) const
{
    const HXJSONNode node = tree.node(index);
    const char *data = tree.text().constData();
    switch (node.kind) {
    case HXJSONNodeKey:
        output.append(data + node.start - 1, node.end - node.start + 2);
        break;
    case HXJSONNodeString:
        printString(output, tree, index);
        break;
    case HXJSONNodeNone:
        break;
    default:
        output.append(data + node.start, tree.endOffset(node) - node.start);
        break;
    }
}

void HXJSONPrinter::printNode(HXJSONOutput &output, const HXJSONTree &tree, qint32 index, int level) const
{
    struct Frame
    {
        qint32 next;        // next child in text order (unsorted)
        int level;          // the container's own level
        qint32 position;    // children printed so far
        bool dict;          // an object: children alternate key and value
        size_t orderBase;   // sorted objects: where their order starts in `order`
        qint32 orderLength; // ... and how many children it holds; -1 unsorted
    };
    std::vector<Frame> frames;
    std::vector<qint32> order;
    std::vector<std::pair<qint32, qint32>> pairs;
    const char *data = tree.text().constData();
    const bool hasIndent = !m_indentString.isNull();

    auto indent = [&](int count) {
        if (!hasIndent)
            return;
        for (int i = 0; i < count; ++i)
            output.append(m_indentUtf8);
    };
    auto keyBytes = [&](qint32 node) {
        const HXJSONNode n = tree.node(node);
        return QByteArrayView(data + n.start, tree.endOffset(n) - n.start);
    };
    auto open = [&](qint32 container, bool dict, int containerLevel) {
        const qint32 first = tree.firstChild(container);
        if (first < 0) {
            output.append(dict ? "{}" : "[]", 2);
            return;
        }
        output.append(dict ? '{' : '[');
        if (m_newlines)
            output.append('\n');
        Frame frame{first, containerLevel, 0, dict, order.size(), -1};
        if (dict && m_sortDictKeys) {
            pairs.clear();
            for (qint32 child = first; child >= 0;) {
                const qint32 value = tree.node(child).next;
                pairs.emplace_back(child, value);
                child = value >= 0 ? tree.node(value).next : -1;
            }
            std::stable_sort(pairs.begin(), pairs.end(), [&](const auto &a, const auto &b) {
                return keyLess(keyBytes(a.first), keyBytes(b.first));
            });
            for (const auto &[key, value] : pairs) {
                order.push_back(key);
                if (value >= 0)
                    order.push_back(value);
            }
            frame.orderLength = qint32(order.size() - frame.orderBase);
        }
        frames.push_back(frame);
    };

    const HXJSONNode top = tree.node(index);
    if (top.kind != HXJSONNodeArray && top.kind != HXJSONNodeDict) {
        printLeaf(output, tree, index);
        return;
    }
    open(index, top.kind == HXJSONNodeDict, level);

    while (!frames.empty()) {
        Frame &frame = frames.back();
        qint32 child;
        if (frame.orderLength >= 0)
            child = frame.position < frame.orderLength ? order[frame.orderBase + size_t(frame.position)] : -1;
        else
            child = frame.next;
        if (child < 0) {
            if (m_newlines)
                output.append('\n');
            indent(frame.level);
            output.append(frame.dict ? '}' : ']');
            order.resize(frame.orderBase);
            frames.pop_back();
            continue;
        }
        const HXJSONNode node = tree.node(child);
        if (frame.orderLength < 0)
            frame.next = node.next;
        const int childLevel = frame.level + 1;
        if (!frame.dict || frame.position % 2 == 0) {
            if (frame.position > 0) {
                output.append(m_objectSeparatorUtf8);
                if (m_newlines)
                    output.append('\n');
            }
            indent(childLevel);
        } else {
            output.append(m_keyValueSeparatorUtf8);
        }
        ++frame.position;
        // `frame` may move when a child container is pushed: not used below.
        if (node.kind == HXJSONNodeArray || node.kind == HXJSONNodeDict)
            open(child, node.kind == HXJSONNodeDict, childLevel);
        else
            printLeaf(output, tree, child);
    }
}
