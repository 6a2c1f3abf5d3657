#include "HXRequestListDelegate.h"

#include "HXRequestArrangementModel.h"
#include "HXRequestTreeModel.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>

QColor HXRequestListDelegate::colorForMethod(const QString &method)
{
    if (method == u"GET")
        return QColor(0x2e, 0x9d, 0x4f);
    if (method == u"POST")
        return QColor(0xc7, 0x7c, 0x0e);
    if (method == u"PUT" || method == u"PATCH")
        return QColor(0x2f, 0x6f, 0xd6);
    if (method == u"DELETE")
        return QColor(0xd0, 0x3b, 0x3b);
    return QColor(0x7a, 0x5c, 0xc4);
}

QColor HXRequestListDelegate::colorForStatusCode(int statusCode)
{
    if (statusCode >= 200 && statusCode < 300)
        return QColor(0x2e, 0x9d, 0x4f);
    if (statusCode >= 300 && statusCode < 400)
        return QColor(0x2f, 0x6f, 0xd6);
    if (statusCode >= 400 && statusCode < 500)
        return QColor(0xd9, 0x8a, 0x0b);
    if (statusCode >= 500)
        return QColor(0xd0, 0x3b, 0x3b);
    return QColor(0x8a, 0x8a, 0x8a);
}

QSize HXRequestListDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    size.setHeight(std::max(size.height(), option.fontMetrics.height() + 10));
    return size;
}

void HXRequestListDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    if (index.data(HXRequestArrangementModel::HeaderRole).toBool()) {
        // A group of an arranged list: a quiet bold title, no icon.
        QStyleOptionViewItem header = option;
        initStyleOption(&header, index);
        const QString title = header.text;
        header.text.clear();
        QApplication::style()->drawControl(QStyle::CE_ItemViewItem, &header, painter, option.widget);
        QFont bold = option.font;
        bold.setBold(true);
        QColor color = option.palette.color(QPalette::Text);
        color.setAlphaF(0.6f);
        painter->save();
        painter->setFont(bold);
        painter->setPen(color);
        const QRect rect = option.rect.adjusted(4, 0, -8, 0);
        painter->drawText(rect, Qt::AlignVCenter | Qt::AlignLeft,
                          QFontMetrics(bold).elidedText(title, Qt::ElideRight, rect.width()));
        painter->restore();
        return;
    }
    if (index.data(HXRequestTreeModel::IsFolderRole).toBool()) {
        QStyleOptionViewItem folder = option;
        initStyleOption(&folder, index);
        folder.icon = QApplication::style()->standardIcon(QStyle::SP_DirIcon);
        folder.features |= QStyleOptionViewItem::HasDecoration;
        QApplication::style()->drawControl(QStyle::CE_ItemViewItem, &folder, painter, option.widget);
        return;
    }
    QStyleOptionViewItem base = option;
    initStyleOption(&base, index);
    const QString name = base.text;
    base.text.clear();
    QApplication::style()->drawControl(QStyle::CE_ItemViewItem, &base, painter, option.widget);

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRect rect = option.rect.adjusted(4, 0, -8, 0);
    const bool selected = option.state & QStyle::State_Selected;

    // Method badge: a fixed width so the names line up.
    QFont badgeFont = option.font;
    badgeFont.setPointSizeF(std::max(6.0, badgeFont.pointSizeF() * 0.72));
    badgeFont.setBold(true);
    const QFontMetrics badgeMetrics(badgeFont);
    const QString method = index.data(HXRequestTreeModel::MethodRole).toString();
    const QString shown =
        badgeMetrics.horizontalAdvance(method) > badgeMetrics.horizontalAdvance(QStringLiteral("DELETE"))
            ? badgeMetrics.elidedText(method, Qt::ElideRight, badgeMetrics.horizontalAdvance(QStringLiteral("DELETE")))
            : method;
    const int badgeWidth = badgeMetrics.horizontalAdvance(QStringLiteral("DELETE")) + 10;
    const int badgeHeight = badgeMetrics.height() + 2;
    const QRect badge(rect.left(), rect.center().y() - badgeHeight / 2 + 1, badgeWidth, badgeHeight);
    const QColor methodColor = colorForMethod(method);
    painter->setPen(Qt::NoPen);
    QColor fill = methodColor;
    fill.setAlpha(selected ? 255 : 40);
    painter->setBrush(fill);
    painter->drawRoundedRect(badge, 4, 4);
    painter->setFont(badgeFont);
    painter->setPen(selected ? QColor(Qt::white) : methodColor);
    painter->drawText(badge, Qt::AlignCenter, shown);

    // Status at the right: a dot and the code; a running request shows an ellipsis.
    int right = rect.right();
    const int code = index.data(HXRequestTreeModel::StatusCodeRole).toInt();
    const bool running = index.data(HXRequestTreeModel::RunningRole).toBool();
    QFont codeFont = option.font;
    codeFont.setPointSizeF(std::max(6.0, codeFont.pointSizeF() * 0.85));
    painter->setFont(codeFont);
    const QFontMetrics codeMetrics(codeFont);
    const QColor textColor = option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    if (running || code > 0) {
        const QString codeText = running ? QStringLiteral("…") : QString::number(code);
        const int codeWidth = codeMetrics.horizontalAdvance(codeText);
        painter->setPen(textColor);
        painter->drawText(QRect(right - codeWidth, rect.top(), codeWidth, rect.height()), Qt::AlignVCenter, codeText);
        right -= codeWidth + 5;
        const int dot = 8;
        painter->setPen(Qt::NoPen);
        painter->setBrush(running ? option.palette.color(QPalette::Mid) : colorForStatusCode(code));
        painter->drawEllipse(QRect(right - dot, rect.center().y() - dot / 2 + 1, dot, dot));
        right -= dot + 8;
    }

    painter->setFont(option.font);
    painter->setPen(textColor);
    const QRect nameRect(badge.right() + 8, rect.top(), right - badge.right() - 8, rect.height());
    painter->drawText(nameRect, Qt::AlignVCenter | Qt::AlignLeft,
                      option.fontMetrics.elidedText(name, Qt::ElideRight, nameRect.width()));
    painter->restore();
}
