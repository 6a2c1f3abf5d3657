#include "HXJSONParser.h"

#include "HXJSONOutput.h"
#include "HXJSONTree.h"
#include "HXTextLogging.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// jsmn is header-only; this is the one translation unit that compiles it.
// Parent links make its search for the container that a closing bracket
// ends constant-time instead of a scan over all earlier tokens.
#define JSMN_STATIC
#define JSMN_PARENT_LINKS
#include <jsmn.h>

static_assert(sizeof(HXJSONNode) == sizeof(jsmntok_t), "nodes are built in place of tokens");

namespace {

constexpr unsigned kInitialTokenCount = 65536;

jsmntok_t loadToken(const unsigned char *storage, qint32 index)
{
    jsmntok_t token;
    std::memcpy(&token, storage + size_t(index) * sizeof(jsmntok_t), sizeof(jsmntok_t));
    return token;
}

HXJSONNode loadNode(const unsigned char *storage, qint32 index)
{
    HXJSONNode node;
    std::memcpy(&node, storage + size_t(index) * sizeof(HXJSONNode), sizeof(HXJSONNode));
    return node;
}

void storeNode(unsigned char *storage, qint32 index, const HXJSONNode &node)
{
    std::memcpy(storage + size_t(index) * sizeof(HXJSONNode), &node, sizeof(HXJSONNode));
}

HXJSONNodeKind primitiveKind(char first)
{
    switch (first) {
    case 't':
        return HXJSONNodeTrue;
    case 'f':
        return HXJSONNodeFalse;
    case 'n':
        return HXJSONNodeNull;
    case '-':
        return HXJSONNodeNumber;
    default:
        return first >= '0' && first <= '9' ? HXJSONNodeNumber : HXJSONNodeOther;
    }
}

// A container that later tokens may still belong to.
struct OpenContainer
{
    qint32 index;
    qint32 end; // byte offset after the closing bracket; INT_MAX while unclosed
    qint32 lastChild;
    qint32 childCount;
    bool dict;
};

// Finds, in text order, the containers that open deeper than
// HXJSONParser::maximumNestingDepth, and where each one ends (after its
// closing bracket, or at the end of the text). It reads the text the way the
// tokenizer does: brackets inside strings and inside unquoted primitives do
// not count, and it stops where the tokenizer would stop with an error.
class DeepContainerScanner
{
public:
    // `data` must be followed by a NUL byte (QByteArray's data is), which
    // ends the inner loops without a bounds check.
    DeepContainerScanner(const unsigned char *data, size_t length) : m_data(data), m_length(length) {}

    bool next(size_t &start, size_t &end)
    {
        while (m_position < m_length) {
            const unsigned char c = m_data[m_position];
            switch (c) {
            case '[':
            case '{':
                if (m_depth == HXJSONParser::maximumNestingDepth) {
                    start = m_position;
                    end = skipContainer();
                    m_position = end;
                    return true;
                }
                ++m_depth;
                ++m_position;
                break;
            case ']':
            case '}':
                if (m_depth > 0)
                    --m_depth;
                ++m_position;
                break;
            case '"':
                if (!skipString(m_position))
                    return stop();
                break;
            case '\t':
            case '\r':
            case '\n':
            case ' ':
            case ':':
            case ',':
                ++m_position;
                break;
            default:
                if (!skipPrimitive(m_position))
                    return stop();
                break;
            }
        }
        return false;
    }

private:
    struct Tables
    {
        bool stringStop[256] = {};    // a quote, a backslash, NUL
        bool primitiveStop[256] = {}; // delimiters, and what the tokenizer rejects
        Tables()
        {
            stringStop[uint('"')] = stringStop[uint('\\')] = stringStop[0] = true;
            for (int c = 0; c < 256; ++c)
                primitiveStop[c] = c < 32 || c >= 127;
            for (unsigned char c : {':', ',', ']', '}', ' '})
                primitiveStop[c] = true;
        }
    };
    static const Tables &tables()
    {
        static const Tables instance;
        return instance;
    }

    bool stop()
    {
        m_position = m_length;
        return false;
    }

    // From the quote to just after the closing quote; false where the
    // tokenizer fails (no closing quote, a NUL).
    bool skipString(size_t &at) const
    {
        const bool *stopAt = tables().stringStop;
        for (++at;;) {
            while (!stopAt[m_data[at]])
                ++at;
            if (at >= m_length || m_data[at] == 0)
                return false;
            if (m_data[at] == '"') {
                ++at;
                return true;
            }
            at += at + 1 < m_length ? 2 : 1; // a backslash and the character it escapes
        }
    }

    // An unquoted token runs to the next delimiter, brackets and quotes
    // included; false at a character the tokenizer rejects.
    bool skipPrimitive(size_t &at) const
    {
        const bool *stopAt = tables().primitiveStop;
        while (!stopAt[m_data[at]])
            ++at;
        if (at >= m_length)
            return true;
        const unsigned char c = m_data[at];
        return c >= 32 ? c < 127 : c == '\t' || c == '\r' || c == '\n';
    }

