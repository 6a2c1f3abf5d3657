// The body decoder fed every message whole, split at every point, and one
// byte at a time: the outcome must not depend on how the bytes arrive.

#include "HXHTTPBodyDecoder.h"

#include <gtest/gtest.h>

namespace {

using Result = HXHTTPBodyDecoder::Result;
using Failure = HXHTTPBodyDecoder::Failure;

struct Outcome
{
    Result result = Result::NeedMore;
    Failure failure = Failure::None;
    QByteArray body;
    qsizetype leftOver = 0; // bytes after a complete message
    QByteArray trailer;

    bool operator==(const Outcome &) const = default;
};

// Feeds `pieces` in order, then closes the connection if still undecided.
Outcome decode(HXHTTPBodyDecoder decoder, const QList<QByteArrayView> &pieces)
{
    Outcome outcome;
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        qsizetype consumed = 0;
        outcome.result = decoder.decode(pieces[i], consumed, &outcome.body);
        if (outcome.result == Result::Invalid)
            break;
        if (outcome.result == Result::Complete) {
            outcome.leftOver = pieces[i].size() - consumed;
            for (qsizetype j = i + 1; j < pieces.size(); ++j)
                outcome.leftOver += pieces[j].size();
            break;
        }
        EXPECT_EQ(consumed, pieces[i].size());
    }
    if (outcome.result == Result::NeedMore)
        outcome.result = decoder.finish();
    outcome.failure = decoder.failure();
    outcome.trailer = decoder.trailer();
    EXPECT_EQ(decoder.bodyLength(), outcome.body.size());
    return outcome;
}

TEST(HXHTTPBodyDecoderTest, SameOutcomeAtEverySplitPoint)
{
    const auto strict = HXHTTPBodyDecoder::ChunkSizeSyntax::Strict;
    struct Case
    {
        const char *name;
        HXHTTPBodyDecoder decoder;
        QByteArray input;
        Outcome expected;
    };
    auto limited = [](HXHTTPBodyDecoder decoder, qint64 maximum) {
        decoder.setMaximumBodyLength(maximum);
        return decoder;
    };
    const Case cases[] = {
        {"length",
         HXHTTPBodyDecoder::withContentLength(5),
         "hello, next",
         {Result::Complete, Failure::None, "hello", 6, ""}},
        {"length cut short",
         HXHTTPBodyDecoder::withContentLength(9),
         "hello",
         {Result::Invalid, Failure::Truncated, "hello", 0, ""}},
        {"no body", HXHTTPBodyDecoder::none(), "next", {Result::Complete, Failure::None, "", 4, ""}},
        {"until close",
         HXHTTPBodyDecoder::untilClose(),
         "all of it\r\n0\r\n\r\n",
         {Result::Complete, Failure::None, "all of it\r\n0\r\n\r\n", 0, ""}},
        {"chunks, extensions, trailer",
         HXHTTPBodyDecoder::chunked(),
         "4;ext=\"a;b\"\r\nWiki\r\n5\r\npedia\r\nE\r\n in\r\n\r\nchunks.\r\n0\r\nExpires: never\r\n\r\nGET",
         {Result::Complete, Failure::None, "Wikipedia in\r\n\r\nchunks.", 3, "Expires: never\r\n"}},
        {"bare line feeds",
         HXHTTPBodyDecoder::chunked(),
         "3\nabc\n0\n\n",
         {Result::Complete, Failure::None, "abc", 0, ""}},
        {"chunk without its line end",
         HXHTTPBodyDecoder::chunked(),
         "3\r\nabcX\r\n0\r\n\r\n",
         {Result::Invalid, Failure::Malformed, "abc", 0, ""}},
        {"chunks cut short",
         HXHTTPBodyDecoder::chunked(),
         "5\r\nabc",
         {Result::Invalid, Failure::Truncated, "abc", 0, ""}},
        {"trailer cut short",
         HXHTTPBodyDecoder::chunked(),
         "1\r\na\r\n0\r\nX: y\r\n",
         {Result::Invalid, Failure::Truncated, "a", 0, "X: y\r\n"}},
        {"lenient size", HXHTTPBodyDecoder::chunked(), "zz\r\n\r\n", {Result::Complete, Failure::None, "", 0, ""}},
        {"strict size",
         HXHTTPBodyDecoder::chunked(strict),
         "zz\r\n\r\n",
         {Result::Invalid, Failure::Malformed, "", 0, ""}},
        {"oversized number",
         HXHTTPBodyDecoder::chunked(),
         "10000000000000000\r\n",
         {Result::Invalid, Failure::Malformed, "", 0, ""}},
        {"over the maximum",
         limited(HXHTTPBodyDecoder::chunked(), 4),
         "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n",
         {Result::Invalid, Failure::TooLarge, "abc", 0, ""}},
        {"until close over the maximum",
         limited(HXHTTPBodyDecoder::untilClose(), 4),
         "abcde",
         {Result::Invalid, Failure::TooLarge, "abcde", 0, ""}},
    };
    for (const Case &testCase : cases) {
        SCOPED_TRACE(testCase.name);
        const QByteArrayView input = testCase.input;
        const Outcome whole = decode(testCase.decoder, {input});
        EXPECT_EQ(whole, testCase.expected) << "body " << whole.body.toStdString();
        for (qsizetype split = 0; split <= input.size(); ++split) {
            const Outcome outcome = decode(testCase.decoder, {input.first(split), input.sliced(split)});
            // Where a failure is found depends on the split; what was decoded
            // and why it failed do not.
            EXPECT_EQ(outcome.result, whole.result) << "split at " << split;
            EXPECT_EQ(outcome.failure, whole.failure) << "split at " << split;
            EXPECT_EQ(outcome.body, whole.body) << "split at " << split;
            if (whole.result == Result::Complete) {
                EXPECT_EQ(outcome.leftOver, whole.leftOver) << "split at " << split;
            }
        }
        QList<QByteArrayView> bytes;
        for (qsizetype i = 0; i < input.size(); ++i)
            bytes.append(input.sliced(i, 1));
        EXPECT_EQ(decode(testCase.decoder, bytes).body, whole.body);
    }
}

