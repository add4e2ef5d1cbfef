// Sole owners of OpenSSL's handles, and of what a call leaves in the thread's error queue.
#pragma once

#include <memory>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

namespace tarn::detail {

template <auto Free>
struct OpensslFree {
    template <typename Handle>
    void operator()(Handle* handle) const {
        Free(handle);
    }
};

using OwnedBio = std::unique_ptr<BIO, OpensslFree<BIO_free>>;
using OwnedCertificate = std::unique_ptr<X509, OpensslFree<X509_free>>;
using OwnedCrl = std::unique_ptr<X509_CRL, OpensslFree<X509_CRL_free>>;
using OwnedKey = std::unique_ptr<EVP_PKEY, OpensslFree<EVP_PKEY_free>>;

// Takes the errors of a scope back out of the queue: one left behind by work that succeeded in the end would pass for
// the reason when the caller's next TLS call fails.
class OpensslErrors {
 public:
    OpensslErrors() { ERR_set_mark(); }
    ~OpensslErrors() {
        if (kept_) {
            ERR_clear_last_mark();
        } else {
            ERR_pop_to_mark();
        }
    }
    OpensslErrors(const OpensslErrors&) = delete;
    OpensslErrors& operator=(const OpensslErrors&) = delete;

    // Leaves them to the caller after all.
    void keep() { kept_ = true; }

 private:
    bool kept_ = false;
};

} // namespace tarn::detail