    // From an opening bracket to just after its closing one.
    size_t skipContainer() const
    {
        int depth = 0;
        size_t at = m_position;
        while (at < m_length) {
            const unsigned char c = m_data[at];
            if (c == '[' || c == '{') {
                ++depth;
                ++at;
            } else if (c == ']' || c == '}') {
                ++at;
                if (--depth == 0)
                    return at;
            } else if (c == '"') {
                if (!skipString(at))
                    return m_length;
            } else if (c == '\t' || c == '\r' || c == '\n' || c == ' ' || c == ':' || c == ',') {
                ++at;
            } else if (!skipPrimitive(at)) {
                return m_length;
            }
        }
        return m_length;
    }

    const unsigned char *m_data;
    size_t m_length;
    size_t m_position = 0;
    int m_depth = 0;
};

// Tokenizes `utf8` and turns the tokens into the flat tree, in place.
std::shared_ptr<const HXJSONTree> buildTree(QByteArray utf8)
{
    const char *data = utf8.constData();
    const qsizetype length = utf8.size();
    if (length > HXJSONParser::maximumTextSize) {
        qCWarning(lcKeaText) << "JSON text of" << length << "bytes is too large to parse";
        return std::make_shared<const HXJSONTree>(std::move(utf8), nullptr, 0, -1, false, 0);
    }

    // Every token takes at least one byte, so the buffer never needs more
    // tokens than the text has bytes (plus one).
    const size_t maximumTokens = size_t(length) + 1;
    size_t capacity = kInitialTokenCount;
    auto *storage = static_cast<unsigned char *>(std::malloc(capacity * sizeof(jsmntok_t)));
    if (storage == nullptr)
        return std::make_shared<const HXJSONTree>(std::move(utf8), nullptr, 0, -1, false, 0);

    jsmn_parser tokenizer;
    jsmn_init(&tokenizer);
    auto tokenizeUpTo = [&](size_t limit) {
        for (;;) {
            const int status =
                jsmn_parse(&tokenizer, data, limit, reinterpret_cast<jsmntok_t *>(storage), unsigned(capacity));
            if (status != JSMN_ERROR_NOMEM || capacity >= maximumTokens)
                return status;
            const size_t grown = std::min(capacity * 2, maximumTokens);
            void *larger = std::realloc(storage, grown * sizeof(jsmntok_t));
            if (larger == nullptr) {
                qCWarning(lcKeaText) << "out of memory for" << grown << "JSON tokens";
                return status;
            }
            storage = static_cast<unsigned char *>(larger);
            capacity = grown;
        }
    };

    // Containers nested deeper than the limit become one verbatim token: the
    // text is tokenized up to and including such a container's opening
    // bracket, that token is turned into a primitive spanning the container,
    // and tokenizing resumes after it.
    DeepContainerScanner scanner{reinterpret_cast<const unsigned char *>(data), size_t(length)};
    int status = 0;
    for (;;) {
        size_t deepStart = 0;
        size_t deepEnd = 0;
        if (!scanner.next(deepStart, deepEnd)) {
            status = tokenizeUpTo(size_t(length));
            break;
        }
        status = tokenizeUpTo(deepStart + 1);
        if ((status < 0 && status != JSMN_ERROR_PART) || tokenizer.pos != deepStart + 1 || tokenizer.toknext == 0)
            break;
        jsmntok_t token = loadToken(storage, qint32(tokenizer.toknext - 1));
        if (size_t(token.start) != deepStart || (token.type != JSMN_ARRAY && token.type != JSMN_OBJECT)) {
            status = JSMN_ERROR_INVAL; // the tokenizer read the text differently: stop here
            break;
        }
        token.type = JSMN_PRIMITIVE;
        token.end = int(deepEnd);
        std::memcpy(storage + size_t(tokenizer.toknext - 1) * sizeof(jsmntok_t), &token, sizeof token);
        tokenizer.toksuper = token.parent;
        tokenizer.pos = unsigned(deepEnd);
    }
    const bool complete = status >= 0 && tokenizer.pos >= size_t(length);
    const auto count = qint32(tokenizer.toknext);

    std::vector<OpenContainer> stack;
    stack.reserve(10);
    qint32 outermost = -1;
    qint32 last = -1;
    qint32 topLevelCount = 0;
    for (qint32 index = 0; index < count; ++index) {
        const jsmntok_t token = loadToken(storage, index);
        while (!stack.empty() && stack.back().end < token.start)
            stack.pop_back();
        OpenContainer *parent = stack.empty() ? nullptr : &stack.back();

        HXJSONNode node{HXJSONNodeNone, token.start, token.end, parent ? parent->index : -1, -1};
        switch (token.type) {
        case JSMN_PRIMITIVE:
            node.kind = primitiveKind(data[token.start]);
            break;
        case JSMN_OBJECT:
            node.kind = HXJSONNodeDict;
            break;
        case JSMN_ARRAY:
            node.kind = HXJSONNodeArray;
            break;
        case JSMN_STRING:
            node.kind = parent && parent->dict && parent->childCount % 2 == 0 ? HXJSONNodeKey : HXJSONNodeString;
            break;
        default:
            break;
        }
        if (node.kind == HXJSONNodeNone) {
            node.parent = -1;
            storeNode(storage, index, node);
            continue;
        }
        if (node.kind != HXJSONNodeArray && node.kind != HXJSONNodeDict && node.end < node.start)
            node.end = node.start; // scalars are always complete; keep ranges sane regardless
        storeNode(storage, index, node);
        last = index;

        if (parent) {
            if (parent->lastChild >= 0) {
                HXJSONNode previous = loadNode(storage, parent->lastChild);
                previous.next = index;
                storeNode(storage, parent->lastChild, previous);
            }
            parent->lastChild = index;
            ++parent->childCount;
        } else {
            ++topLevelCount;
        }
        if (node.kind == HXJSONNodeArray || node.kind == HXJSONNodeDict) {
            if (stack.empty() && outermost < 0)
                outermost = index;
            // A container whose end is unset was never closed: it stays open.
            stack.push_back({index, token.end < 0 ? std::numeric_limits<qint32>::max() : token.end, -1, 0,
                             node.kind == HXJSONNodeDict});
        }
    }

    // Give back the unused part of the token buffer.
    if (count > 0 && size_t(count) < capacity) {
        if (void *smaller = std::realloc(storage, size_t(count) * sizeof(HXJSONNode)))
            storage = static_cast<unsigned char *>(smaller);
    }
    const qint32 root = outermost >= 0 ? outermost : last;
    return std::make_shared<const HXJSONTree>(std::move(utf8), storage, count, root, complete, topLevelCount);
}

} // namespace

