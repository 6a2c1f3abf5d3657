#include "HXPasteboard.h"

#include "HXMemoryPasteboard.h"

#include <algorithm>

namespace {
HXPasteboard *g_general = nullptr;
}

QString HXPasteboardItem::availableTypeFromArray(const QStringList &types) const
{
    for (const QString &type : types) {
        if (data.contains(type))
            return type;
    }
    return {};
}

bool HXPasteboard::canReadItemWithDataConformingToTypes(const QStringList &types) const
{
    const QList<HXPasteboardItem> items = pasteboardItems();
    return std::any_of(items.begin(), items.end(), [&types](const HXPasteboardItem &item) {
        return !item.availableTypeFromArray(types).isEmpty();
    });
}

HXPasteboard *HXPasteboard::generalPasteboard()
{
    static HXMemoryPasteboard memory;
    return g_general != nullptr ? g_general : &memory;
}

void HXPasteboard::setGeneralPasteboard(HXPasteboard *pasteboard)
{
    g_general = pasteboard;
}
