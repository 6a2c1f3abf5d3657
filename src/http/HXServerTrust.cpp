#include "HXServerTrust.h"

QList<QSslError> HXServerTrust::evaluate() const
{
    if (chain.isEmpty())
        return {QSslError(QSslError::NoPeerCertificate)};
    return QSslCertificate::verify(chain, host);
}
