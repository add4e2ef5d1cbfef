// "tarnctl cert check": builds for each installed type the TLS context that a process would, and says what fails.
#define OPENSSL_SUPPRESS_DEPRECATED // The keyless keys are with an engine.
#include <openssl/engine.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "cert.h"
#include "demo_ca.h"
#include "item_text.h"
#include "tarn_platform/om_certificate.h"
#include "tarn_platform/tls_extension.h"

namespace tarnctl {
namespace {

constexpr const char* kEngineId = "openssl_engine";
constexpr int64_t kSoonDays = 14;

using ContextPointer = std::unique_ptr<SSL_CTX, OpensslFree<SSL_CTX_free>>;
using EnginePointer = std::unique_ptr<ENGINE, OpensslFree<ENGINE_free>>;
using StorePointer = std::unique_ptr<X509_STORE_CTX, OpensslFree<X509_STORE_CTX_free>>;

// What is wrong with one file or type.
class Findings {
 public:
    void add(const std::string& where, const std::string& text) {
        std::printf("%s: %s\n", valueText(where).c_str(), text.c_str());
        isGood_ = false;
    }
    void warn(const std::string& where, const std::string& text) const {
        std::printf("%s: %s\n", valueText(where).c_str(), text.c_str());
    }
    bool isGood() const { return isGood_; }

