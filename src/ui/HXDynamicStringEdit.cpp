#include "HXDynamicStringEdit.h"

#include "HXDynamicString.h"
#include "HXDynamicStringTextBridge.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"
#include "HXTokenEditor.h"
#include "HXTokenPicker.h"
#include "HXTokenTextObject.h"

#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QTextBlock>
#include <QToolTip>

#include <utility>

HXDynamicStringEdit::HXDynamicStringEdit(bool singleLine, QWidget *parent) : QTextEdit(parent), m_singleLine(singleLine)
{
    HXTokenTextObject::install(document());
    setAcceptRichText(false);
    setTabChangesFocus(true);
    if (singleLine) {
        setLineWrapMode(QTextEdit::NoWrap);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        document()->setDocumentMargin(3);
    }
}

QSize HXDynamicStringEdit::sizeHint() const
{
    if (!m_singleLine)
        return QTextEdit::sizeHint();
    const int height = fontMetrics().height() + 2 * int(document()->documentMargin()) + 2 * frameWidth() + 4;
    return QSize(240, height);
}

QSize HXDynamicStringEdit::minimumSizeHint() const
{
    return m_singleLine ? QSize(60, sizeHint().height()) : QTextEdit::minimumSizeHint();
}

void HXDynamicStringEdit::setDynamicString(const HXDynamicString &string)
{
    HXDynamicStringTextBridge::setDynamicString(document(), string);
    m_committed = HXDynamicValueEngine::archiveAttributedString(string);
}

HXDynamicString HXDynamicStringEdit::dynamicString() const
{
    return HXDynamicStringTextBridge::dynamicString(document());
}

void HXDynamicStringEdit::setStoredString(const QString &stored)
{
    if (stored == storedString() && stored == m_committed)
        return;
    setDynamicString(HXDynamicValueEngine::unarchiveAttributedString(stored));
    m_committed = stored;
}

QString HXDynamicStringEdit::storedString() const
{
    return HXDynamicValueEngine::archiveAttributedString(dynamicString());
}

void HXDynamicStringEdit::_finish()
{
    const QString stored = storedString();
    if (stored == m_committed)
        return;
    m_committed = stored;
    Q_EMIT editingFinished();
}

void HXDynamicStringEdit::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && (event->modifiers() & Qt::ControlModifier)) {
        showTokenPicker();
        return;
    }
    if (m_singleLine && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)) {
        if (event->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier | Qt::AltModifier)) {
            // Shortcuts such as Ctrl+Return belong to the window.
            _finish();
            event->ignore();
            return;
        }
        _finish();
        Q_EMIT returnPressed();
        return;
    }
    QTextEdit::keyPressEvent(event);
}

void HXDynamicStringEdit::focusOutEvent(QFocusEvent *event)
{
    QTextEdit::focusOutEvent(event);
    _finish();
}

void HXDynamicStringEdit::insertDynamicValueOfKind(const QString &className)
{
    HXDynamicValuePtr value = HXDynamicValueCatalogue::createValue(className);
    if (value == nullptr)
        return;
    QTextCursor cursor = textCursor();
    HXDynamicStringTextBridge::insertAttachment(cursor, HXTextAttachment::withDynamicValue(value));
    setTextCursor(cursor);
    _finish();
}

void HXDynamicStringEdit::contextMenuEvent(QContextMenuEvent *event)
{
    QMenu *menu = createStandardContextMenu(event->pos());
    menu->addSeparator();
    QMenu *insert = menu->addMenu(HXDynamicValueCatalogue::menuTitle());
    QMap<QString, QMenu *> groups;
    for (const QString &group : HXDynamicValueCatalogue::groups())
        groups.insert(group, insert->addMenu(HXDynamicValueCatalogue::localizedGroup(group)));
    for (const HXDynamicValueKind &kind : HXDynamicValueCatalogue::availableKinds()) {
        QMenu *groupMenu = groups.value(kind.group);
        if (groupMenu == nullptr)
            continue;
        const QString className = kind.className;
        groupMenu->addAction(HXDynamicValueCatalogue::localizedTitle(className), this,
                             [this, className] { insertDynamicValueOfKind(className); });
    }
    for (QMenu *groupMenu : std::as_const(groups)) {
        if (groupMenu->isEmpty())
            groupMenu->menuAction()->setVisible(false);
    }
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}

std::optional<int> HXDynamicStringEdit::tokenPositionAt(const QPoint &point) const
{
    const QTextCursor cursor = cursorForPosition(point);
    // The character under the pointer is the one after the caret position
    // when the pointer is on its left half.
    for (int offset : {0, 1}) {
        const int position = std::min(cursor.position() + offset, document()->characterCount() - 1);
        if (position <= 0)
            continue;
        QTextCursor probe(document());
        probe.setPosition(position);
        if (HXDynamicStringTextBridge::attachmentForFormat(probe.charFormat()))
            return position - 1;
    }
    return std::nullopt;
}

