#pragma once

#include "HXResult.h"

#include <QByteArray>
#include <QCborValue>

// The team's keyed archive for plain values: deterministic CBOR. Map keys are
// written sorted by their UTF-8 bytes, integers in their shortest form,
// doubles as 64-bit floats, so equal values always give equal bytes (and
// digests taken over them agree). Sets are tag 258 over an array; dates tag 1
// over seconds since 1970.
class HXKeyedArchiver
{
public:
    static constexpr quint64 setTag = 258;
    static constexpr const char *errorDomain = "kestrelworks.Kea.KeyedArchive";
    enum class ErrorCode : qint64 {
        // The bytes are not one whole CBOR item.
        Unreadable = 1,
    };

    static QByteArray archivedDataWithRootObject(const QCborValue &root);
    // The value of an archive, or an error for bytes that are not one whole
    // CBOR item.
    static HXResult<QCborValue> unarchivedObjectWithData(const QByteArray &data);

    // A tag 258 array of the given members.
    static QCborValue setWithArray(const QCborArray &members);
    // The members of a set (or of a plain array); empty for anything else.
    static QCborArray arrayFromSet(const QCborValue &value);
    static bool isSet(const QCborValue &value);
};
