#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <deque>
#include <map>

class HXHTTPRequest;
class HXResponse;

// What was sent for each response received while a document is open: the
// request line and headers as the engine wrote them, and the body. The
// response store keeps no request, so this lives in memory only, beside the
// document, and is never logged or written anywhere. It is bounded: a body
// keeps its first maximumBodyLength bytes, and the oldest entries go once
// there are more than maximumEntries or they hold more than
// maximumTotalLength bytes together.
class HXSentRequestLog : public QObject
{
    Q_OBJECT
public:
    static constexpr qsizetype maximumBodyLength = qsizetype(1) << 20;
    static constexpr int maximumEntries = 500;
    static constexpr qsizetype maximumTotalLength = qsizetype(32) << 20;

    struct Entry
    {
        // The request line and the header lines, CRLF between them.
        QByteArray head;
        // The body as sent, up to maximumBodyLength bytes.
        QByteArray body;
        // The length of what was sent beyond `body`.
        qint64 omittedBodyLength = 0;
    };

    explicit HXSentRequestLog(QObject *parent = nullptr);

    // The log of `document`, made on first use; it goes away with it.
    static HXSentRequestLog *logForDocument(QObject *document);

    // Records what `sent` put on the wire for `response`. Call it once the
    // response head arrived: the own engine then reports its request
    // headers as written, defaults included; the other engines report the
    // headers as they were handed to them.
    void recordRequest(const HXResponse &response, const HXHTTPRequest &sent);
    void insertEntry(const QString &key, Entry entry);
    // What was sent for `response`, or null when it was not recorded (it
    // came in an earlier session, or its entry is gone).
    const Entry *entryForResponse(const HXResponse &response) const;
    int count() const { return int(m_entries.size()); }

    // Identifies a response for as long as the response store keeps it:
    // its request, its date and its head.
    static QString keyForResponse(const HXResponse &response);
    // The entry as text to show: line breaks as lines, every other control
    // character as a visible escape, and a note when the body was cut.
    static QString displayText(const Entry &entry);
    // `text` with control and direction-changing characters written as
    // "\xHH" or "\uHHHH"; tabs and line feeds stay, and so do CR LF pairs
    // (as line feeds).
    static QString visibleText(QStringView text);

private:
    static qsizetype _length(const Entry &entry) { return entry.head.size() + entry.body.size(); }

    std::map<QString, Entry> m_entries;
    std::deque<QString> m_order; // oldest first
    qsizetype m_totalLength = 0;
};