bool HXDynamicStringEdit::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        auto *help = static_cast<QHelpEvent *>(event);
        if (const std::optional<int> position = tokenPositionAt(viewport()->mapFrom(this, help->pos()))) {
            QTextCursor probe(document());
            probe.setPosition(*position + 1);
            const QString value = HXDynamicValueEngine::evaluateAttributedStringAsString(
                HXDynamicString::withAttachment(*HXDynamicStringTextBridge::attachmentForFormat(probe.charFormat())));
            QToolTip::showText(help->globalPos(), value.isEmpty() ? tr("(empty)") : value.left(500), this);
        } else {
            QToolTip::hideText();
        }
        return true;
    }
    return QTextEdit::event(event);
}

void HXDynamicStringEdit::mousePressEvent(QMouseEvent *event)
{
    m_pressedToken = event->button() == Qt::LeftButton ? tokenPositionAt(event->position().toPoint()).value_or(-1) : -1;
    QTextEdit::mousePressEvent(event);
}

void HXDynamicStringEdit::mouseReleaseEvent(QMouseEvent *event)
{
    QTextEdit::mouseReleaseEvent(event);
    // A click (not a drag) on a pill opens its editor.
    const int pressed = std::exchange(m_pressedToken, -1);
    if (pressed >= 0 && !textCursor().hasSelection() && tokenPositionAt(event->position().toPoint()) == pressed)
        editTokenAt(pressed);
}

HXTokenPicker *HXDynamicStringEdit::showTokenPicker()
{
    auto *picker = new HXTokenPicker(this);
    connect(picker, &HXTokenPicker::chosen, this, [this](const QString &className) {
        insertDynamicValueOfKind(className);
        setFocus();
    });
    picker->move(viewport()->mapToGlobal(cursorRect().bottomLeft() + QPoint(0, 2)));
    picker->show();
    picker->searchField()->setFocus();
    return picker;
}

HXTokenEditor *HXDynamicStringEdit::editTokenAt(int position)
{
    if (position < 0 || position + 1 >= document()->characterCount())
        return nullptr;
    QTextCursor probe(document());
    probe.setPosition(position + 1);
    const std::optional<HXTextAttachment> attachment =
        HXDynamicStringTextBridge::attachmentForFormat(probe.charFormat());
    const HXDynamicValuePtr value = attachment ? attachment->dynamicValue() : nullptr;
    if (value == nullptr)
        return nullptr;
    auto *editor = new HXTokenEditor(value, this);
    connect(editor, &HXTokenEditor::valueChanged, this, [this, position](const HXDynamicValuePtr &changed) {
        QTextCursor cursor(document());
        cursor.setPosition(position);
        cursor.setPosition(position + 1, QTextCursor::KeepAnchor);
        HXDynamicStringTextBridge::insertAttachment(cursor, HXTextAttachment::withDynamicValue(changed));
    });
    connect(editor, &QObject::destroyed, this, &HXDynamicStringEdit::_finish);
    QTextCursor at(document());
    at.setPosition(position);
    editor->move(viewport()->mapToGlobal(cursorRect(at).bottomLeft() + QPoint(0, 4)));
    editor->show();
    return editor;
}

void HXDynamicStringEdit::changeEvent(QEvent *event)
{
    QTextEdit::changeEvent(event);
    // Pills take their text colour from the palette when drawn.
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationPaletteChange)
        viewport()->update();
}

QMimeData *HXDynamicStringEdit::createMimeDataFromSelection() const
{
    const QTextCursor cursor = textCursor();
    const HXDynamicString whole = dynamicString();
    const HXDynamicString part = whole.mid(cursor.selectionStart(), cursor.selectionEnd() - cursor.selectionStart());
    auto *data = new QMimeData;
    data->setText(HXDynamicValueEngine::displayStringFromAttributedString(part));
    if (!part.attachments().isEmpty())
        data->setData(HXDynamicValue::pasteboardType(), HXDynamicValueEngine::archiveAttributedString(part).toUtf8());
    return data;
}

bool HXDynamicStringEdit::canInsertFromMimeData(const QMimeData *source) const
{
    return source->hasFormat(HXDynamicValue::pasteboardType()) || source->hasText();
}

void HXDynamicStringEdit::insertFromMimeData(const QMimeData *source)
{
    QTextCursor cursor = textCursor();
    if (source->hasFormat(HXDynamicValue::pasteboardType())) {
        const HXDynamicString string = HXDynamicValueEngine::unarchiveAttributedString(
            QString::fromUtf8(source->data(HXDynamicValue::pasteboardType())));
        cursor.beginEditBlock();
        cursor.removeSelectedText();
        string.enumerateComponentsWithBlock([&](const HXDynamicStringComponent &component, bool &) {
            if (component.isText())
                cursor.insertText(m_singleLine ? QString(component.text).replace(u'\n', u' ') : component.text,
                                  QTextCharFormat());
            else if (component.attachment != nullptr)
                HXDynamicStringTextBridge::insertAttachment(cursor, *component.attachment);
        });
        cursor.endEditBlock();
        setTextCursor(cursor);
        return;
    }
    QString text = source->text();
    text.remove(QChar(HXDynamicString::attachmentCharacter));
    if (m_singleLine)
        text.replace(u'\n', u' ');
    cursor.insertText(text, QTextCharFormat());
}