HXJSONParser::HXJSONParser(const QString &string) : m_hasText(!string.isNull()), m_string(string) {}

std::unique_ptr<HXJSONParser> HXJSONParser::fromUtf8(QByteArray utf8)
{
    std::unique_ptr<HXJSONParser> parser(new HXJSONParser());
    parser->m_hasText = true;
    if (!QByteArrayView(utf8).isValidUtf8())
        utf8 = QString::fromUtf8(utf8).toUtf8();
    parser->m_utf8 = std::move(utf8);
    return parser;
}

HXJSONParser::~HXJSONParser() = default;

QString HXJSONParser::string() const
{
    if (!m_string.isNull() || !m_hasText)
        return m_string;
    return QString::fromUtf8(m_tree ? m_tree->text() : m_utf8);
}

std::shared_ptr<HXJSONItem> HXJSONParser::parseWithError(HXError *error)
{
    if (!m_hasText)
        throw std::invalid_argument("string cannot be nil");
    if (error)
        *error = HXError();
    QByteArray utf8;
    if (m_tree)
        utf8 = m_tree->text();
    else if (!m_string.isNull())
        utf8 = m_string.toUtf8();
    else
        utf8 = std::exchange(m_utf8, QByteArray());
    m_root.reset();
    m_tree.reset();
    m_tree = buildTree(std::move(utf8));
    if (m_tree->root() >= 0)
        m_root = HXJSONItem::make(m_tree, m_tree->root());
    return m_root;
}

bool HXJSONParser::isWellFormed() const
{
    return m_tree && m_tree->isComplete() && m_tree->topLevelCount() == 1;
}

HXJSONParser::ParseResult HXJSONParser::parseJSONString(const QString &string, HXError *error)
{
    ParseResult result;
    result.parser = std::make_shared<HXJSONParser>(string);
    result.root = result.parser->parseWithError(error);
    return result;
}

QString HXJSONParser::prettyPrintJSONString(const QString &string,
                                            const std::function<void(HXJSONParser &)> &configureParser, HXError *error)
{
    HXJSONParser parser(string);
    if (configureParser)
        configureParser(parser);
    const std::shared_ptr<HXJSONItem> root = parser.parseWithError(error);
    if (!root)
        return QString();
    return root->jsonStringWithParser(parser, 0);
}

QString HXJSONParser::stringForItem(const HXJSONItem &item) const
{
    return jsonStringForItem(item, 0);
}

QString HXJSONParser::jsonStringForItem(const HXJSONItem &item, int level) const
{
    return item.jsonStringWithParser(*this, level);
}

bool HXJSONParser::printRoot(HXJSONOutput &output)
{
    if (!m_tree)
        (void)parseWithError();
    if (!m_root)
        return false;
    m_root->appendJSONString(output, *this, 0);
    return true;
}

void HXJSONParser::printNode(HXJSONOutput &output, const HXJSONTree &tree, qint32 index, int level) const
{
    m_printer.printNode(output, tree, index, level);
}
