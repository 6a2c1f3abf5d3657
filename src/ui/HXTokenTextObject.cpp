#include "HXTokenTextObject.h"

#include "HXDynamicStringTextBridge.h"

#include <QAbstractTextDocumentLayout>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QTextDocument>

namespace {
constexpr qreal padding = 6;
// Longest label drawn, in characters.
constexpr int maximumLabelLength = 40;

QString labelOf(const QTextFormat &format)
{
    QString label = format.stringProperty(HXDynamicStringTextBridge::TokenLabelProperty);
    if (label.isEmpty())
        label = QStringLiteral("?");
    if (label.size() > maximumLabelLength)
        label = label.left(maximumLabelLength - 1) + u'…';
    return label;
}

QFont fontOf(QTextDocument *document, const QTextFormat &format)
{
    QFont font = format.toCharFormat().font().resolve(document->defaultFont());
    font.setPointSizeF(font.pointSizeF() * 0.92);
    return font;
}
} // namespace

QColor HXTokenTextObject::colorForGroup(const QString &group)
{
    // A stable colour per group name, from a palette that reads on light and dark.
    static const QColor colors[] = {QColor(0x3d, 0x7e, 0xe0), QColor(0x2e, 0x9d, 0x4f), QColor(0xc7, 0x7c, 0x0e),
                                    QColor(0x9b, 0x59, 0xc6), QColor(0xd0, 0x4f, 0x7b), QColor(0x1f, 0x9e, 0xa6)};
    if (group.isEmpty())
        return QColor(0x80, 0x80, 0x80);
    return colors[qHash(group) % (sizeof(colors) / sizeof(colors[0]))];
}

QSizeF HXTokenTextObject::intrinsicSize(QTextDocument *document, int, const QTextFormat &format)
{
    const QFontMetricsF metrics(fontOf(document, format));
    return QSizeF(metrics.horizontalAdvance(labelOf(format)) + 2 * padding, metrics.height() + 2);
}

void HXTokenTextObject::drawObject(QPainter *painter, const QRectF &rect, QTextDocument *document, int,
                                   const QTextFormat &format)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    // The layout puts the object's bottom on the baseline; the pill sits
    // lower, centred on the text around it.
    const QRectF pill = rect.translated(0, QFontMetricsF(fontOf(document, format)).descent() - 1);
    const QColor color = colorForGroup(format.stringProperty(HXDynamicStringTextBridge::TokenGroupProperty));
    QColor fill = color;
    fill.setAlpha(48);
    painter->setPen(QPen(color, 1));
    painter->setBrush(fill);
    painter->drawRoundedRect(pill.adjusted(0.5, 1.5, -0.5, -0.5), pill.height() / 2 - 1, pill.height() / 2 - 1);
    painter->setFont(fontOf(document, format));
    const bool dark = QGuiApplication::palette().color(QPalette::Base).lightness() < 128;
    painter->setPen(dark ? color.lighter(175) : color.darker(115));
    painter->drawText(pill.adjusted(padding, 1, -padding, 0), Qt::AlignCenter, labelOf(format));
    painter->restore();
}

void HXTokenTextObject::install(QTextDocument *document)
{
    auto *handler = new HXTokenTextObject(document);
    document->documentLayout()->registerHandler(HXDynamicStringTextBridge::tokenObjectType, handler);
}
