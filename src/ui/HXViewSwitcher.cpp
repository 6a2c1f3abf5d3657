#include "HXViewSwitcher.h"

#include <QButtonGroup>
#include <QEvent>
#include <QHBoxLayout>
#include <QTimer>
#include <QToolButton>

HXViewSwitcher::HXViewSwitcher(const QStringList &titles, QWidget *parent)
    : QWidget(parent), m_buttons(new QButtonGroup(this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 0, 8, 0);
    layout->setSpacing(0);
    for (int i = 0; i < titles.size(); ++i) {
        auto *button = new QToolButton;
        button->setText(titles.at(i));
        button->setCheckable(true);
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
        if (i == 0)
            button->setObjectName(QStringLiteral("first"));
        if (i == titles.size() - 1)
            button->setObjectName(QStringLiteral("last"));
        m_buttons->addButton(button, i);
        layout->addWidget(button);
    }
    _applyStyle();
    connect(m_buttons, &QButtonGroup::idClicked, this, &HXViewSwitcher::chosen);
}

int HXViewSwitcher::currentIndex() const
{
    return m_buttons->checkedId();
}

void HXViewSwitcher::setCurrentIndex(int index)
{
    if (QAbstractButton *button = m_buttons->button(index))
        button->setChecked(true);
}

void HXViewSwitcher::_applyStyle()
{
    // Style sheets read the palette when they are applied: apply again when
    // it changes (a switch between light and dark).
    m_styling = true;
    setStyleSheet(QString());
    setStyleSheet(QStringLiteral(
        "QToolButton { border: 1px solid rgba(128, 128, 128, 0.55); background: transparent; padding: 3px 12px;"
        " color: palette(button-text); }"
        "QToolButton:checked { background: palette(highlight); color: palette(highlighted-text);"
        " border-color: palette(highlight); }"
        "QToolButton:hover:!checked { background: rgba(128, 128, 128, 0.18); }"
        "QToolButton#first { border-top-left-radius: 4px; border-bottom-left-radius: 4px; }"
        "QToolButton#last { border-top-right-radius: 4px; border-bottom-right-radius: 4px; }"));
    m_styling = false;
}

void HXViewSwitcher::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    // Applied once the new palette has reached every widget.
    if ((event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationPaletteChange) && !m_styling)
        QTimer::singleShot(0, this, &HXViewSwitcher::_applyStyle);
}
