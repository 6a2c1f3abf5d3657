#pragma once

#include "HXManagedObject.h"

class HXRequestGroup;

// An item of the request tree: a request or a folder. Siblings are ordered by `order`; `parent` is the folder that
// holds the item (none at top level).
class HXRequestTreeItem : public HXManagedObject
{
public:
    static QString staticEntityName() { return QStringLiteral("HXRequestTreeItem"); }

    QString name() const;
    void setName(const QString &value);
    qint64 order() const;
    void setOrder(qint64 value);
    HXRequestGroup *parent() const;
    void setParent(HXRequestGroup *value);
    QList<HXRequestTreeItem *> children() const;

    // Places the item in `parent` (none: top level). After a sibling of that
    // parent it takes the sibling's order + 1 and the later items move up by
    // one; dropped on a folder without a sibling it goes first and the others
    // are renumbered 1, 2, 3...; at the top level without a sibling it goes
    // last and nothing is renumbered.
    void setOrderAndParent(HXRequestGroup *parent, HXRequestTreeItem *afterSibling);
    // Into a selected folder, first; otherwise right after the selected item
    // in the item's parent; with no selection, last at the top level.
    void setOrderAndParentWithSelectedItem(HXRequestTreeItem *selectedItem);
};
