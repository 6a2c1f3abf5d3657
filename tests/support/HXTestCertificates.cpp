#include "HXTestCertificates.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>

namespace {

template <typename T, void (*Free)(T *)>
struct Deleter
{
    void operator()(T *object) const { Free(object); }
};
using KeyPointer = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY, EVP_PKEY_free>>;
using CertificatePointer = std::unique_ptr<X509, Deleter<X509, X509_free>>;
using BIOPointer = std::unique_ptr<BIO, Deleter<BIO, BIO_free_all>>;

QByteArray readBIO(BIO *bio)
{
    char *data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    return QByteArray(data, int(length));
}

QByteArray keyPEM(EVP_PKEY *key)
{
    BIOPointer bio(BIO_new(BIO_s_mem()));
    PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
    return readBIO(bio.get());
}

QByteArray certificatePEM(X509 *certificate)
{
    BIOPointer bio(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(bio.get(), certificate);
    return readBIO(bio.get());
}

KeyPointer readKey(const QByteArray &pem)
{
    BIOPointer bio(BIO_new_mem_buf(pem.constData(), int(pem.size())));
    return KeyPointer(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
}

CertificatePointer readCertificate(const QByteArray &pem)
{
    BIOPointer bio(BIO_new_mem_buf(pem.constData(), int(pem.size())));
    return CertificatePointer(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
}

void addExtension(X509 *certificate, X509 *issuer, int nid, const QByteArray &value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION *extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.constData());
    if (extension != nullptr) {
        X509_add_ext(certificate, extension, -1);
        X509_EXTENSION_free(extension);
    }
}

// Makes and signs a certificate; a null issuer makes it self-signed.
HXTestCertificate make(const QString &commonName, const QStringList &dnsNames, const QStringList &ipAddresses, int days,
                       bool authority, const HXTestCertificate *issuer)
{
    KeyPointer key(EVP_EC_gen("P-256"));
    if (!key)
        return {};
    CertificatePointer certificate(X509_new());
    X509_set_version(certificate.get(), 2);
    unsigned char serial[8];
    RAND_bytes(serial, sizeof serial);
    serial[0] &= 0x7f;
    BIGNUM *number = BN_bin2bn(serial, sizeof serial, nullptr);
    BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate.get()));
    BN_free(number);
    const long seconds = long(days) * 24 * 3600;
    if (days >= 0) {
        X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
        X509_gmtime_adj(X509_getm_notAfter(certificate.get()), seconds);
    } else {
        X509_gmtime_adj(X509_getm_notBefore(certificate.get()), seconds - 3600);
        X509_gmtime_adj(X509_getm_notAfter(certificate.get()), -3600);
    }
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME *name = X509_get_subject_name(certificate.get());
    const QByteArray cn = commonName.toUtf8();
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, reinterpret_cast<const unsigned char *>("Kea Tests"), -1, -1,
                               0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char *>(cn.constData()), -1,
                               -1, 0);

    CertificatePointer issuerCertificate;
    KeyPointer signingKey;
    if (issuer != nullptr) {
        issuerCertificate = readCertificate(issuer->certificatePEM);
        signingKey = readKey(issuer->privateKeyPEM);
        if (!issuerCertificate || !signingKey)
            return {};
        X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuerCertificate.get()));
    } else {
        X509_set_issuer_name(certificate.get(), name);
    }
    X509 *issuerX509 = issuerCertificate ? issuerCertificate.get() : certificate.get();
    addExtension(certificate.get(), issuerX509, NID_basic_constraints,
                 authority ? QByteArrayLiteral("critical,CA:TRUE") : QByteArrayLiteral("critical,CA:FALSE"));
    addExtension(certificate.get(), issuerX509, NID_key_usage,
                 authority ? QByteArrayLiteral("critical,keyCertSign,cRLSign")
                           : QByteArrayLiteral("critical,digitalSignature,keyEncipherment"));
    addExtension(certificate.get(), issuerX509, NID_subject_key_identifier, QByteArrayLiteral("hash"));
    if (issuer != nullptr)
        addExtension(certificate.get(), issuerX509, NID_authority_key_identifier, QByteArrayLiteral("keyid:always"));
    if (!authority) {
        addExtension(certificate.get(), issuerX509, NID_ext_key_usage, QByteArrayLiteral("serverAuth"));
        QStringList names;
        for (const QString &dns : dnsNames)
            names.append(QStringLiteral("DNS:") + dns);
        for (const QString &ip : ipAddresses)
            names.append(QStringLiteral("IP:") + ip);
        if (!names.isEmpty())
            addExtension(certificate.get(), issuerX509, NID_subject_alt_name, names.join(u',').toUtf8());
    }
    if (X509_sign(certificate.get(), signingKey ? signingKey.get() : key.get(), EVP_sha256()) == 0)
        return {};
    return {certificatePEM(certificate.get()), keyPEM(key.get())};
}

} // namespace

namespace HXTestCertificates {

HXTestCertificate selfSigned(const QString &commonName, const QStringList &dnsNames, const QStringList &ipAddresses,
                             int days)
{
    return make(commonName, dnsNames, ipAddresses, days, false, nullptr);
}

HXTestCertificate certificateAuthority(const QString &commonName, int days)
{
    return make(commonName, {}, {}, days, true, nullptr);
}

HXTestCertificate signedBy(const HXTestCertificate &issuer, const QString &commonName, const QStringList &dnsNames,
                           const QStringList &ipAddresses, int days)
{
    return make(commonName, dnsNames, ipAddresses, days, false, &issuer);
}

} // namespace HXTestCertificates
