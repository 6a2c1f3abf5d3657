#include "HXClipboardPasteboard.h"

#include <QClipboard>
#include <QDataStream>
#include <QGuiApplication>
#include <QIODevice>
#include <QMimeData>

const QString HXClipboardPasteboard::itemsMimeType = QStringLiteral("application/x-kea-pasteboard-items");

namespace {
// Guards against damaged or hostile clipboard contents.
constexpr qint32 maximumItems = 100000;
constexpr quint32 streamVersion = 1;
} // namespace

void HXClipboardPasteboard::clearContents()
{
    QGuiApplication::clipboard()->clear();
}

void HXClipboardPasteboard::writeObjects(const QList<HXPasteboardItem> &items)
{
    QList<HXPasteboardItem> all = pasteboardItems();
    all.append(items);
    QGuiApplication::clipboard()->setMimeData(mimeDataForItems(all));
}

QList<HXPasteboardItem> HXClipboardPasteboard::pasteboardItems() const
{
    return itemsFromMimeData(QGuiApplication::clipboard()->mimeData());
}

QMimeData *HXClipboardPasteboard::mimeDataForItems(const QList<HXPasteboardItem> &items, const QString &text)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_6_4);
    stream << streamVersion << qint32(items.size());
    for (const HXPasteboardItem &item : items)
        stream << item.data;
    auto *data = new QMimeData;
    data->setData(itemsMimeType, bytes);
    if (!text.isEmpty())
        data->setText(text);
    return data;
}

QList<HXPasteboardItem> HXClipboardPasteboard::itemsFromMimeData(const QMimeData *data)
{
    if (data == nullptr || !data->hasFormat(itemsMimeType))
        return {};
    const QByteArray bytes = data->data(itemsMimeType);
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_6_4);
    quint32 version = 0;
    qint32 count = 0;
    stream >> version >> count;
    if (stream.status() != QDataStream::Ok || version != streamVersion || count < 0 || count > maximumItems)
        return {};
    QList<HXPasteboardItem> items;
    for (qint32 i = 0; i < count; ++i) {
        HXPasteboardItem item;
        stream >> item.data;
        if (stream.status() != QDataStream::Ok)
            return {};
        items.append(item);
    }
    return items;
}
