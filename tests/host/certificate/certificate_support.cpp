#include "certificate/certificate_support.h"

#include "tarn_conference/conf_tls.h"

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

uint32_t install(uint32_t omType, const std::string& certificate, const std::string& key, const std::string& passPhrase,
                 bool isKeyless) {
    const TarnHostCertInstallation installation = {omType,
                                                   isKeyless ? 1U : 0U,
                                                   certificate.data(),
                                                   static_cast<uint32_t>(certificate.size()),
                                                   static_cast<uint32_t>(key.size()),
                                                   key.data(),
                                                   passPhrase.c_str()};
    return TarnHostCertInstall(&installation);
}

uint32_t install(uint32_t omType, const Identity& identity, const std::string& passPhrase, bool isKeyless) {
    return install(omType, pem(identity.certificate), pem(identity.key, passPhrase), passPhrase, isKeyless);
}

uint32_t addCa(const std::string& certificates, uint32_t* count) {
    return TarnHostCertAddCa(certificates.data(), static_cast<uint32_t>(certificates.size()), count);
}

uint32_t addCrl(const std::string& lists, uint32_t* count) {
    return TarnHostCertAddCrl(lists.data(), static_cast<uint32_t>(lists.size()), count);
}

std::string idOf(std::string certificate, uint32_t expected, uint32_t capacity) {
    std::vector<char> id(capacity);
    const ConfCertBlob in = {reinterpret_cast<uint8_t*>(certificate.data()), static_cast<uint32_t>(certificate.size())};
    ConfCertBlob out = {reinterpret_cast<uint8_t*>(id.data()), capacity};
    EXPECT_EQ(TarnOmCertGetCertId(&in, &out), expected);
    EXPECT_EQ(out.length, expected == 0 ? std::strlen(id.data()) : capacity);
    return id.data();
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
