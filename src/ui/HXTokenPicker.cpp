#include "HXTokenPicker.h"

#include "HXDynamicValueCatalogue.h"

#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QVBoxLayout>

#include <algorithm>

HXTokenPicker::HXTokenPicker(QWidget *parent) : QFrame(parent, Qt::Popup)
{
    setObjectName(QStringLiteral("tokenPicker"));
    setAttribute(Qt::WA_DeleteOnClose);
    setFrameShape(QFrame::StyledPanel);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->setSpacing(4);
    m_search = new QLineEdit;
    m_search->setPlaceholderText(tr("Search Dynamic Values"));
    m_search->setClearButtonEnabled(true);
    m_search->installEventFilter(this);
    m_list = new QListWidget;
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setUniformItemSizes(true);
    for (const HXDynamicValueKind &kind : HXDynamicValueCatalogue::availableKinds()) {
        auto *item = new QListWidgetItem(HXDynamicValueCatalogue::localizedTitle(kind.className));
        item->setData(Qt::UserRole, kind.className);
        item->setData(Qt::UserRole + 1, HXDynamicValueCatalogue::localizedGroup(kind.group));
        item->setToolTip(HXDynamicValueCatalogue::localizedGroup(kind.group));
        m_list->addItem(item);
    }
    auto *empty = new QLabel(tr("No Matches"));
    empty->setObjectName(QStringLiteral("noMatches"));
    empty->setAlignment(Qt::AlignCenter);
    empty->setEnabled(false);
    empty->hide();
    layout->addWidget(m_search);
    layout->addWidget(m_list, 1);
    layout->addWidget(empty);
    connect(m_search, &QLineEdit::textChanged, this, &HXTokenPicker::_filter);
    connect(m_list, &QListWidget::itemActivated, this, &HXTokenPicker::_choose);
    connect(m_list, &QListWidget::itemClicked, this, &HXTokenPicker::_choose);
    const int rows = std::min(m_list->count(), 12);
    resize(300, m_search->sizeHint().height() + rows * m_list->sizeHintForRow(0) + 20);
    _filter(QString());
}

QStringList HXTokenPicker::shownKinds() const
{
    QStringList kinds;
    for (int row = 0; row < m_list->count(); ++row) {
        if (!m_list->item(row)->isHidden())
            kinds.append(m_list->item(row)->data(Qt::UserRole).toString());
    }
    return kinds;
}

void HXTokenPicker::_filter(const QString &text)
{
    const QString needle = text.trimmed();
    QListWidgetItem *first = nullptr;
    for (int row = 0; row < m_list->count(); ++row) {
        QListWidgetItem *item = m_list->item(row);
        const bool match = item->text().contains(needle, Qt::CaseInsensitive) ||
                           item->data(Qt::UserRole + 1).toString().contains(needle, Qt::CaseInsensitive);
        item->setHidden(!match);
        if (match && first == nullptr)
            first = item;
    }
    m_list->setCurrentItem(first);
    m_list->setVisible(first != nullptr);
    if (auto *empty = findChild<QLabel *>(QStringLiteral("noMatches")))
        empty->setVisible(first == nullptr);
}

void HXTokenPicker::_choose()
{
    QListWidgetItem *item = m_list->currentItem();
    if (item == nullptr || item->isHidden())
        return;
    const QString className = item->data(Qt::UserRole).toString();
    close();
    Q_EMIT chosen(className);
}

bool HXTokenPicker::eventFilter(QObject *watched, QEvent *event)
{
    // The search field keeps the focus; the arrow keys move in the list.
    if (watched == m_search && event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        switch (key->key()) {
        case Qt::Key_Up:
        case Qt::Key_Down:
        case Qt::Key_PageUp:
        case Qt::Key_PageDown: {
            int row = m_list->currentRow();
            const int step = key->key() == Qt::Key_Up || key->key() == Qt::Key_PageUp ? -1 : 1;
            for (int next = row + step; next >= 0 && next < m_list->count(); next += step) {
                if (!m_list->item(next)->isHidden()) {
                    m_list->setCurrentRow(next);
                    break;
                }
            }
            return true;
        }
        case Qt::Key_Return:
        case Qt::Key_Enter:
            _choose();
            return true;
        default:
            break;
        }
    }
    return QFrame::eventFilter(watched, event);
}
