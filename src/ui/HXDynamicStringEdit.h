#pragma once

#include <QTextEdit>

#include <optional>

class HXDynamicString;
class HXTextAttachment;
class HXTokenEditor;
class HXTokenPicker;

// Edits a dynamic string: text with tokens drawn as pills. A token is one
// character for the caret, copies and pastes within Kea in the
// "kestrelworks.Kea.DynamicValue" form (as its display text elsewhere), is
// inserted from the context menu or from Ctrl+Space (type to search), opens
// its editor when clicked, and shows its evaluated value on hover.
// In single-line mode Return finishes editing instead of breaking the line.
class HXDynamicStringEdit : public QTextEdit
{
    Q_OBJECT
public:
    explicit HXDynamicStringEdit(bool singleLine, QWidget *parent = nullptr);

    // The string in its stored (archived) form.
    void setStoredString(const QString &stored);
    QString storedString() const;
    void setDynamicString(const HXDynamicString &string);
    HXDynamicString dynamicString() const;
    void setPlaceholder(const QString &text) { setPlaceholderText(text); }
    void insertDynamicValueOfKind(const QString &className);
    // The Ctrl+Space popup at the caret.
    HXTokenPicker *showTokenPicker();
    // The editor of the token at `position` (a character index), or null
    // when there is no token there. Its changes replace the token; the edit
    // is committed when the editor closes.
    HXTokenEditor *editTokenAt(int position);
    // The character index of the token under a point of the viewport.
    std::optional<int> tokenPositionAt(const QPoint &point) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    // Focus left the field or Return was pressed, after a change.
    void editingFinished();
    void returnPressed();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    bool event(QEvent *event) override;
    void changeEvent(QEvent *event) override;
    QMimeData *createMimeDataFromSelection() const override;
    bool canInsertFromMimeData(const QMimeData *source) const override;
    void insertFromMimeData(const QMimeData *source) override;

private:
    void _finish();

    bool m_singleLine;
    int m_pressedToken = -1;
    QString m_committed;
};
