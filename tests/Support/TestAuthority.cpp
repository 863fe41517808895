#include "TestSupport/TestAuthority.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <stdexcept>

namespace marlet {
namespace {

constexpr long version3 = 2;
constexpr long day = 24L * 60 * 60;

void check(bool isGood, const char* what) {
    if (!isGood) {
        throw std::runtime_error(what);
    }
}

std::shared_ptr<EVP_PKEY> newKey() {
    std::string curve = "P-256";
    EVP_PKEY* key = EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", curve.data());
    check(key != nullptr, "EVP_PKEY_Q_keygen");
    return {key, EVP_PKEY_free};
}

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    check(extension != nullptr, "X509V3_EXT_conf_nid");
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

std::shared_ptr<X509> newCertificate(EVP_PKEY* key, const std::string& name, long shift) {
    std::shared_ptr<X509> certificate(X509_new(), X509_free);
    X509_set_version(certificate.get(), version3);
    // Two authorities of one name are told apart by it.
    std::int64_t serial = 0;
    check(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), 7) == 1, "RAND_bytes");
    ASN1_INTEGER_set_int64(X509_get_serialNumber(certificate.get()), serial + 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), shift - day);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), shift + day);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    return certificate;
}

template <class Write>
std::string pemText(Write write) {
    std::shared_ptr<BIO> buffer(BIO_new(BIO_s_mem()), BIO_free);
    check(write(buffer.get()) == 1, "PEM_write");
    char* bytes = nullptr;
    long count = BIO_get_mem_data(buffer.get(), &bytes);
    return {bytes, static_cast<size_t>(count)};
}

std::string pemOf(X509* certificate) {
    return pemText([&](BIO* buffer) { return PEM_write_bio_X509(buffer, certificate); });
}

}  // namespace

std::shared_ptr<TLSContext> ServerIdentity::context() const {
    std::shared_ptr<SSL_CTX> result(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    auto reader = [](const std::string& text) {
        return std::shared_ptr<BIO>(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), BIO_free);
    };
    std::shared_ptr<X509> chain(PEM_read_bio_X509(reader(certificate).get(), nullptr, nullptr, nullptr), X509_free);
    std::shared_ptr<EVP_PKEY> secret(PEM_read_bio_PrivateKey(reader(key).get(), nullptr, nullptr, nullptr),
                                     EVP_PKEY_free);
    check(SSL_CTX_use_certificate(result.get(), chain.get()) == 1, "SSL_CTX_use_certificate");
    check(SSL_CTX_use_PrivateKey(result.get(), secret.get()) == 1, "SSL_CTX_use_PrivateKey");
    return result;
}

TestAuthority::TestAuthority(const std::string& name) : key(newKey()) {
    authority = newCertificate(key.get(), name, 0);
    X509_set_issuer_name(authority.get(), X509_get_subject_name(authority.get()));
    addExtension(authority.get(), authority.get(), NID_basic_constraints, "critical,CA:TRUE");
    addExtension(authority.get(), authority.get(), NID_key_usage, "critical,keyCertSign");
    check(X509_sign(authority.get(), key.get(), EVP_sha256()) > 0, "X509_sign");
    pem = pemOf(authority.get());
}

ServerIdentity TestAuthority::issue(const std::string& host, int daysFromNow) const {
    std::shared_ptr<EVP_PKEY> serverKey = newKey();
    std::shared_ptr<X509> certificate = newCertificate(serverKey.get(), host, daysFromNow * day);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(authority.get()));
    addExtension(certificate.get(), authority.get(), NID_subject_alt_name, "DNS:" + host);
    check(X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0, "X509_sign");
    ServerIdentity identity;
    identity.certificate = pemOf(certificate.get());
    identity.key = pemText([&](BIO* buffer) {
        return PEM_write_bio_PrivateKey(buffer, serverKey.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
    return identity;
}

}  // namespace marlet
