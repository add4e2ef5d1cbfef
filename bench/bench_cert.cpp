// Server contexts and the trust store beside the bare OpenSSL and file calls that they cannot do without.
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ratio.h"
#include "tarn_conference/conf_tls.h"
#include "tarn_platform/om_path.h"
#include "tarn_platform/os_file.h"

namespace {

constexpr uint32_t kOmTypeOfFirst = 0x107;

template <typename Handle, void (*Free)(Handle*)>
struct Release {
    void operator()(Handle* handle) const { Free(handle); }
};
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY, EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Release<X509, X509_free>>;
using File = std::unique_ptr<FILE, int (*)(FILE*)>;

void must(bool done) {
    if (!done) {
        throw std::runtime_error("cannot make the files to measure with");
    }
}

Certificate selfSigned(EVP_PKEY* key, const std::string& name) {
    Certificate certificate(X509_new());
    X509_set_version(certificate.get(), X509_VERSION_3);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 24L * 60 * 60);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate.get()));
    X509_set_pubkey(certificate.get(), key);
    must(X509_sign(certificate.get(), key, EVP_sha256()) > 0);
    return certificate;
}

File create(const std::string& path) {
    File file(std::fopen(path.c_str(), "w"), std::fclose);
    must(file != nullptr);
    return file;
}

// The files of a device: a service certificate with its key, and directories of 30 and 300 CA files with a store each.
class Device {
 public:
    static Device& get() {
        static Device device;
        return device;
    }
    ~Device() {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    std::string certPath() const { return root_ + "/certificate.pem"; }
    std::string keyPath() const { return root_ + "/key.pem"; }
    std::string caDirectory(int files) const { return root_ + "/ca" + std::to_string(files); }
    std::string store(int files) const { return root_ + "/store" + std::to_string(files); }

    // What the certificate service tells of.
    int caFiles = 30;
    std::string storage;

 private:
    // In memory where that can be: each copy is brought to the disk, and the disk is not what is measured.
    static std::filesystem::path placeForFiles() {
        const std::filesystem::path inMemory = "/dev/shm";
        return access(inMemory.c_str(), W_OK) == 0 ? inMemory : std::filesystem::temp_directory_path();
    }

    Device() : root_(placeForFiles() / "tarn-bench-XXXXXX") {
        must(mkdtemp(root_.data()) != nullptr);
        const Key key(EVP_RSA_gen(2048));
        const File keyFile = create(keyPath());
        must(PEM_write_PrivateKey(keyFile.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
        writeCertificate(key.get(), "server", certPath());
        for (const int files : {30, 300}) {
            std::filesystem::create_directory(caDirectory(files));
            std::filesystem::create_directory(store(files));
            for (int i = 0; i < files; ++i) {
                writeCertificate(key.get(), "CA " + std::to_string(i),
                                 caDirectory(files) + "/" + std::to_string(i) + ".pem");
            }
        }
        std::filesystem::create_directory(root_ + "/crl");
    }

    static void writeCertificate(EVP_PKEY* key, const std::string& name, const std::string& path) {
        const Certificate certificate = selfSigned(key, name);
        const File file = create(path);
        must(PEM_write_X509(file.get(), certificate.get()) == 1);
    }

    std::string root_;
};

struct ServerContext {
    void operator()() const {
        SSL_CTX* const context = SSL_CTX_new(TLS_server_method());
        benchmark::DoNotOptimize(ConfLoadServerCert(context, 0));
        SSL_CTX_free(context);
    }
};

struct BareServerContext {
    std::string certPath = Device::get().certPath();
    std::string keyPath = Device::get().keyPath();

    void operator()() const {
        SSL_CTX* const context = SSL_CTX_new(TLS_server_method());
        benchmark::DoNotOptimize(SSL_CTX_use_certificate_chain_file(context, certPath.c_str()));
        benchmark::DoNotOptimize(SSL_CTX_use_PrivateKey_file(context, keyPath.c_str(), SSL_FILETYPE_PEM));
        benchmark::DoNotOptimize(SSL_CTX_check_private_key(context));
        SSL_CTX_free(context);
    }
};

template <int Files>
struct Rebuild {
    void operator()() const {
        Device::get().caFiles = Files;
        Device::get().storage = Device::get().store(Files);
        ConfOmCertCallback(OM_CERT_EVENT_CRL, 0);
    }
};

// Copies each file, reads its certificate, and gives the copy its hash name.
template <int Files>
struct BareRebuild {
    void operator()() const {
        const std::string store = Device::get().store(Files) + "/";
        for (const auto& entry : std::filesystem::directory_iterator(Device::get().caDirectory(Files))) {
            const std::string copy = store + entry.path().filename().string();
            OsCopyFile(entry.path().c_str(), copy.c_str());
            BIO* const file = BIO_new_file(copy.c_str(), "rb");
            const Certificate certificate(PEM_read_bio_X509(file, nullptr, nullptr, nullptr));
            BIO_free(file);
            char name[24];
            std::snprintf(name, sizeof name, "%08lx.0", X509_subject_name_hash(certificate.get()));
            std::rename(copy.c_str(), (store + name).c_str());
        }
    }
};

// Ten rebuilds of a tenth of the files.
struct TenSmallRebuilds {
    void operator()() const {
        for (int i = 0; i < 10; ++i) {
            Rebuild<30>()();
        }
    }
};

template <typename Call>
void run(benchmark::State& state) {
    Call call;
    for (auto iteration : state) {
        call();
    }
}
BENCHMARK(run<ServerContext>);
BENCHMARK(run<BareServerContext>);
BENCHMARK(run<Rebuild<30>>);
BENCHMARK(run<BareRebuild<30>>);
BENCHMARK(run<Rebuild<300>>);
BENCHMARK(run<BareRebuild<300>>);

bool ratios() {
    using tarn::bench::holds;
    using tarn::bench::medianRatio;
    bool allHold = true;
    allHold &= holds("server context, to the bare calls", medianRatio(ServerContext(), BareServerContext()), 1.1);
    allHold &= holds("trust store of 30, to copying and hashing", medianRatio(Rebuild<30>(), BareRebuild<30>()), 1.5);
    allHold &=
        holds("trust store of 300, to copying and hashing", medianRatio(Rebuild<300>(), BareRebuild<300>()), 1.5);
    allHold &= holds("trust store of 300, to ten of 30", medianRatio(Rebuild<300>(), TenSmallRebuilds()), 1.2);
    return allHold;
}

} // namespace

// The certificate service and the storage path of this program, in place of the host platform's.
uint32_t TarnOmCertGetCertPath(ConfCertPathQuery query, ConfCertPathInfo* info) {
    const Device& device = Device::get();
    std::string path = device.certPath();
    if (query.kind == OM_CERT_PATH_CA_DIRECTORY) {
        path = device.caDirectory(device.caFiles);
    } else if (query.kind == OM_CERT_PATH_CRL_DIRECTORY) {
        path = std::filesystem::path(device.certPath()).parent_path() / "crl";
    }
    path.copy(info->certPath, sizeof info->certPath - 1);
    if (query.omType == kOmTypeOfFirst) {
        device.keyPath().copy(info->keyPath, sizeof info->keyPath - 1);
    }
    return 0;
}

uint32_t TarnOmCertGetCapability(uint8_t* ten) {
    std::fill_n(ten, 10, uint8_t{0});
    return 0;
}

const char* TarnOmCustUtilGetStoragePath(void) {
    return Device::get().storage.c_str();
}

int main(int argc, char** argv) {
    Device::get(); // made before anything is measured
    return tarn::bench::runAll(argc, argv, ratios);
}
