// Certificates: a service certificate and its key loaded into a TLS context, fetched from the service, and the same
// certificate as a CA file that goes into the hashed trust store.
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>

#include "base/openssl_owner.h"
#include "input.h"
#include "memory_file.h"
#include "pem.h"
#include "scratch_directory.h"
#include "scripted_certificate.h"
#include "scripted_path.h"
#include "scripted_run.h"
#include "tarn_conference/conf_tls.h"

namespace {

using tarn::fuzz::Input;
using tarn::fuzz::MemoryFile;
using tarn::test::ScriptedCertificates;

constexpr uint32_t kType = 0;
constexpr uint32_t kOmType = 0x107;
constexpr uint32_t kKeyedType = 2; // fetched with its key part
constexpr uint32_t kKeyedOmType = 0x103;

using Context = std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)>;

std::span<const uint8_t> asBytes(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

void loadServerCertificate(SSL_CTX* context, const std::string& certificate, const std::string& key) {
    const MemoryFile certificateFile(asBytes(certificate));
    const MemoryFile keyFile(asBytes(key));
    ScriptedCertificates::get().served[kOmType] = {certificate, "", certificateFile.path(), keyFile.path(), "phrase",
                                                   {},          {}};
    char phrase[] = "before";
    SSL_CTX_set_default_passwd_cb_userdata(context, phrase);
    const uint32_t result = ConfLoadServerCert(context, kType);
    FUZZ_CHECK(result == 0 || result == CONF_CERT_FAILED);
    FUZZ_CHECK(SSL_CTX_get_default_passwd_cb_userdata(context) == phrase);
    FUZZ_CHECK(result != 0 || SSL_CTX_check_private_key(context) == 1);
    FUZZ_CHECK((result == 0) == (ERR_peek_error() == 0));
    ERR_clear_error();
}

void fetch(const std::string& certificate, const std::string& key, Input& claims) {
    tarn::test::ServedCertificate served = {certificate, key, "", "", "", {}, {}};
    const uint8_t kind = claims.byte();
    if (kind % 3 == 1) {
        served.reportedSize = claims.number<uint32_t>();
        served.reportedKeySize = claims.number<uint16_t>();
    }
    if (kind % 5 == 1) {
        ScriptedCertificates::get().reportedIdLength = claims.number<uint16_t>();
    }
    ScriptedCertificates::get().served[kKeyedOmType] = served;
    ConfCertServiceCert fetched = {};
    if (ConfCertGetCertSizeAndInfo(kKeyedType, &fetched) == 0) {
        FUZZ_CHECK(fetched.certLen == certificate.size());
        FUZZ_CHECK(std::memcmp(fetched.certData, certificate.data(), certificate.size()) == 0);
        ClearAndFreeBuff(&fetched, kKeyedType);
        FUZZ_CHECK(fetched.certData == nullptr && fetched.keyData == nullptr);
    }
}

// The first certificate of a file, as OpenSSL reads it.
tarn::detail::OwnedCertificate readCertificate(const std::string& text) {
    const tarn::detail::OwnedBio bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    char noPhrase[] = "";
    tarn::detail::OwnedCertificate certificate(PEM_read_bio_X509(bio.get(), nullptr, nullptr, noPhrase));
    ERR_clear_error();
    return certificate;
}

// A CA file stands in the store under the hash of its subject, or under its own name when it is no certificate.
void rebuildStore(const tarn::fuzz::ScratchDirectory& directory, const std::string& certificate) {
    const std::filesystem::path store = directory.path() / "store";
    std::filesystem::remove_all(store);
    std::filesystem::create_directories(store);
    directory.write("ca/a.pem", asBytes(certificate));
    ConfCertInit(nullptr);
    FUZZ_CHECK(ERR_peek_error() == 0);

    const tarn::detail::OwnedCertificate read = readCertificate(certificate);
    char name[16] = "a.pem";
    if (read != nullptr) {
        std::snprintf(name, sizeof name, "%08lx.0", X509_subject_name_hash(read.get()));
    }
    size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(store)) {
        FUZZ_CHECK(entry.path().filename() == name);
        ++files;
    }
    FUZZ_CHECK(files == 1);
}

void loadCaFiles(SSL_CTX* context) {
    ConfCaCertEntry list[CONF_CERT_MAX_CA_FILES];
    uint32_t count = 0;
    FUZZ_CHECK(ConfCertGetCaCertList(list, &count) == 0 && count == 1);
    FUZZ_CHECK(ConfCertLoadAllCaCert(context, list, count) == 0);
    ERR_clear_error();
}

void fuzzCertificate(std::span<const uint8_t> bytes) {
    static const tarn::fuzz::ScratchDirectory directory;
    const tarn::fuzz::ScriptedRun run;
    ScriptedCertificates::reset();
    ScriptedCertificates::get().caDirectory = directory.path() / "ca";
    ScriptedCertificates::get().crlDirectory = directory.path() / "crl";
    tarn::test::scriptedPaths().storage = directory.path() / "store";
    ERR_clear_error();

    Input input(bytes);
    const uint8_t raw = input.byte();
    Input claims(input.take(7));
    const std::span<const uint8_t> der = input.take(input.number<uint16_t>());
    const std::string certificate = tarn::fuzz::armoured("CERTIFICATE", der, (raw & 1U) != 0);
    const std::string key = tarn::fuzz::armoured("PRIVATE KEY", input.rest(), (raw & 2U) != 0);
    const Context context(SSL_CTX_new(TLS_method()), SSL_CTX_free); // takes most of the time
    loadServerCertificate(context.get(), certificate, key);
    fetch(certificate, key, claims);
    rebuildStore(directory, certificate);
    loadCaFiles(context.get());
    ScriptedCertificates::reset();
}

const tarn::fuzz::Target target("certificate", fuzzCertificate);

} // namespace
