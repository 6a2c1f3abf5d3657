#include "HXServerTrust.h"

#include "HXHTTPLogging.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QMutex>
#include <QSslConfiguration>

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <memory>

namespace {

template <typename T, void (*Free)(T *)>
struct Deleter
{
    void operator()(T *pointer) const { Free(pointer); }
};
using X509Pointer = std::unique_ptr<X509, Deleter<X509, X509_free>>;
using StorePointer = std::unique_ptr<X509_STORE, Deleter<X509_STORE, X509_STORE_free>>;
using StoreContextPointer = std::unique_ptr<X509_STORE_CTX, Deleter<X509_STORE_CTX, X509_STORE_CTX_free>>;

void freeCertificateStack(STACK_OF(X509) * stack)
{
    sk_X509_pop_free(stack, X509_free);
}
using StackPointer = std::unique_ptr<STACK_OF(X509), Deleter<STACK_OF(X509), freeCertificateStack>>;

X509Pointer toX509(const QSslCertificate &certificate)
{
    const QByteArray der = certificate.toDer();
    const auto *data = reinterpret_cast<const unsigned char *>(der.constData());
    return X509Pointer(d2i_X509(nullptr, &data, long(der.size())));
}

QSslError::SslError sslErrorFor(int verifyResult)
{
    switch (verifyResult) {
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        return QSslError::UnableToGetIssuerCertificate;
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        return QSslError::UnableToGetLocalIssuerCertificate;
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        return QSslError::UnableToVerifyFirstCertificate;
    case X509_V_ERR_CERT_SIGNATURE_FAILURE:
        return QSslError::CertificateSignatureFailed;
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return QSslError::CertificateNotYetValid;
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return QSslError::CertificateExpired;
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        return QSslError::SelfSignedCertificate;
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        return QSslError::SelfSignedCertificateInChain;
    case X509_V_ERR_CERT_REVOKED:
        return QSslError::CertificateRevoked;
    case X509_V_ERR_INVALID_CA:
        return QSslError::InvalidCaCertificate;
    case X509_V_ERR_PATH_LENGTH_EXCEEDED:
        return QSslError::PathLengthExceeded;
    case X509_V_ERR_INVALID_PURPOSE:
        return QSslError::InvalidPurpose;
    case X509_V_ERR_CERT_UNTRUSTED:
        return QSslError::CertificateUntrusted;
    case X509_V_ERR_CERT_REJECTED:
        return QSslError::CertificateRejected;
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
        return QSslError::HostNameMismatch;
    default:
        return QSslError::UnspecifiedError;
    }
}

// What a trust store is built from: the extra CA files as they are on disk
// now, and the roots added to Qt's default configuration.
struct StoreSources
{
    QStringList files;
    QList<QDateTime> fileTimes;
    QList<qint64> fileSizes;
    QList<QSslCertificate> authorities;

    bool operator==(const StoreSources &) const = default;
};

StoreSources currentSources(const QStringList &extraCAFiles)
{
    StoreSources sources;
    sources.files = extraCAFiles;
    for (const QString &file : extraCAFiles) {
        const QFileInfo info(file);
        sources.fileTimes.append(info.lastModified());
        sources.fileSizes.append(info.exists() ? info.size() : -1);
    }
    sources.authorities = QSslConfiguration::defaultConfiguration().caCertificates();
    return sources;
}

StorePointer makeStore(const StoreSources &sources)
{
    StorePointer store(X509_STORE_new());
    if (!store)
        return store;
    X509_STORE_set_default_paths(store.get());
    // Roots the process added to Qt's default configuration count too.
    for (const QSslCertificate &authority : sources.authorities) {
        if (const X509Pointer root = toX509(authority))
            X509_STORE_add_cert(store.get(), root.get());
    }
    ERR_clear_error();
    for (const QString &file : sources.files) {
        const QByteArray path = QFile::encodeName(file);
        if (X509_STORE_load_locations(store.get(), path.constData(), nullptr) != 1)
            qCWarning(lcKeaHttp) << "cannot read the CA file" << file << "- its certificates are not trusted";
        ERR_clear_error();
    }
    return store;
}

// Reading the system's bundle parses every root it holds, which costs more
// than a loopback request: the store is built once and shared until what it
// is made from changes. OpenSSL stores may verify on several threads. The
// last store is kept to the end of the process on purpose: freeing it from a
// static destructor could run after OpenSSL cleaned up.
StorePointer sharedStore(const QStringList &extraCAFiles)
{
    static QMutex mutex;
    static StoreSources *cachedSources = nullptr;
    static X509_STORE *cachedStore = nullptr;
    StoreSources sources = currentSources(extraCAFiles);
    QMutexLocker lock(&mutex);
    if (cachedStore == nullptr || cachedSources == nullptr || !(sources == *cachedSources)) {
        StorePointer made = makeStore(sources);
        if (!made)
            return made;
        X509_STORE_free(cachedStore);
        cachedStore = made.release();
        delete cachedSources;
        cachedSources = new StoreSources(std::move(sources));
    }
    X509_STORE_up_ref(cachedStore);
    return StorePointer(cachedStore);
}

} // namespace

QList<QSslError> HXServerTrust::evaluate() const
{
    if (chain.isEmpty())
        return {QSslError(QSslError::NoPeerCertificate)};
    QList<QSslError> errors;
    const StorePointer store = sharedStore(extraCAFiles);
    const StackPointer untrusted(sk_X509_new_null());
    const X509Pointer leaf = toX509(chain.first());
    if (!store || !untrusted || !leaf)
        return {QSslError(QSslError::UnspecifiedError, chain.first())};
    for (qsizetype i = 1; i < chain.size(); ++i) {
        if (X509Pointer intermediate = toX509(chain.at(i)))
            sk_X509_push(untrusted.get(), intermediate.release());
    }
    const StoreContextPointer context(X509_STORE_CTX_new());
    if (!context || X509_STORE_CTX_init(context.get(), store.get(), leaf.get(), untrusted.get()) != 1)
        return {QSslError(QSslError::UnspecifiedError, chain.first())};
    X509_VERIFY_PARAM *parameters = X509_STORE_CTX_get0_param(context.get());
    X509_VERIFY_PARAM_set_purpose(parameters, X509_PURPOSE_SSL_SERVER);
    const QByteArray hostName = host.toUtf8();
    if (QHostAddress(host).isNull())
        X509_VERIFY_PARAM_set1_host(parameters, hostName.constData(), size_t(hostName.size()));
    else
        X509_VERIFY_PARAM_set1_ip_asc(parameters, hostName.constData());
    if (X509_verify_cert(context.get()) != 1) {
        const int depth = X509_STORE_CTX_get_error_depth(context.get());
        errors.append(
            QSslError(sslErrorFor(X509_STORE_CTX_get_error(context.get())), chain.value(depth, chain.first())));
    }
    ERR_clear_error();
    return errors;
}
