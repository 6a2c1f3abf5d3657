#pragma once

#include <QObject>
#include <QTextObjectInterface>

// Draws a token of a dynamic string as a rounded pill labelled with the
// value's display text and coloured by its catalogue group.
class HXTokenTextObject : public QObject, public QTextObjectInterface
{
    Q_OBJECT
    Q_INTERFACES(QTextObjectInterface)
public:
    using QObject::QObject;

    QSizeF intrinsicSize(QTextDocument *document, int position, const QTextFormat &format) override;
    void drawObject(QPainter *painter, const QRectF &rect, QTextDocument *document, int position,
                    const QTextFormat &format) override;

    static QColor colorForGroup(const QString &group);
    // Registers the pill drawing with a document's layout.
    static void install(QTextDocument *document);
};
