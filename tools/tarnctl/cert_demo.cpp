// "tarnctl cert demo-ca" and "tarnctl cert revoke".
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>

#include "cert.h"
#include "demo_ca.h"

namespace tarnctl {
namespace {

struct Options {
    std::string folder;
    std::vector<std::string> names;
    std::string certificate;
};

bool isHostName(const std::string& name) {
    return !name.empty() && name.size() <= 63 && name.front() != '.' &&
           std::all_of(name.begin(), name.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0 || c == '-' || c == '.'; });
}

int makeDemoCa(const Options& options) {
    for (const std::string& name : options.names) {
        if (!isHostName(name) || name == "ca" || name == "crl") {
            return complain(kUsage, "\"" + name +
                                        "\" is no name for a certificate: 1 to 63 letters, digits, '-' and '.', not "
                                        "beginning with '.', and neither ca nor crl");
        }
    }
    const DemoCa authority = DemoCa::openOrMake(options.folder);
    for (const std::string& name : options.names) {
        if (authority.hasIssued(name)) {
            return complain(kFailed, name + " was issued already; choose another --issue name");
        }
    }
    for (const std::string& name : options.names) {
        authority.issue(name);
        std::printf("%s/%s.pem\n%s/%s.key\n", options.folder.c_str(), name.c_str(), options.folder.c_str(),
                    name.c_str());
    }
    return finish();
}

int revoke(const Options& options) {
    std::string content;
    const int read = readPem(options.certificate, content);
    if (read != kDone) {
        return read;
    }
    const CertificatePointer certificate = parseCertificate(content);
    if (certificate == nullptr) {
        return complain(kFailed, options.certificate + ": " + reasonText(EBADMSG));
    }
    if (!DemoCa::isIn(options.folder)) {
        return complain(kNotFound, "there is no demonstration authority in " + options.folder);
    }
    const std::string list = DemoCa::open(options.folder).revoke(*certificate);
    const uint32_t error = TarnHostCertAddCrl(list.data(), static_cast<uint32_t>(list.size()), nullptr);
    return error == 0 ? kDone : complain(kFailed, "cannot add the revocation list: " + reasonText(error));
}

} // namespace

void addCertRevoke(Command cert) {
    Command command =
        cert.subcommand("revoke", "Revokes a certificate of a demonstration authority and adds its new list");
    auto options = std::make_shared<Options>();
    command.value("CERT", options->certificate, "PEM file of the certificate").required();
    command.value("--ca", options->folder, "Folder that \"cert demo-ca\" made").required();
    command.runs([options] { return revoke(*options); });
}

void addCertDemoCa(Command cert) {
    Command command = cert.subcommand(
        "demo-ca", "Makes a small certificate authority for tests, or uses the one in the folder, and lets it issue");
    auto options = std::make_shared<Options>();
    options->names = {"server"};
    command.value("DIR", options->folder, "Folder for ca.pem, ca.key and what it issues").required();
    command.value("--issue", options->names, "Names of certificates to issue: NAME.pem and NAME.key").showsDefault();
    command.runs([options] { return makeDemoCa(*options); });
}

} // namespace tarnctl
