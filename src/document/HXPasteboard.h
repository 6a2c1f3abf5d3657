#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

// One item on a pasteboard: the same thing in several forms, each under its
// type string ("kestrelworks.Kea.PasteboardTypeRequestURI", ...).
struct HXPasteboardItem
{
    QMap<QString, QByteArray> data;

    bool hasType(const QString &type) const { return data.contains(type); }
    QByteArray dataForType(const QString &type) const { return data.value(type); }
    void setDataForType(const QByteArray &bytes, const QString &type) { data.insert(type, bytes); }
    // The first of `types` the item offers, or an empty string.
    QString availableTypeFromArray(const QStringList &types) const;

    friend bool operator==(const HXPasteboardItem &, const HXPasteboardItem &) = default;
};

// Where copy, cut and paste put and find their items. The application
// provides one over the system clipboard; the command line and the tests
// use HXMemoryPasteboard. Main thread only.
class HXPasteboard
{
public:
    virtual ~HXPasteboard() = default;

    // Empties the pasteboard; the next writeObjects() starts a new content.
    virtual void clearContents() = 0;
    // Appends items to the content.
    virtual void writeObjects(const QList<HXPasteboardItem> &items) = 0;
    virtual QList<HXPasteboardItem> pasteboardItems() const = 0;

    // Whether some item offers one of `types`.
    bool canReadItemWithDataConformingToTypes(const QStringList &types) const;

    // The pasteboard the document commands use: the one set, else a
    // process-wide in-memory pasteboard.
    static HXPasteboard *generalPasteboard();
    static void setGeneralPasteboard(HXPasteboard *pasteboard);
};
