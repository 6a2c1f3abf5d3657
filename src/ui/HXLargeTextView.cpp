#include "HXLargeTextView.h"

#include <QApplication>
#include <QClipboard>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QPainter>
#include <QPointer>
#include <QScrollBar>
#include <QThreadPool>

#include <algorithm>

namespace {
// Characters of one line drawn at most; longer lines are cut on screen only.
constexpr qsizetype maximumDrawnLineLength = 4000;
constexpr int margin = 6;
} // namespace

HXLargeTextView::HXLargeTextView(QWidget *parent) : QAbstractScrollArea(parent)
{
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    m_lineStarts = {0};
}

std::vector<qsizetype> HXLargeTextView::lineStartsOf(const QString &text, qsizetype *longestLine)
{
    std::vector<qsizetype> starts{0};
    qsizetype longest = 0;
    const QChar *data = text.constData();
    for (qsizetype i = 0, size = text.size(); i < size; ++i) {
        if (data[i] == u'\n') {
            longest = std::max(longest, i - starts.back());
            starts.push_back(i + 1);
        }
    }
    longest = std::max(longest, text.size() - starts.back());
    if (longestLine != nullptr)
        *longestLine = longest;
    return starts;
}

void HXLargeTextView::setText(const QString &text)
{
    qsizetype longest = 0;
    std::vector<qsizetype> starts = lineStartsOf(text, &longest);
    setText(text, std::move(starts), longest);
}

void HXLargeTextView::setText(const QString &text, std::vector<qsizetype> lineStarts, qsizetype longestLine)
{
    m_text = text;
    m_lineStarts = lineStarts.empty() ? std::vector<qsizetype>{0} : std::move(lineStarts);
    m_longestLine = longestLine;
    m_matchStart = -1;
    m_matchLength = 0;
    ++m_searchGeneration;
    verticalScrollBar()->setValue(0);
    horizontalScrollBar()->setValue(0);
    _updateScrollBars();
    viewport()->update();
}

void HXLargeTextView::setPlaceholderText(const QString &text)
{
    m_placeholder = text;
    viewport()->update();
}

int HXLargeTextView::_lineHeight() const
{
    return fontMetrics().lineSpacing();
}

void HXLargeTextView::_updateScrollBars()
{
    const int visible = std::max(1, (viewport()->height() - 2 * margin) / _lineHeight());
    const qsizetype lines = lineCount();
    // Scroll bars count lines, so they stay within int for any text.
    verticalScrollBar()->setRange(0, int(std::min<qsizetype>(std::max<qsizetype>(0, lines - visible), INT_MAX)));
    verticalScrollBar()->setPageStep(visible);
    verticalScrollBar()->setSingleStep(1);
    const int charWidth = fontMetrics().horizontalAdvance(u'M');
    const qsizetype width = std::min(m_longestLine, maximumDrawnLineLength) * charWidth + 2 * margin;
    horizontalScrollBar()->setRange(0, int(std::max<qsizetype>(0, width - viewport()->width())));
    horizontalScrollBar()->setPageStep(viewport()->width());
    horizontalScrollBar()->setSingleStep(charWidth * 4);
}

qsizetype HXLargeTextView::firstVisibleLine() const
{
    return verticalScrollBar()->value();
}

void HXLargeTextView::scrollToLine(qsizetype line)
{
    verticalScrollBar()->setValue(int(std::clamp<qsizetype>(line, 0, verticalScrollBar()->maximum())));
}

qsizetype HXLargeTextView::_lineOf(qsizetype position) const
{
    return qsizetype(std::upper_bound(m_lineStarts.begin(), m_lineStarts.end(), position) - m_lineStarts.begin()) - 1;
}

qsizetype HXLargeTextView::_search(const QString &text, const QString &needle, qsizetype matchStart, bool backwards)
{
    qsizetype found = -1;
    if (backwards) {
        found = text.lastIndexOf(needle, matchStart > 0 ? matchStart - 1 : -1, Qt::CaseInsensitive);
        if (found < 0)
            found = text.lastIndexOf(needle, -1, Qt::CaseInsensitive);
    } else {
        found = text.indexOf(needle, matchStart < 0 ? 0 : matchStart + 1, Qt::CaseInsensitive);
        if (found < 0)
            found = text.indexOf(needle, 0, Qt::CaseInsensitive);
    }
    return found;
}

