#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

// Frames and decodes one HTTP/1.1 message body, fed in pieces as they arrive:
// by Content-Length, chunked (extensions skipped, trailer fields read and
// kept), or everything until the connection closes. It knows no socket, so
// clients and servers frame bodies the same way.
//
//     HXHTTPBodyDecoder decoder = HXHTTPBodyDecoder::chunked();
//     qsizetype consumed = 0;
//     switch (decoder.decode(buffer, consumed, &body)) { ... }
//     buffer.remove(0, consumed);
class HXHTTPBodyDecoder
{
public:
    enum class Framing {
        None,          // no body at all
        ContentLength, // exactly the declared number of bytes
        Chunked,       // chunks up to the last one, then the trailer fields
        UntilClose,    // everything until the connection closes
    };
    enum class Result {
        Complete, // the whole message body (and its trailer) has been read
        NeedMore, // every byte given was taken; more must follow
        Invalid,  // the bytes cannot be a body of this framing (see failure())
    };
    enum class Failure {
        None,
        Malformed, // a chunk line or a chunk's end is not what the syntax allows
        TooLarge,  // the body would grow beyond the maximum length
        Truncated, // the connection closed before the body was complete
    };
    enum class ChunkSizeSyntax {
        // The hexadecimal digits up to the first other character; nothing
        // scannable reads as 0. What clients meet in the wild.
        Lenient,
        // One to fifteen hexadecimal digits, blanks around them allowed.
        Strict,
    };

    // Longest chunk-size line or trailer line (line end included), unless
    // set otherwise.
    static constexpr qsizetype defaultMaximumLineLength = 64 * 1024;

    static HXHTTPBodyDecoder none() { return HXHTTPBodyDecoder(Framing::None); }
    static HXHTTPBodyDecoder withContentLength(qint64 length);
    static HXHTTPBodyDecoder chunked(ChunkSizeSyntax syntax = ChunkSizeSyntax::Lenient);
    static HXHTTPBodyDecoder untilClose() { return HXHTTPBodyDecoder(Framing::UntilClose); }

    // The framing of a request's body from the request head's bytes: chunked
    // when a Transfer-Encoding ends in "chunked", else by Content-Length (an
    // unreadable one counts as none), else no body.
    static HXHTTPBodyDecoder forRequestHead(QByteArrayView head);

    // A body longer than this is refused with Failure::TooLarge (checked as
    // soon as a chunk's size is known); negative means no limit.
    void setMaximumBodyLength(qint64 length) { m_maximumBodyLength = length; }
    void setMaximumLineLength(qsizetype length) { m_maximumLineLength = length; }

    // Takes bytes from the front of `input` and reports in `consumed` how
    // many (after Complete, the rest belongs to whatever follows the
    // message). Body bytes are appended to `body`; with a null `body` they
    // are only counted, which lets a caller whose framing is not chunked
    // keep the bytes where they already are: for those framings the body is
    // exactly the first `consumed` bytes of `input`.
    Result decode(QByteArrayView input, qsizetype &consumed, QByteArray *body);
    // The connection closed: Complete when the body is complete or runs
    // until close, Invalid with Failure::Truncated otherwise.
    Result finish();

    Framing framing() const { return m_framing; }
    Failure failure() const { return m_failure; }
    // Every body byte has arrived (a chunked body's trailer may still follow).
    bool isBodyComplete() const;
    bool isComplete() const { return m_state == State::Done; }
    // Body bytes decoded so far.
    qint64 bodyLength() const { return m_bodyLength; }
    // The trailer field lines of a chunked body, line ends included.
    const QByteArray &trailer() const { return m_trailer; }

    // A chunk-size line without its line end, read the lenient way: the
    // hexadecimal number before any ";", leading blanks skipped, up to the
    // first non-hex character. Nothing scannable reads as 0; nullopt when
    // the number is too large for any body.
    static std::optional<quint64> parseChunkSize(QByteArrayView line);
    // The same, the strict way: nullopt unless one to fifteen hex digits.
    static std::optional<quint64> parseStrictChunkSize(QByteArrayView line);
    // A Content-Length value: digits, or a list of equal digit strings;
    // nullopt when malformed or too large.
    static std::optional<qint64> parseContentLength(QByteArrayView value);

private:
    enum class State { Body, ChunkSizeLine, ChunkData, ChunkDataEnd, TrailerLine, Done, Failed };

    explicit HXHTTPBodyDecoder(Framing framing);
    Result fail(Failure failure);
    // Gathers a line into m_line; true once it holds its line feed.
    bool takeLine(QByteArrayView input, qsizetype &index);
    Result lineCompleted();

    Framing m_framing;
    ChunkSizeSyntax m_chunkSizeSyntax = ChunkSizeSyntax::Lenient;
    State m_state = State::Body;
    Failure m_failure = Failure::None;
    qint64 m_remaining = 0;
    qint64 m_bodyLength = 0;
    qint64 m_maximumBodyLength = -1;
    qsizetype m_maximumLineLength = defaultMaximumLineLength;
    QByteArray m_line;
    QByteArray m_trailer;
};
