#include "HXJSONParser.h"

#include "HXJSONOutput.h"
#include "HXJSONString.h"
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

// Bytes that force a string through unescaping and escaping again; anything
// else prints as written. Indexed by [escapeUnicode][escapeSlashes][byte].
struct ReescapeTable
{
    bool needed[2][2][256];
    constexpr ReescapeTable() : needed()
    {
        for (int unicode = 0; unicode < 2; ++unicode) {
            for (int slashes = 0; slashes < 2; ++slashes) {
                for (int byte = 0; byte < 256; ++byte) {
                    needed[unicode][slashes][byte] = byte < 0x20 || byte == '\\' || byte == '"' ||
                                                     (slashes && byte == '/') || (unicode && byte >= 0x80);
                }
            }
        }
    }
};
constexpr ReescapeTable kReescape;

int hexValue(unsigned char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Unescapes a string token's content and escapes it again, as
// HXJSONString::unescapedJSONStringWithRange and escapeJSONStringWithRange
// would, but on the UTF-8 bytes. False for the rare strings it leaves to
// those functions: escaped surrogates (which pair up, or not, in UTF-16)
// and anything the tokenizer would not have let through.
bool reescape(const unsigned char *p, const unsigned char *end, bool escapeUnicode, bool escapeSlashes,
              std::string &out)
{
    static const char hex[] = "0123456789abcdef";
    auto appendUnit = [&](uint unit) {
        const char escaped[] = {
            '\\', 'u', hex[(unit >> 12) & 0xF], hex[(unit >> 8) & 0xF], hex[(unit >> 4) & 0xF], hex[unit & 0xF]};
        out.append(escaped, 6);
    };
    auto appendASCII = [&](uint c) {
        switch (c) {
        case '\b':
            out += "\\b";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\r':
            out += "\\r";
            break;
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '/':
            out += escapeSlashes ? "\\/" : "/";
            break;
        default:
            out += char(c);
            break;
        }
    };
    auto appendCodePoint = [&](uint cp) { // not ASCII, not a surrogate
        if (escapeUnicode && cp >= 129) {
            if (cp >= 0x10000) {
                appendUnit(0xD800 + ((cp - 0x10000) >> 10));
                appendUnit(0xDC00 + ((cp - 0x10000) & 0x3FF));
            } else {
                appendUnit(cp);
            }
            return;
        }
        if (cp < 0x800) {
            out += char(0xC0 | (cp >> 6));
        } else if (cp < 0x10000) {
            out += char(0xE0 | (cp >> 12));
            out += char(0x80 | ((cp >> 6) & 0x3F));
        } else {
            out += char(0xF0 | (cp >> 18));
            out += char(0x80 | ((cp >> 12) & 0x3F));
            out += char(0x80 | ((cp >> 6) & 0x3F));
        }
        out += char(0x80 | (cp & 0x3F));
    };

    while (p < end) {
        const unsigned char c = *p;
        if (c == '\\') {
            if (end - p < 2)
                return false;
            switch (p[1]) {
            case '"':
            case '\\':
            case '/':
                appendASCII(p[1]);
                break;
            case 'b':
                appendASCII('\b');
                break;
            case 'f':
                appendASCII('\f');
                break;
            case 'n':
                appendASCII('\n');
                break;
            case 'r':
                appendASCII('\r');
                break;
            case 't':
                appendASCII('\t');
                break;
            case 'u': {
                if (end - p < 6)
                    return false;
                uint unit = 0;
                for (int i = 2; i < 6; ++i) {
                    const int digit = hexValue(p[i]);
                    if (digit < 0)
                        return false;
                    unit = unit * 16 + uint(digit);
                }
                if (unit >= 0xD800 && unit <= 0xDFFF)
                    return false;
                if (unit < 0x80)
                    appendASCII(unit);
                else
                    appendCodePoint(unit);
                p += 6;
                continue;
            }
            default:
                return false;
            }
            p += 2;
            continue;
        }
        if (c < 0x80) {
            appendASCII(c);
            ++p;
            continue;
        }
        // The text is valid UTF-8.
        const int length = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2;
        if (end - p < length)
            return false;
        if (!escapeUnicode) {
            out.append(reinterpret_cast<const char *>(p), size_t(length));
        } else {
            uint cp = c & (length == 2 ? 0x1F : length == 3 ? 0x0F : 0x07);
            for (int i = 1; i < length; ++i)
                cp = (cp << 6) | (p[i] & 0x3F);
            appendCodePoint(cp);
        }
        p += length;
    }
    return true;
}

bool hasNonASCII(QByteArrayView bytes)
{
    for (char c : bytes) {
        if (static_cast<unsigned char>(c) >= 0x80)
            return true;
    }
    return false;
}

// Orders keys as the platform compares strings: by UTF-16 units.
bool keyLess(QByteArrayView a, QByteArrayView b)
{
    if (!hasNonASCII(a) && !hasNonASCII(b)) {
        const int c = std::memcmp(a.data(), b.data(), size_t(std::min(a.size(), b.size())));
        return c != 0 ? c < 0 : a.size() < b.size();
    }
    return QString::fromUtf8(a) < QString::fromUtf8(b);
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

void HXJSONParser::setPrintingIndentString(const QString &indent)
{
    m_indentString = indent;
    m_indentUtf8 = indent.toUtf8();
}

void HXJSONParser::setPrintingKeyValueSeparator(const QString &separator)
{
    m_keyValueSeparator = separator;
    m_keyValueSeparatorUtf8 = separator.toUtf8();
}

void HXJSONParser::setPrintingObjectSeparator(const QString &separator)
{
    m_objectSeparator = separator;
    m_objectSeparatorUtf8 = separator.toUtf8();
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

void HXJSONParser::printString(HXJSONOutput &output, const HXJSONTree &tree, qint32 index) const
{
    const HXJSONNode node = tree.node(index);
    const char *data = tree.text().constData();
    if (m_stringOptions == 0) {
        output.append(data + node.start - 1, node.end - node.start + 2);
        return;
    }
    const bool escapeUnicode = (m_stringOptions & 0xF) != 2;
    const bool escapeSlashes = ((m_stringOptions >> 4) & 0xF) != 2;
    const bool *needed = kReescape.needed[escapeUnicode][escapeSlashes];
    const auto *bytes = reinterpret_cast<const unsigned char *>(data);
    bool plain = true;
    for (qint32 at = node.start; at < node.end; ++at) {
        if (needed[bytes[at]]) {
            plain = false;
            break;
        }
    }
    if (!plain) {
        thread_local std::string scratch; // reused, so printing a string does not allocate
        scratch.clear();
        if (reescape(bytes + node.start, bytes + node.end, escapeUnicode, escapeSlashes, scratch)) {
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

void HXJSONParser::printLeaf(HXJSONOutput &output, const HXJSONTree &tree, qint32 index) const
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

void HXJSONParser::printNode(HXJSONOutput &output, const HXJSONTree &tree, qint32 index, int level) const
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
