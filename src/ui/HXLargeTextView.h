#pragma once

#include <QAbstractScrollArea>

#include <vector>

// A read-only text view for bodies of any size: it keeps the text and the
// offsets of its lines and lays out only the lines that are visible, so a
// 100 MB body shows and scrolls as fast as a small one. Monospaced, no
// wrapping. Find highlights one match and scrolls to it.
class HXLargeTextView : public QAbstractScrollArea
{
    Q_OBJECT
public:
    explicit HXLargeTextView(QWidget *parent = nullptr);

    // `lineStarts` holds the offset of every line (the first is 0); compute
    // it off the main thread with lineStartsOf() for large texts.
    void setText(const QString &text, std::vector<qsizetype> lineStarts, qsizetype longestLine);
    void setText(const QString &text);
    const QString &text() const { return m_text; }
    qsizetype lineCount() const { return qsizetype(m_lineStarts.size()); }
    static std::vector<qsizetype> lineStartsOf(const QString &text, qsizetype *longestLine = nullptr);

    // Finds `needle` (case-insensitive) after the current match, wrapping
    // round; false when the text does not contain it. In a text longer than
    // asynchronousSearchLength the search runs on a worker: find() answers
    // whether it started, and searchFinished() tells the result.
    bool find(const QString &needle, bool backwards = false);
    static constexpr qsizetype asynchronousSearchLength = 4 << 20;
    qsizetype matchPosition() const { return m_matchStart; }
    // The first line shown.
    qsizetype firstVisibleLine() const;
    void scrollToLine(qsizetype line);
    // Placeholder shown when the text is empty.
    void setPlaceholderText(const QString &text);

Q_SIGNALS:
    void searchFinished(bool found);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void _updateScrollBars();
    void _showMatch(qsizetype position, qsizetype length);
    static qsizetype _search(const QString &text, const QString &needle, qsizetype matchStart, bool backwards);
    qsizetype _lineOf(qsizetype position) const;
    int _lineHeight() const;

    QString m_text;
    QString m_placeholder;
    std::vector<qsizetype> m_lineStarts;
    qsizetype m_longestLine = 0;
    qsizetype m_matchStart = -1;
    qsizetype m_matchLength = 0;
    quint64 m_searchGeneration = 0;
};
