#include "certificate/certificate_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <thread>

#include "tarn_conference/conf_tls.h"
#include "tarn_host/host_certificate.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/om_certificate.h"

namespace tarn::test {

std::string below(const std::string& name) {
    return std::string(TarnHostDir()) + "/cert/" + name;
}

std::string folderOf(uint32_t omType) {
    std::array<char, 16> name = {};
    std::snprintf(name.data(), name.size(), "service/0x%03x", omType);
    return below(name.data());
}

void writeOwnFile(const std::string& path, const std::string& content, unsigned mode) {
    writeFile(path, content);
    EXPECT_EQ(chmod(path.c_str(), mode), 0) << path;
}

bool comesTrue(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return condition();
}

uint32_t install(uint32_t omType, const std::string& certificate, const std::string& key, const std::string& passPhrase,
                 bool isKeyless) {
    TarnHostCertInstallation installation = {};
    installation.omType = omType;
    installation.isKeyless = isKeyless ? 1 : 0;
    installation.certificate = certificate.data();
    installation.certificateBytes = static_cast<uint32_t>(certificate.size());
    installation.key = key.data();
    installation.keyBytes = static_cast<uint32_t>(key.size());
    installation.passPhrase = passPhrase.c_str();
    return TarnHostCertInstall(&installation);
}

uint32_t install(uint32_t omType, const Identity& identity, const std::string& passPhrase, bool isKeyless) {
    return install(omType, pem(identity.certificate), pem(identity.key, passPhrase), passPhrase, isKeyless);
}

uint32_t addCa(const std::string& certificates) {
    return TarnHostCertAddCa(certificates.data(), static_cast<uint32_t>(certificates.size()), nullptr);
}

uint32_t addCrl(const std::string& lists) {
    return TarnHostCertAddCrl(lists.data(), static_cast<uint32_t>(lists.size()), nullptr);
}

std::string idOf(const Certificate& certificate) {
    std::string text = pem(certificate);
    std::array<char, OM_CERT_ID_LEN> id = {};
    const ConfCertBlob in = {reinterpret_cast<uint8_t*>(text.data()), static_cast<uint32_t>(text.size())};
    ConfCertBlob out = {reinterpret_cast<uint8_t*>(id.data()), OM_CERT_ID_LEN};
    EXPECT_EQ(TarnOmCertGetCertId(&in, &out), 0U);
    return id.data();
}

pid_t inChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(work());
    }
    return child;
}

int exitCodeOf(pid_t child) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

FileSizeLimit::FileSizeLimit(size_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before_), 0);
    const rlimit tight = {bytes, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
}

FileSizeLimit::~FileSizeLimit() {
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before_), 0);
    std::signal(SIGXFSZ, SIG_DFL);
}

HandshakeResult handshakeAs(uint32_t type) {
    const Context server = serverContext();
    const Context client = deviceClient();
    if (ConfLoadServerCert(server.get(), type) != 0 || ConfAddCancelCrlToSslctx(client.get()) != 0) {
        return {false, X509_V_ERR_UNSPECIFIED};
    }
    return handshake(server.get(), client.get());
}

} // namespace tarn::test
