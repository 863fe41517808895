#pragma once

#include <openssl/types.h>

#include <filesystem>
#include <memory>
#include <string>

namespace marlet {

using TLSContext = SSL_CTX;

// A server's certificate and key, as PEM text.
struct ServerIdentity {
    std::string certificate;
    std::string key;

    // For a server that speaks HTTP/1.1.
    std::shared_ptr<TLSContext> context() const;
};

// A certificate authority of the test's own, with keys made for this run.
class TestAuthority {
public:
    explicit TestAuthority(const std::string& name = "Marlet test authority");

    // Valid for a day around now, shifted by so many days.
    ServerIdentity issue(const std::string& host, int daysFromNow = 0) const;

    // Its own certificate, as PEM text.
    const std::string& certificate() const { return pem; }

private:
    std::shared_ptr<EVP_PKEY> key;
    std::shared_ptr<X509> authority;
    std::string pem;
};

}  // namespace marlet
