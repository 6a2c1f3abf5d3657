#include "HXTokenPicker.h"

#include "HXDynamicValueCatalogue.h"

#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

#include <algorithm>

namespace {
constexpr int groupRole = Qt::UserRole + 1;
constexpr int maximumVisibleRows = 12;

// A row: the kind's title, and its group in a quieter colour at the right.
class KindDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QSize size = QStyledItemDelegate::sizeHint(option, index);
        size.setHeight(std::max(size.height(), option.fontMetrics.height() + 10));
        return size;
    }

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QStyleOptionViewItem titleOption = option;
        titleOption.rect.adjust(6, 0, 0, 0);
        QStyledItemDelegate::paint(painter, titleOption, index);
        const bool selected = option.state & QStyle::State_Selected;
        painter->save();
        painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::PlaceholderText));
        QFont small = option.font;
        small.setPointSizeF(small.pointSizeF() * 0.9);
        painter->setFont(small);
        painter->drawText(option.rect.adjusted(0, 0, -8, 0), Qt::AlignRight | Qt::AlignVCenter,
                          index.data(groupRole).toString());
        painter->restore();
    }
};
} // namespace

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
    m_list->setItemDelegate(new KindDelegate(m_list));
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    for (const HXDynamicValueKind &kind : HXDynamicValueCatalogue::availableKinds()) {
        auto *item = new QListWidgetItem(HXDynamicValueCatalogue::localizedTitle(kind.className));
        item->setData(Qt::UserRole, kind.className);
        item->setData(groupRole, HXDynamicValueCatalogue::localizedGroup(kind.group));
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
    setFixedWidth(340);
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
                           item->data(groupRole).toString().contains(needle, Qt::CaseInsensitive);
        item->setHidden(!match);
        if (match && first == nullptr)
            first = item;
    }
    m_list->setCurrentItem(first);
    m_list->setVisible(first != nullptr);
    // The list is as tall as its matches, up to a dozen rows.
    int shown = 0;
    for (int row = 0; row < m_list->count(); ++row)
        shown += m_list->item(row)->isHidden() ? 0 : 1;
    m_list->setFixedHeight(std::min(shown, maximumVisibleRows) * m_list->sizeHintForRow(0) + 2 * m_list->frameWidth());
    adjustSize();
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