 private:
    bool isGood_ = true;
};

std::string opensslReason() {
    const unsigned long error = ERR_peek_last_error();
    const char* const reason = ERR_reason_error_string(error);
    ERR_clear_error();
    return reason == nullptr ? "OpenSSL gives no reason" : reason;
}

void checkTimes(const TarnHostCertFacts& facts, Findings& findings) {
    if (facts.error != 0) {
        findings.add(facts.name, reasonText(facts.error));
        return;
    }
    if (facts.notBefore > std::time(nullptr)) {
        findings.add(facts.name, "it is not valid before " + dayText(facts.notBefore));
    }
    if (facts.notAfter == 0) {
        return;
    }
    const int64_t left = daysLeft(facts.notAfter);
    if (left < 0) {
        findings.add(facts.name, "it has not been valid since " + dayText(facts.notAfter));
    } else if (left < kSoonDays && facts.kind != TARN_HOST_CERT_CRL) {
        findings.warn(facts.name, "it is valid for only " + std::to_string(left) + " days more");
    }
}

bool useKeylessKey(SSL_CTX* context, const TarnHostCertFacts& facts) {
    const EnginePointer engine(ENGINE_by_id(kEngineId));
    const KeyPointer key(engine == nullptr ? nullptr
                                           : ENGINE_load_private_key(engine.get(), facts.id, nullptr, nullptr));
    return key != nullptr && SSL_CTX_use_PrivateKey(context, key.get()) == 1;
}

bool useKeyFile(SSL_CTX* context, ConfCertPathInfo& paths) {
    SSL_CTX_set_default_passwd_cb_userdata(context, paths.keyPassword); // Empty: no question at the terminal either.
    return SSL_CTX_use_PrivateKey_file(context, paths.keyPath, SSL_FILETYPE_PEM) == 1;
}

// What a process does with the type before its first handshake.
bool buildContext(const TarnHostCertFacts& facts, SSL_CTX* context, Findings& findings) {
    ConfCertPathInfo paths = {};
    const uint32_t error = TarnOmCertGetCertPath({OM_CERT_PATH_SERVICE, 2, facts.omType}, &paths);
    if (error != 0) {
        findings.add(facts.name, "its files cannot be found: " + reasonText(error));
        return false;
    }
    if (SSL_CTX_use_certificate_chain_file(context, paths.certPath) != 1) {
        findings.add(facts.name, "TLS does not take the certificate: " + opensslReason());
        return false;
    }
    if (facts.keyError != 0) {
        findings.add(facts.name, "its key cannot be used: " + reasonText(facts.keyError));
        return false;
    }
    const bool hasKey = facts.isKeyless != 0 ? useKeylessKey(context, facts) : useKeyFile(context, paths);
    if (!hasKey || SSL_CTX_check_private_key(context) != 1) {
        findings.add(facts.name, "TLS does not take the key: " + opensslReason());
        return false;
    }
    return true;
}

std::vector<std::string> filesBelow(const std::string& folder) {
    std::vector<std::string> files;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        files.push_back(entry.path());
    }
    return files;
}

// All CAs and lists, those that cannot be read have been told of already.
void loadTrust(SSL_CTX* context) {
    ConfCertPathInfo paths = {};
    TarnOmCertGetCertPath({OM_CERT_PATH_CA_DIRECTORY, 2, 0}, &paths);
    for (const std::string& file : filesBelow(paths.certPath)) {
        SSL_CTX_load_cacertificate_file(context, file.c_str(), SSL_FILETYPE_PEM);
    }
    TarnOmCertGetCertPath({OM_CERT_PATH_CRL_DIRECTORY, 2, 0}, &paths);
    X509_LOOKUP* const lists = X509_STORE_add_lookup(SSL_CTX_get_cert_store(context), X509_LOOKUP_file());
    for (const std::string& file : filesBelow(paths.certPath)) {
        X509_load_crl_file(lists, file.c_str(), X509_FILETYPE_PEM);
    }
    ERR_clear_error();
}

// A missing list is no failure to a process, so it is none here.
int ignoreMissingList(int isGood, X509_STORE_CTX* context) {
    if (X509_STORE_CTX_get_error(context) != X509_V_ERR_UNABLE_TO_GET_CRL) {
        return isGood;
    }
    X509_STORE_CTX_set_error(context, X509_V_OK);
    return 1;
}

// As a peer with the same trust would see the certificate.
void verify(const TarnHostCertFacts& facts, SSL_CTX* context, Findings& findings) {
    loadTrust(context);
    STACK_OF(X509)* chain = nullptr;
    SSL_CTX_get0_chain_certs(context, &chain);
    const StorePointer check(X509_STORE_CTX_new());
    if (check == nullptr || X509_STORE_CTX_init(check.get(), SSL_CTX_get_cert_store(context),
                                                SSL_CTX_get0_certificate(context), chain) != 1) {
        findings.add(facts.name, "it cannot be verified: " + opensslReason());
        return;
    }
    X509_STORE_CTX_set_flags(check.get(), X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
    X509_STORE_CTX_set_verify_cb(check.get(), ignoreMissingList);
    if (X509_verify_cert(check.get()) != 1) {
        const int error = X509_STORE_CTX_get_error(check.get());
        findings.add(facts.name, std::string("peers refuse it: ") + X509_verify_cert_error_string(error));
    }
    ERR_clear_error();
}

void checkService(const TarnHostCertFacts& facts, Findings& findings) {
    const ContextPointer context(SSL_CTX_new(TLS_method()));
    if (context == nullptr) {
        throw std::bad_alloc();
    }
    if (buildContext(facts, context.get(), findings)) {
        verify(facts, context.get(), findings);
    }
}

int check() {
    std::vector<TarnHostCertFacts> all;
    const int read = readFacts(all);
    if (read != kDone) {
        return read;
    }
    const uint32_t error = TarnOmCertClientInit(nullptr);
    if (error != 0) {
        return complainOf("cannot start the certificate client", error);
    }
    Findings findings;
    for (const TarnHostCertFacts& facts : all) {
        checkTimes(facts, findings);
        if (facts.kind == TARN_HOST_CERT_SERVICE && facts.error == 0) {
            checkService(facts, findings);
        }
    }
    const int end = finish();
    return end != kDone || findings.isGood() ? end : kFailed;
}

} // namespace

void addCertCheck(CLI::App& cert, Chosen& chosen) {
    CLI::App* const command = cert.add_subcommand(
        "check", "Builds the TLS context of each installed type as a process would; says what fails and ends with 1");
    command->callback([&chosen] { chosen = check; });
}

} // namespace tarnctl
