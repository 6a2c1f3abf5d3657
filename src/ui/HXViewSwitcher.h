#pragma once

#include <QWidget>

class QButtonGroup;

// A segmented control of checkable buttons, one of which is chosen; the
// chosen one is drawn in the highlight colour so it stands out in light and
// dark palettes.
class HXViewSwitcher : public QWidget
{
    Q_OBJECT
public:
    HXViewSwitcher(const QStringList &titles, QWidget *parent = nullptr);

    int currentIndex() const;
    void setCurrentIndex(int index);

Q_SIGNALS:
    void chosen(int index);

protected:
    void changeEvent(QEvent *event) override;

private:
    void _applyStyle();
    bool m_styling = false;
    QButtonGroup *m_buttons;
};