TEST(HXHTTPBodyDecoderTest, LongLinesAreRefusedBeforeTheirEnd)
{
    HXHTTPBodyDecoder decoder = HXHTTPBodyDecoder::chunked();
    decoder.setMaximumLineLength(16);
    qsizetype consumed = 0;
    EXPECT_EQ(decoder.decode(QByteArray("1;" + QByteArray(20, 'x')), consumed, nullptr), Result::Invalid);
    EXPECT_EQ(decoder.failure(), Failure::Malformed);
}

TEST(HXHTTPBodyDecoderTest, RequestFramingFromTheHead)
{
    struct Case
    {
        const char *head;
        HXHTTPBodyDecoder::Framing framing;
    };
    const Case cases[] = {
        {"POST / HTTP/1.1\r\nContent-Length: 3", HXHTTPBodyDecoder::Framing::ContentLength},
        {"POST / HTTP/1.1\r\ncontent-length: 0", HXHTTPBodyDecoder::Framing::None},
        {"POST / HTTP/1.1\r\nTransfer-Encoding: gzip, Chunked\r\nContent-Length: 3",
         HXHTTPBodyDecoder::Framing::Chunked},
        {"POST / HTTP/1.1\r\nContent-Length: 3\r\nTransfer-Encoding: chunked", HXHTTPBodyDecoder::Framing::Chunked},
        {"GET / HTTP/1.1\r\nHost: h", HXHTTPBodyDecoder::Framing::None},
    };
    for (const Case &testCase : cases)
        EXPECT_EQ(HXHTTPBodyDecoder::forRequestHead(testCase.head).framing(), testCase.framing) << testCase.head;
}

} // namespace
