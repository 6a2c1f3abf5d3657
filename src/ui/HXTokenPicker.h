#pragma once

#include <QFrame>

class QLineEdit;
class QListWidget;

// The Ctrl+Space popup of a dynamic-string editor: the catalogue's kinds,
// narrowed as the user types (by title or group), inserted with Return or a
// click. Escape closes it.
class HXTokenPicker : public QFrame
{
    Q_OBJECT
public:
    explicit HXTokenPicker(QWidget *parent = nullptr);

    QLineEdit *searchField() const { return m_search; }
    QListWidget *list() const { return m_list; }
    // The class names shown, in catalogue order.
    QStringList shownKinds() const;

Q_SIGNALS:
    void chosen(const QString &className);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void _filter(const QString &text);
    void _choose();

    QLineEdit *m_search = nullptr;
    QListWidget *m_list = nullptr;
};
