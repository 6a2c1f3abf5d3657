#pragma once

#include "HXJSONRange.h"

#include <QList>
#include <QString>
#include <QVariant>

#include <memory>

class HXJSONParser;
class HXJSONOutput;
class HXJSONTree;

// One item of a parsed JSON text. Items are light views of the parser's flat
// tree: they remember where in the text they came from, and a container makes
// its child items when asked for them. An item keeps the parsed text alive.
class HXJSONItem
{
public:
    virtual ~HXJSONItem();
    HXJSONItem(const HXJSONItem &) = delete;
    HXJSONItem &operator=(const HXJSONItem &) = delete;

    // Location and length in UTF-16 units of the parsed text: for strings and
    // keys the content between the quotes, for other items the whole token (a
    // container that was never closed runs to the end of the text).
    HXJSONRange range() const;
    // The item's token index and 1, or HXJSONRange::NotFound as the count for
    // containers.
    HXJSONRange tokenRange() const;

    // The plain value: QVariantList, QVariantMap, QString, qlonglong or
    // double, bool, a null QVariant holding nullptr, or an invalid QVariant
    // (none).
    virtual QVariant cfObject() const;

    // The item printed with the parser's printing settings, as if it stood
    // at nesting `level`.
    QString jsonStringWithParser(const HXJSONParser &parser, int level) const;
    virtual void appendJSONString(QString &string, const HXJSONParser &parser, int level) const;
    // The same, as UTF-8 into an output.
    virtual void appendJSONString(HXJSONOutput &output, const HXJSONParser &parser, int level) const;

    // Makes the item of the right class for node `index` of a tree.
    static std::shared_ptr<HXJSONItem> make(std::shared_ptr<const HXJSONTree> tree, qint32 index);
    const std::shared_ptr<const HXJSONTree> &tree() const { return m_tree; }
    qint32 nodeIndex() const { return m_index; }

protected:
    HXJSONItem(std::shared_ptr<const HXJSONTree> tree, qint32 index);
    QList<std::shared_ptr<HXJSONItem>> childItems() const;
    QVariant plainValue() const;
    void print(HXJSONOutput &output, const HXJSONParser &parser, int level) const;

private:
    std::shared_ptr<const HXJSONTree> m_tree;
    qint32 m_index;
};