bool HXLargeTextView::find(const QString &needle, bool backwards)
{
    if (needle.isEmpty() || m_text.isEmpty())
        return false;
    const quint64 generation = ++m_searchGeneration;
    if (m_text.size() <= asynchronousSearchLength) {
        const qsizetype found = _search(m_text, needle, m_matchStart, backwards);
        if (found >= 0)
            _showMatch(found, needle.size());
        Q_EMIT searchFinished(found >= 0);
        return found >= 0;
    }
    // A copy of the text is shared, not copied: the worker reads it while
    // the view keeps drawing.
    QPointer<HXLargeTextView> self(this);
    QThreadPool::globalInstance()->start([self, generation, text = m_text, needle, start = m_matchStart, backwards] {
        const qsizetype found = _search(text, needle, start, backwards);
        QObject *receiver = self.data();
        if (receiver == nullptr)
            return;
        QMetaObject::invokeMethod(
            receiver,
            [self, generation, found, length = needle.size()] {
                if (!self || generation != self->m_searchGeneration)
                    return;
                if (found >= 0)
                    self->_showMatch(found, length);
                Q_EMIT self->searchFinished(found >= 0);
            },
            Qt::QueuedConnection);
    });
    return true;
}

void HXLargeTextView::_showMatch(qsizetype found, qsizetype length)
{
    m_matchStart = found;
    m_matchLength = length;
    const qsizetype line = _lineOf(found);
    const int visible = verticalScrollBar()->pageStep();
    if (line < firstVisibleLine() || line >= firstVisibleLine() + visible)
        scrollToLine(line - visible / 3);
    const int charWidth = fontMetrics().horizontalAdvance(u'M');
    const qsizetype column = found - m_lineStarts[size_t(line)];
    const int x = int(std::min(column, maximumDrawnLineLength)) * charWidth;
    if (x < horizontalScrollBar()->value() || x > horizontalScrollBar()->value() + viewport()->width() - 40)
        horizontalScrollBar()->setValue(std::max(0, x - viewport()->width() / 3));
    viewport()->update();
}

void HXLargeTextView::paintEvent(QPaintEvent *)
{
    QPainter painter(viewport());
    painter.setFont(font());
    const QPalette &colors = palette();
    if (m_text.isEmpty()) {
        painter.setPen(colors.color(QPalette::Disabled, QPalette::Text));
        painter.drawText(viewport()->rect(), Qt::AlignCenter, m_placeholder);
        return;
    }
    const int lineHeight = _lineHeight();
    const int ascent = fontMetrics().ascent();
    const int left = margin - horizontalScrollBar()->value();
    const qsizetype first = firstVisibleLine();
    const qsizetype lines = lineCount();
    const qsizetype matchLine = m_matchStart >= 0 ? _lineOf(m_matchStart) : -1;
    painter.setPen(colors.color(QPalette::Text));
    for (qsizetype line = first, y = margin; line < lines && y < viewport()->height(); ++line, y += lineHeight) {
        const qsizetype start = m_lineStarts[size_t(line)];
        qsizetype end = line + 1 < lines ? m_lineStarts[size_t(line) + 1] - 1 : m_text.size();
        if (end > start && m_text.at(end - 1) == u'\r')
            --end;
        const qsizetype length = std::min(end - start, maximumDrawnLineLength);
        const QString shown = m_text.mid(start, length);
        painter.drawText(left, int(y) + ascent, shown);
        if (line == matchLine && m_matchStart - start < length) {
            // Measured on the line itself, so the mark sits on the glyphs
            // whatever their advance.
            const qsizetype column = m_matchStart - start;
            const QString matched = shown.mid(column, m_matchLength);
            const QFontMetricsF metrics(font());
            const QRectF match(left + metrics.horizontalAdvance(shown.left(column)), qreal(y),
                               metrics.horizontalAdvance(matched), lineHeight);
            painter.fillRect(match, colors.color(QPalette::Highlight));
            painter.setPen(colors.color(QPalette::HighlightedText));
            painter.drawText(QPointF(match.left(), qreal(y) + ascent), matched);
            painter.setPen(colors.color(QPalette::Text));
        }
    }
}

void HXLargeTextView::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    _updateScrollBars();
}

void HXLargeTextView::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Copy) || event->matches(QKeySequence::SelectAll)) {
        // Without a selection model, copy takes the match or the whole text.
        QApplication::clipboard()->setText(m_matchStart >= 0 ? m_text.mid(m_matchStart, m_matchLength) : m_text);
        return;
    }
    if (event->matches(QKeySequence::MoveToStartOfDocument)) {
        scrollToLine(0);
        return;
    }
    if (event->matches(QKeySequence::MoveToEndOfDocument)) {
        scrollToLine(lineCount());
        return;
    }
    QAbstractScrollArea::keyPressEvent(event);
}
