// "tarnctl cert": certificates, trusted authorities and revocation lists.
#include <array>
#include <cerrno>
#include <cstring>

#include "cert.h"
#include "file_content.h"
#include "tarn_host/host_process.h"

namespace tarnctl {
namespace {

constexpr size_t kMostBytes = size_t{16} * 1024 * 1024;
constexpr int64_t kDaySeconds = int64_t{24} * 3600;

// Where the platform names no directory, it has said why.
std::string certFolder() {
    const char* const directory = TarnHostDir();
    return directory == nullptr ? "the endpoint's directory" : std::string(directory) + "/cert";
}

} // namespace

Argument addTypeOption(Command command, uint32_t& omType) {
    return command.value("TYPE", omType, "Type of the service certificate")
        .required()
        .oneOf({{"0x107", 0x107}, {"0x109", 0x109}, {"0x103", 0x103}, {"0x104", 0x104}});
}

int readFacts(std::vector<TarnHostCertFacts>& facts) {
    const auto keep = [](const TarnHostCertFacts* next, void* context) {
        static_cast<std::vector<TarnHostCertFacts>*>(context)->push_back(*next);
    };
    const uint32_t error = TarnHostCertList(keep, &facts);
    return error == 0 ? kDone : complain(kFailed, "cannot list the certificates: " + reasonText(error));
}

int readPem(const std::string& path, std::string& content) {
    const int error = readContent(path, content, kMostBytes);
    if (error == EFBIG) {
        return complain(kFailed, path + " is too large for certificates or keys");
    }
    return error == 0 ? kDone : complainOfFile(path, error);
}

std::string reasonText(uint32_t error) {
    switch (error) {
        case EBADMSG:
            return "it is damaged, or no PEM text of the right kind";
        case EPERM:
            return certFolder() + " and the folders in it must be your own, and writable for nobody else";
        case EACCES:
        case ENOTDIR:
            return certFolder() + ", or what is in it: " + std::strerror(static_cast<int>(error));
        case EFBIG:
            return "it is too large";
        case ENOENT:
            return "there is none";
        case ENOKEY:
            return "the pass phrase is missing or does not open the key";
        case EKEYREJECTED:
            return "the key belongs to another certificate";
        default:
            return std::strerror(static_cast<int>(error));
    }
}

std::string keyReasonText(uint32_t error) {
    return error == EPERM ? "other users can read the key or its pass phrase" : reasonText(error);
}

std::string dayText(int64_t seconds) {
    const auto time = static_cast<time_t>(seconds);
    std::tm parts = {};
    std::array<char, 32> text = {};
    gmtime_r(&time, &parts);
    std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts);
    return text.data();
}

int64_t daysLeft(int64_t seconds) {
    const int64_t left = seconds - std::time(nullptr);
    return left >= 0 ? left / kDaySeconds : -((-left + kDaySeconds - 1) / kDaySeconds);
}

void addCertCommand(Command app) {
    Command cert = app.subcommand("cert", "Shows and changes certificates, authorities and their lists");
    cert.needsSubcommand();
    addCertList(cert);
    addCertInstall(cert);
    addCertTrust(cert);
    addCertRevoke(cert);
    addCertCheck(cert);
    addCertDemoCa(cert);
}

} // namespace tarnctl
