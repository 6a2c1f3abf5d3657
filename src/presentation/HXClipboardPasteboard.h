#pragma once

#include "HXPasteboard.h"

class QMimeData;

// The system clipboard as the pasteboard of copy, cut and paste, so items
// copied in one window paste into another. Drag and drop carries items in
// the same MIME form. Main thread only.
class HXClipboardPasteboard : public HXPasteboard
{
public:
    // The MIME format holding the items with all their types.
    static const QString itemsMimeType;

    void clearContents() override;
    void writeObjects(const QList<HXPasteboardItem> &items) override;
    QList<HXPasteboardItem> pasteboardItems() const override;

    // Items in MIME form; `text` is what other programs paste.
    static QMimeData *mimeDataForItems(const QList<HXPasteboardItem> &items, const QString &text = {});
    // The items of MIME data; none when it holds no items or they are damaged.
    static QList<HXPasteboardItem> itemsFromMimeData(const QMimeData *data);
};
