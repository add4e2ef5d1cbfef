// "tarnctl cert": certificates, trusted authorities and revocation lists.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cert.h"

namespace tarnctl {
namespace {

constexpr size_t kMostBytes = size_t{16} * 1024 * 1024;
constexpr int64_t kDaySeconds = int64_t{24} * 3600;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

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
    return error == 0 ? kDone : complainOf("cannot list the certificates", error);
}

int readContent(const std::string& path, std::string& content) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "re"));
    std::array<char, 4096> part;
    size_t length = 0;
    errno = file == nullptr ? errno : 0;
    while (file != nullptr && (length = std::fread(part.data(), 1, part.size(), file.get())) > 0) {
        content.append(part.data(), length);
        if (content.size() > kMostBytes) {
            return complain(kFailed, path + " is too large for certificates or keys");
        }
    }
    if (file != nullptr && std::ferror(file.get()) == 0) {
        return kDone;
    }
    return complain(errno == ENOENT ? kNotFound : kFailed, "cannot read " + path + ": " + std::strerror(errno));
}

std::string reasonText(uint32_t error) {
    switch (error) {
        case EBADMSG:
            return "it is damaged, or no PEM text of the right kind";
        case EACCES:
            return "the pass phrase is missing or does not open the key";
        case EKEYREJECTED:
            return "the key belongs to another certificate";
        case EPERM:
            return "other users can read the key or its pass phrase";
        case EFBIG:
            return "it is too large";
        case ENOENT:
            return "there is none";
        default:
            return std::strerror(static_cast<int>(error));
    }
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
