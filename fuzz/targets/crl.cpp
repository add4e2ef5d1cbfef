// Revocation lists: a file under a name of the input's first line, taken into a TLS context, whose verification is
// asked about a self-signed certificate after that.
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>

#include "base/openssl_owner.h"
#include "input.h"
#include "pem.h"
#include "scratch_directory.h"
#include "scripted_certificate.h"
#include "scripted_run.h"
#include "tarn_conference/conf_tls.h"

namespace {

using tarn::detail::OwnedCertificate;
using tarn::detail::OwnedKey;
using tarn::test::ScriptedCertificates;

using Context = std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)>;

// A name that a directory can hold.
std::string fileName(std::string_view line) {
    constexpr size_t kLongest = 255;
    std::string name(line.substr(0, kLongest));
    std::replace(name.begin(), name.end(), '/', '_');
    std::replace(name.begin(), name.end(), '\0', '_');
    return name.empty() || name == "." || name == ".." ? "crl.pem" : name;
}

bool isListName(const std::string& name) {
    const auto has = [&](const char* part) { return name.find(part) != std::string::npos; };
    return (has("crl") || has("CRL")) && (has(".pem") || has(".PEM") || has(".crl") || has(".CRL"));
}

bool isList(const std::string& text) {
    const tarn::detail::OwnedBio bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    char noPhrase[] = "";
    const tarn::detail::OwnedCrl list(PEM_read_bio_X509_CRL(bio.get(), nullptr, nullptr, noPhrase));
    ERR_clear_error();
    return list != nullptr;
}

// Each list that a context took has a reference of its own, which processes count on to the end; this one does not, and
// takes it back, so that memory does not grow.
size_t takeBackReferences(X509_STORE* store) {
    size_t lists = 0;
    STACK_OF(X509_OBJECT)* const objects = X509_STORE_get0_objects(store);
    for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
        X509_CRL* const list = X509_OBJECT_get0_X509_CRL(sk_X509_OBJECT_value(objects, i));
        if (list != nullptr) {
            X509_CRL_free(list);
            ++lists;
        }
    }
    return lists;
}

OwnedCertificate makeSelfSigned() {
    const OwnedKey key(EVP_EC_gen("P-256"));
    OwnedCertificate certificate(X509_new());
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -1000);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 1000L * 1000);
    const auto* const name = reinterpret_cast<const unsigned char*>("self-signed");
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_ASC, name, -1, -1, 0);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate.get()));
    X509_set_pubkey(certificate.get(), key.get());
    FUZZ_CHECK(X509_sign(certificate.get(), key.get(), EVP_sha256()) != 0);
    return certificate;
}

// With a list in it the context lets a self-signed peer pass, without one it does not.
void verify(X509_STORE* store, bool hasList) {
    static const OwnedCertificate peer = makeSelfSigned();
    const std::unique_ptr<X509_STORE_CTX, void (*)(X509_STORE_CTX*)> verification(X509_STORE_CTX_new(),
                                                                                  X509_STORE_CTX_free);
    FUZZ_CHECK(X509_STORE_CTX_init(verification.get(), store, peer.get(), nullptr) == 1);
    FUZZ_CHECK((X509_verify_cert(verification.get()) == 1) == hasList);
    ERR_clear_error();
}

void fuzzCrl(std::span<const uint8_t> bytes) {
    static const tarn::fuzz::ScratchDirectory directory;
    const tarn::fuzz::ScriptedRun run;
    ERR_clear_error();
    tarn::fuzz::Input input(bytes);
    const bool raw = input.byte() % 4 == 1;
    const std::string name = fileName(input.line());
    const std::string text = tarn::fuzz::armoured("X509 CRL", input.rest(), raw);
    directory.write(std::filesystem::path("lists") / name,
                    {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
    ScriptedCertificates::reset();
    ScriptedCertificates::get().crlDirectory = directory.path() / "lists";

    const Context context(SSL_CTX_new(TLS_method()), SSL_CTX_free);
    FUZZ_CHECK(ConfAddCancelCrlToSslctx(context.get()) == 0);
    FUZZ_CHECK(ERR_peek_error() == 0);
    X509_STORE* const store = SSL_CTX_get_cert_store(context.get());
    const size_t lists = takeBackReferences(store);
    FUZZ_CHECK(lists == (isListName(name) && isList(text) ? 1U : 0U));
    verify(store, lists != 0);
    std::filesystem::remove(directory.path() / "lists" / name);
    ScriptedCertificates::reset();
}

const tarn::fuzz::Target target("crl", fuzzCrl);

} // namespace
