// "tarnctl cert install" and "tarnctl cert uninstall".
#include <openssl/crypto.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "cert.h"
#include "demo_ca.h"

namespace tarnctl {
namespace {

struct Options {
    uint32_t omType = 0;
    std::string certificate;
    std::string key;
    std::string passFile;
    bool isKeyless = false;
};

// The first line, as `openssl` reads a pass phrase from a file.
int readPassPhrase(const std::string& path, std::string& passPhrase) {
    const int read = path.empty() ? kDone : readPem(path, passPhrase);
    passPhrase.erase(std::min(passPhrase.find_first_of("\r\n"), passPhrase.size()));
    return read;
}

int install(const Options& options) {
    std::string certificate;
    std::string key;
    std::string passPhrase;
    int read = readPem(options.certificate, certificate);
    read = read != kDone ? read : readPem(options.key, key);
    read = read != kDone ? read : readPassPhrase(options.passFile, passPhrase);
    if (read != kDone) {
        return read;
    }
    TarnHostCertInstallation installation = {};
    installation.omType = options.omType;
    installation.isKeyless = options.isKeyless ? 1 : 0;
    installation.certificate = certificate.data();
    installation.certificateBytes = static_cast<uint32_t>(certificate.size());
    installation.key = key.data();
    installation.keyBytes = static_cast<uint32_t>(key.size());
    installation.passPhrase = passPhrase.c_str();
    const uint32_t error = TarnHostCertInstall(&installation);
    OPENSSL_cleanse(key.data(), key.size());
    OPENSSL_cleanse(passPhrase.data(), passPhrase.size());
    return error == 0 ? kDone
                      : complain(kFailed, "cannot install " + options.certificate + " with " + options.key + ": " +
                                              reasonText(error));
}

std::string typeText(uint32_t omType) {
    std::array<char, 16> text = {};
    std::snprintf(text.data(), text.size(), "0x%x", omType);
    return text.data();
}

int uninstall(uint32_t omType) {
    const uint32_t error = TarnHostCertUninstall(omType);
    if (error == ENOENT) {
        return complain(kNotFound, "no certificate of type " + typeText(omType) + " is installed");
    }
    return error == 0 ? kDone : complain(kFailed, "cannot remove the certificate: " + reasonText(error));
}

} // namespace

void addCertInstall(Command cert) {
    Command command = cert.subcommand("install", "Installs a service certificate in place of the one before");
    auto options = std::make_shared<Options>();
    addTypeOption(command, options->omType);
    command.value("--cert", options->certificate, "PEM file: the certificate, then its chain").required();
    command.value("--key", options->key, "PEM file: its private key").required();
    command.value("--pass-file", options->passFile, "File whose first line is the key's pass phrase");
    command.flag("--keyless", options->isKeyless, "Processes sign through the engine and get no key");
    command.runs([options] { return install(*options); });

    Command removal = cert.subcommand("uninstall", "Removes a service certificate and its key");
    auto omType = std::make_shared<uint32_t>(0);
    addTypeOption(removal, *omType);
    removal.runs([omType] { return uninstall(*omType); });
}

} // namespace tarnctl
