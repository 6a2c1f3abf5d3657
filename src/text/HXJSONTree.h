#pragma once

#include <QByteArray>
#include <QString>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

// What one token of the parsed text became. Strings inside a dictionary at
// a key position are keys; other strings are string values.
enum HXJSONNodeKind : qint32 {
    HXJSONNodeNone = 0, // a token that made no item
    HXJSONNodeArray,
    HXJSONNodeDict,
    HXJSONNodeKey,
    HXJSONNodeString,
    HXJSONNodeNumber,
    HXJSONNodeTrue,
    HXJSONNodeFalse,
    HXJSONNodeNull,
    HXJSONNodeOther, // an unquoted token that is neither a literal nor a number
};

// One item of the tree, stored flat: node i is token i of the tokenizer, and
// the nodes reuse the token buffer (same size), so a parsed text costs its
// bytes plus 20 bytes per token and nothing else.
struct HXJSONNode
{
    qint32 kind;   // HXJSONNodeKind
    qint32 start;  // byte offset of the token; for strings, of the content after the quote
    qint32 end;    // byte offset after the token; -1 for a container that was never closed
    qint32 parent; // index of the containing node, -1 at the top level
    qint32 next;   // index of the next sibling, -1 after the last child
};

// The parsed text and its flat item tree, shared by the parser and every item
// made from it. Immutable once built.
class HXJSONTree
{
public:
    HXJSONTree(QByteArray utf8, void *nodes, qint32 count, qint32 root, bool complete, qint32 topLevelCount);
    ~HXJSONTree();
    HXJSONTree(const HXJSONTree &) = delete;
    HXJSONTree &operator=(const HXJSONTree &) = delete;

    const QByteArray &text() const { return m_text; }
    qint32 count() const { return m_count; }
    qint32 root() const { return m_root; }
    // The tokenizer read the whole text without an error.
    bool isComplete() const { return m_complete; }
    // How many items were made outside any container.
    qint32 topLevelCount() const { return m_topLevelCount; }

    HXJSONNode node(qint32 index) const
    {
        HXJSONNode result;
        std::memcpy(&result, m_nodes + size_t(index) * sizeof(HXJSONNode), sizeof(HXJSONNode));
        return result;
    }
    // The byte offset where the node ends; the end of the text for a
    // container that was never closed.
    qint32 endOffset(const HXJSONNode &node) const { return node.end < 0 ? qint32(m_text.size()) : node.end; }
    // The first child of a container, or -1.
    qint32 firstChild(qint32 index) const
    {
        return index + 1 < m_count && node(index + 1).parent == index ? index + 1 : -1;
    }

    // The UTF-16 offset in the text of a byte offset (which lies on a
    // character boundary).
    qint64 utf16Offset(qint32 byteOffset) const;

private:
    void buildOffsetTable() const;

    QByteArray m_text;
    unsigned char *m_nodes;
    qint32 m_count;
    qint32 m_root;
    bool m_complete;
    qint32 m_topLevelCount;
    mutable std::once_flag m_offsetsOnce;
    mutable bool m_ascii = false;
    mutable std::vector<qint32> m_checkpoints; // UTF-16 offset at every 64th byte
};
