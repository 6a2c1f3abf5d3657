#include "HXKeyValueTableView.h"

#include "HXKeyValueTableModel.h"

#include <QHeaderView>
#include <QKeyEvent>

HXKeyValueTableView::HXKeyValueTableView(QWidget *parent) : QTableView(parent)
{
    verticalHeader()->hide();
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 10);
    horizontalHeader()->setHighlightSections(false);
    setShowGrid(false);
    setAlternatingRowColors(true);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                    QAbstractItemView::AnyKeyPressed | QAbstractItemView::SelectedClicked);
    setFrameShape(QFrame::NoFrame);
    setWordWrap(false);
}

void HXKeyValueTableView::setModel(QAbstractItemModel *model)
{
    QTableView::setModel(model);
    if (model == nullptr || model->columnCount() < 3)
        return;
    horizontalHeader()->setSectionResizeMode(0, QHeaderView::Fixed);
    horizontalHeader()->resizeSection(0, 28);
    horizontalHeader()->setSectionResizeMode(1, QHeaderView::Interactive);
    horizontalHeader()->resizeSection(1, 200);
    horizontalHeader()->setStretchLastSection(true);
}

void HXKeyValueTableView::keyPressEvent(QKeyEvent *event)
{
    if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) && state() != EditingState &&
        model() != nullptr) {
        QList<int> rows;
        for (const QModelIndex &index : selectionModel()->selectedRows())
            rows.append(index.row());
        if (auto *table = qobject_cast<HXKeyValueTableModel *>(model())) {
            table->removeRowList(rows);
        } else {
            std::sort(rows.begin(), rows.end(), std::greater<>());
            for (int row : rows)
                model()->removeRows(row, 1);
        }
        return;
    }
    QTableView::keyPressEvent(event);
}
