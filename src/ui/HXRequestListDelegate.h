#pragma once

#include <QStyledItemDelegate>

// Draws a row of the request list: a coloured method badge, the name, and
// the last response's status code as a coloured dot with the code.
class HXRequestListDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    static QColor colorForMethod(const QString &method);
    static QColor colorForStatusCode(int statusCode);
};
