#pragma once

#include <QTableView>

// A table of key/value rows: check box, name, value. Delete and Backspace
// remove the selected rows; the columns share the width.
class HXKeyValueTableView : public QTableView
{
    Q_OBJECT
public:
    explicit HXKeyValueTableView(QWidget *parent = nullptr);
    void setModel(QAbstractItemModel *model) override;

protected:
    void keyPressEvent(QKeyEvent *event) override;
};
