#pragma once

#include "HXPasteboard.h"

// A pasteboard that lives in this process only.
class HXMemoryPasteboard : public HXPasteboard
{
public:
    void clearContents() override { m_items.clear(); }
    void writeObjects(const QList<HXPasteboardItem> &items) override { m_items.append(items); }
    QList<HXPasteboardItem> pasteboardItems() const override { return m_items; }

private:
    QList<HXPasteboardItem> m_items;
};
