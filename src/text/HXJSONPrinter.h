#pragma once

#include <QByteArray>
#include <QString>

class HXJSONOutput;
class HXJSONTree;

// Prints the nodes of a parsed JSON tree with the layout options below,
// without recursion. Strings print as written unless the string options ask
// for escaping (HXJSONEscaping).
class HXJSONPrinter
{
public:
    // Appended once per nesting level at the start of each printed child;
    // a null string (the default) means no indentation.
    QString indentString() const { return m_indentString; }
    void setIndentString(const QString &indent);
    // A newline after an opening bracket, between children and before a
    // closing bracket. Default false.
    bool newlines() const { return m_newlines; }
    void setNewlines(bool newlines) { m_newlines = newlines; }
    // 0 (the default): strings print as written. Otherwise strings are
    // unescaped and escaped again: the low four bits 2 leave non-ASCII as it
    // is (any other value escapes it); bits 4 to 7 at 0x20 leave forward
    // slashes as they are (any other value escapes them).
    uint stringOptions() const { return m_stringOptions; }
    void setStringOptions(uint options) { m_stringOptions = options; }
    // Between a key and its value. Default ":".
    QString keyValueSeparator() const { return m_keyValueSeparator; }
    void setKeyValueSeparator(const QString &separator);
    // Between children. Default ",".
    QString objectSeparator() const { return m_objectSeparator; }
    void setObjectSeparator(const QString &separator);
    // Print object members sorted by key (by UTF-16 units). Default false.
    bool sortDictKeys() const { return m_sortDictKeys; }
    void setSortDictKeys(bool sort) { m_sortDictKeys = sort; }

    // Node `index` of `tree` at nesting `level`.
    void printNode(HXJSONOutput &output, const HXJSONTree &tree, qint32 index, int level) const;

private:
    void printLeaf(HXJSONOutput &output, const HXJSONTree &tree, qint32 index) const;
    void printString(HXJSONOutput &output, const HXJSONTree &tree, qint32 index) const;

    QString m_indentString;
    QString m_keyValueSeparator = QStringLiteral(":");
    QString m_objectSeparator = QStringLiteral(",");
    QByteArray m_indentUtf8;
    QByteArray m_keyValueSeparatorUtf8 = QByteArrayLiteral(":");
    QByteArray m_objectSeparatorUtf8 = QByteArrayLiteral(",");
    bool m_newlines = false;
    bool m_sortDictKeys = false;
    uint m_stringOptions = 0;
};
