// "tarnctl cert check": has the library build for each installed type the TLS context that a process would, and says
// what fails. The library's own lines say more: TARN_LOG_STDERR=1 shows them.
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "cert.h"
#include "demo_ca.h"
#include "item_text.h"
#include "json.h"
#include "tarn_conference/conf_cert.h"
#include "tarn_conference/conf_tls.h"
#include "tarn_platform/om_certificate.h"

namespace tarnctl {
namespace {

constexpr int64_t kSoonDays = 14;
constexpr std::array<uint32_t, 4> kOmTypes = {0x107, 0x109, 0x103, 0x104}; // of the library's types 0 to 3

using ContextPointer = std::unique_ptr<SSL_CTX, OpensslFree<SSL_CTX_free>>;
using StorePointer = std::unique_ptr<X509_STORE_CTX, OpensslFree<X509_STORE_CTX_free>>;

struct Finding {
    bool isError = false;
    std::string where; // the file or type
    std::string text;
};

// What is wrong. A warning is no reason to fail.
class Findings {
 public:
    void add(const std::string& where, const std::string& text) { all_.push_back({true, where, text}); }
    void warn(const std::string& where, const std::string& text) { all_.push_back({false, where, text}); }
    const std::vector<Finding>& all() const { return all_; }
    bool isGood() const {
        return std::none_of(all_.begin(), all_.end(), [](const Finding& finding) { return finding.isError; });
    }

 private:
    std::vector<Finding> all_;
};

void print(const Findings& findings) {
    for (const Finding& finding : findings.all()) {
        std::printf("%s: %s\n", valueText(finding.where).c_str(), finding.text.c_str());
    }
}

void printAsJson(const Findings& findings) {
    const Json array = makeArray();
    for (const Finding& finding : findings.all()) {
        Json object = makeObject();
        addMember(*object, "severity", finding.isError ? "error" : "warning");
        addMember(*object, "name", finding.where);
        addMember(*object, "text", finding.text);
        addElement(*array, std::move(object));
    }
    printText(*array);
}

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

// What a process does with the type before its first handshake.
bool loadService(const TarnHostCertFacts& facts, SSL_CTX* context, Findings& findings) {
    // As an event of the service it brings the certificate's id. `ConfCertInit` would bring all of them and build the
    // trust store too, but a check changes nothing.
    ConfOmCertCallback(OM_CERT_EVENT_SERVICE, facts.omType);
    const auto* const type = std::find(kOmTypes.begin(), kOmTypes.end(), facts.omType);
    if (ConfLoadServerCert(context, static_cast<uint32_t>(type - kOmTypes.begin())) == 0) {
        return true;
    }
    if (facts.keyError != 0) {
        findings.add(facts.name, "its key cannot be used: " + keyReasonText(facts.keyError));
    } else {
        findings.add(facts.name, "processes cannot load it: " + opensslReason());
    }
    ERR_clear_error();
    return false;
}

// Files that cannot be read have been told of already.
void loadTrust(const TarnHostCertFacts& facts, SSL_CTX* context, Findings& findings) {
    std::array<ConfCaCertEntry, CONF_CERT_MAX_CA_FILES> files = {};
    uint32_t count = 0;
    if (ConfCertGetCaCertList(files.data(), &count) != 0) {
        findings.add(facts.name, "the CA files cannot be listed");
    }
    ConfCertLoadAllCaCert(context, files.data(), count);
    if (ConfAddCancelCrlToSslctx(context) != 0) {
        findings.add(facts.name, "the revocation lists cannot be listed");
    }
}

// As a peer with the same trust would see the certificate.
void verify(const TarnHostCertFacts& facts, SSL_CTX* context, Findings& findings) {
    loadTrust(facts, context, findings);
    STACK_OF(X509)* chain = nullptr;
    SSL_CTX_get0_chain_certs(context, &chain);
    const StorePointer check(X509_STORE_CTX_new());
    if (check == nullptr || X509_STORE_CTX_init(check.get(), SSL_CTX_get_cert_store(context),
                                                SSL_CTX_get0_certificate(context), chain) != 1) {
        findings.add(facts.name, "it cannot be verified: " + opensslReason());
        return;
    }
    X509_STORE_CTX_set_default(check.get(), "ssl_server");
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
    if (loadService(facts, context.get(), findings)) {
        verify(facts, context.get(), findings);
    }
}

void checkCaCount(const std::vector<TarnHostCertFacts>& all, Findings& findings) {
    const auto isCa = [](const TarnHostCertFacts& facts) { return facts.kind == TARN_HOST_CERT_CA; };
    if (std::count_if(all.begin(), all.end(), isCa) > CONF_CERT_MAX_CA_FILES) {
        findings.add("ca",
                     "processes trust " + std::to_string(CONF_CERT_MAX_CA_FILES) + " of the CA files and no more");
    }
}

int check(bool json) {
    std::vector<TarnHostCertFacts> all;
    const int read = readFacts(all);
    if (read != kDone) {
        return read;
    }
    const uint32_t error = TarnOmCertClientInit(nullptr);
    if (error != 0) {
        return complain(kFailed, "cannot start the certificate client: " + reasonText(error));
    }
    Findings findings;
    checkCaCount(all, findings);
    for (const TarnHostCertFacts& facts : all) {
        checkTimes(facts, findings);
        if (facts.kind == TARN_HOST_CERT_SERVICE && facts.error == 0) {
            checkService(facts, findings);
        }
    }
    if (json) {
        printAsJson(findings);
    } else {
        print(findings);
    }
    const int end = finish();
    return end != kDone || findings.isGood() ? end : kFailed;
}

} // namespace

void addCertCheck(Command cert) {
    Command command = cert.subcommand(
        "check", "Builds the TLS context of each installed type as a process would; says what fails and ends with 1");
    auto json = std::make_shared<bool>(false);
    command.flag("--json", *json, "Print a JSON array of what is wrong");
    command.runs([json] { return check(*json); });
}

} // namespace tarnctl
