#pragma once

#include <QByteArray>
#include <QString>

#include <limits>
#include <memory>

class QIODevice;

// One read asked of the socket middleware: bytes land in `buffer`, which the
// caller may own (so a body accumulates directly in the caller's storage).
// Subclasses decide when the read is complete.
class HXGCDAsyncSocketReadOperation
{
public:
    enum CompletionType {
        CompletionTypeQueued = 0,    // a new operation was queued
        CompletionTypeBytesRead = 1, // bytes arrived
        CompletionTypeClosed = 2,    // the connection closed
    };

    // `buffer` is the destination (not owned); null makes an internal one.
    HXGCDAsyncSocketReadOperation(QByteArray *buffer, long tag);
    virtual ~HXGCDAsyncSocketReadOperation();
    HXGCDAsyncSocketReadOperation(const HXGCDAsyncSocketReadOperation &) = delete;
    HXGCDAsyncSocketReadOperation &operator=(const HXGCDAsyncSocketReadOperation &) = delete;

    QByteArray &buffer() { return *m_buffer; }
    qsizetype initialBufferLength() const { return m_initialBufferLength; }
    long tag() const { return m_tag; }
    // Bytes this operation has taken so far.
    qsizetype bytesTaken() const { return m_buffer->size() - m_initialBufferLength; }
    QString description() const;

    // Takes what it needs from the front of `prebuffer`; true when complete.
    virtual bool completeOperationWithPrebuffer(QByteArray &prebuffer, CompletionType completionType) = 0;
    // How many bytes may go straight from the socket into `buffer`, bypassing
    // the pre-buffer (only asked while the pre-buffer is empty).
    virtual qint64 directReadCapacity() const { return 0; }

protected:
    virtual const char *className() const = 0;

    QByteArray *m_buffer;
    std::unique_ptr<QByteArray> m_ownBuffer;
    qsizetype m_initialBufferLength;
    long m_tag;
};

// Completes at the first occurrence of the terminator, taking everything up
// to and including it. With a maximum length, a pre-buffer that reaches it
// without the terminator completes with that many bytes (no terminator at the
// end tells the caller the limit was hit).
class HXGCDAsyncSocketToDataReadOperation : public HXGCDAsyncSocketReadOperation
{
public:
    HXGCDAsyncSocketToDataReadOperation(const QByteArray &toData, QByteArray *buffer, long tag,
                                        qsizetype maxLength = 0);
    bool completeOperationWithPrebuffer(QByteArray &prebuffer, CompletionType completionType) override;
    QByteArray toData() const { return m_toData; }

protected:
    const char *className() const override { return "HXGCDAsyncSocketToDataReadOperation"; }
    virtual qsizetype findEnd(const QByteArray &prebuffer);

    QByteArray m_toData;
    qsizetype m_maxLength;
    qsizetype m_searchedUpTo = 0;
};

// Completes at the empty line that ends an HTTP head (lines ended by CR LF or
// a bare LF), with the same maximum-length rule.
class HXGCDAsyncSocketToEmptyLineReadOperation : public HXGCDAsyncSocketToDataReadOperation
{
public:
    HXGCDAsyncSocketToEmptyLineReadOperation(QByteArray *buffer, long tag, qsizetype maxLength);

protected:
    const char *className() const override { return "HXGCDAsyncSocketToEmptyLineReadOperation"; }
    qsizetype findEnd(const QByteArray &prebuffer) override;
};

// Completes when exactly `toLength` bytes were taken. Bytes are moved into
// the buffer as they arrive, so a large body is never held twice.
class HXGCDAsyncSocketToLengthReadOperation : public HXGCDAsyncSocketReadOperation
{
public:
    HXGCDAsyncSocketToLengthReadOperation(qsizetype toLength, QByteArray *buffer, long tag);
    bool completeOperationWithPrebuffer(QByteArray &prebuffer, CompletionType completionType) override;
    qint64 directReadCapacity() const override { return m_toLength - bytesTaken(); }
    qsizetype toLength() const { return m_toLength; }

protected:
    const char *className() const override { return "HXGCDAsyncSocketToLengthReadOperation"; }

private:
    qsizetype m_toLength;
};

// Takes everything until the connection closes; completes at the close when
// it has taken anything.
class HXGCDAsyncSocketToEOFReadOperation : public HXGCDAsyncSocketReadOperation
{
public:
    HXGCDAsyncSocketToEOFReadOperation(QByteArray *buffer, long tag);
    bool completeOperationWithPrebuffer(QByteArray &prebuffer, CompletionType completionType) override;
    qint64 directReadCapacity() const override { return std::numeric_limits<qint32>::max(); }

protected:
    const char *className() const override { return "HXGCDAsyncSocketToEOFReadOperation"; }
};

// Completes as soon as it holds any bytes, taking what has arrived (at most
// `lengthHint` when that is positive; an empty buffer then gets room for
// that many up front). A close with nothing taken leaves it waiting.
class HXGCDAsyncSocketAvailableReadOperation : public HXGCDAsyncSocketReadOperation
{
public:
    HXGCDAsyncSocketAvailableReadOperation(QByteArray *buffer, long tag, qsizetype lengthHint);
    bool completeOperationWithPrebuffer(QByteArray &prebuffer, CompletionType completionType) override;
    qint64 directReadCapacity() const override
    {
        return m_lengthHint > 0 ? m_lengthHint - bytesTaken() : std::numeric_limits<qint32>::max();
    }

protected:
    const char *className() const override { return "HXGCDAsyncSocketAvailableReadOperation"; }

private:
    qsizetype m_lengthHint;
};
