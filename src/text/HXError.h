#pragma once

#include <QMetaType>
#include <QString>
#include <QVariantMap>

#include <memory>

// An error as every layer reports it: a domain, a numeric code, a text meant
// for the user, and optionally the error that caused it.
struct HXError
{
    QString domain;
    qint64 code = 0;
    QString description;
    QVariantMap userInfo;
    std::shared_ptr<const HXError> underlying;

    HXError() = default;
    HXError(QString errorDomain, qint64 errorCode, QString errorDescription)
        : domain(std::move(errorDomain)), code(errorCode), description(std::move(errorDescription))
    {}

    // A copy of this error with `cause` attached underneath.
    HXError withUnderlying(const HXError &cause) const
    {
        HXError copy = *this;
        copy.underlying = std::make_shared<const HXError>(cause);
        return copy;
    }

    bool isNull() const { return domain.isEmpty() && code == 0 && description.isEmpty(); }

    // Equality of domain and code, which is how errors are compared by callers.
    bool sameKindAs(const HXError &other) const { return domain == other.domain && code == other.code; }
};

Q_DECLARE_METATYPE(HXError)
