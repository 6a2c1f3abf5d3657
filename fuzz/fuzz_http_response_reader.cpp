// Fuzzes the response reader through the socket middleware: the input is a
// response fed in pieces whose sizes come from the first bytes; the reader
// must end at most once, and the same bytes fed whole must end the same way.

#include "HXGCDAsyncSocketMiddleware.h"
#include "HXHTTPResponseReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

class Harness : public HXGCDAsyncSocketMiddlewareDelegate, public HXHTTPResponseReaderDelegate
{
public:
    Harness() : reader(&middleware, this, QStringLiteral("GET")) { reader.readResponseHead(); }

    void socketMiddlewareDidConnectToHost(HXGCDAsyncSocketMiddleware *, const QString &, quint16) override {}
    void socketMiddlewareDidSecure(HXGCDAsyncSocketMiddleware *) override {}
    void socketMiddlewareDidWriteDataWithTag(HXGCDAsyncSocketMiddleware *, long) override {}
    void socketMiddlewareDidReadDataToBuffer(HXGCDAsyncSocketMiddleware *, QByteArray &buffer, qsizetype start,
                                             qsizetype length, long tag) override
    {
        reader.socketMiddlewareDidReadDataToBuffer(buffer, start, length, tag);
    }
    void socketMiddlewareDidReadPartialDataOfLength(HXGCDAsyncSocketMiddleware *, qsizetype length, qsizetype total,
                                                    long tag) override
    {
        reader.socketMiddlewareDidReadPartialDataOfLength(length, total, tag);
    }
    void socketMiddlewareDidDisconnectWithError(HXGCDAsyncSocketMiddleware *, const HXError &error) override
    {
        reader.socketMiddlewareDidDisconnectWithError(error);
    }
    void responseReaderDidReceiveHead() override {}
    void responseReaderDidReceivePartialBody(qint64, qint64 total, qint64 expected) override
    {
        if (total > expected)
            std::abort();
    }
    void responseReaderDidFinish() override
    {
        ++ends;
        outcome = reader.responseData();
    }
    void responseReaderDidFail(const HXError &error) override
    {
        ++ends;
        outcome = "failed " + QByteArray::number(error.code);
    }

    HXGCDAsyncSocketMiddleware middleware{this};
    HXHTTPResponseReader reader;
    int ends = 0;
    QByteArray outcome;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 4)
        return 0;
    const QByteArray input(reinterpret_cast<const char *>(data) + 4, qsizetype(size - 4));

    Harness pieces;
    qsizetype offset = 0;
    for (int i = 0; offset < input.size(); i = (i + 1) % 4) {
        const qsizetype length = qMax<qsizetype>(1, data[i]);
        pieces.middleware.receiveData(input.mid(offset, length));
        offset += length;
    }
    pieces.middleware.receiveDisconnect(HXError());

    Harness whole;
    whole.middleware.receiveData(input);
    whole.middleware.receiveDisconnect(HXError());

    if (pieces.ends != 1 || whole.ends != 1 || pieces.outcome != whole.outcome)
        std::abort();
    return 0;
}
