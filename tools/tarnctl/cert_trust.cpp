// "tarnctl cert ca" and "tarnctl cert crl": whom the processes trust, and whom no longer.
#include <cerrno>
#include <cstdio>
#include <memory>

#include "cert.h"

namespace tarnctl {
namespace {

struct Store {
    const char* command;
    const char* what;
    uint32_t (*add)(const void* pem, uint32_t bytes, uint32_t* count);
    uint32_t (*remove)(const char* name);
};

constexpr Store kAuthorities = {"ca", "trusted CA certificates", TarnHostCertAddCa, TarnHostCertRemoveCa};
constexpr Store kLists = {"crl", "revocation lists", TarnHostCertAddCrl, TarnHostCertRemoveCrl};

int add(const Store& store, const std::string& path) {
    std::string content;
    const int read = readPem(path, content);
    if (read != kDone) {
        return read;
    }
    const uint32_t error = store.add(content.data(), static_cast<uint32_t>(content.size()), nullptr);
    return error == 0 ? kDone : complain(kFailed, "cannot add " + path + ": " + reasonText(error));
}

int removeNamed(const Store& store, const std::string& name) {
    const uint32_t error = store.remove(name.c_str());
    if (error == ENOENT) {
        return complain(kNotFound, "there is no file " + name + "; \"tarnctl cert list\" shows the names");
    }
    return error == 0 ? kDone : complain(kFailed, "cannot remove " + name + ": " + reasonText(error));
}

void addStore(Command cert, const Store& store) {
    const std::string what(store.what);
    Command command = cert.subcommand(store.command, "Adds and removes " + what);
    command.needsSubcommand();
    auto word = std::make_shared<std::string>();
    Command adding = command.subcommand("add", "Adds all " + what + " of a file");
    adding.value("FILE", *word, "PEM file").required();
    adding.runs([&store, word] { return add(store, *word); });
    Command removing = command.subcommand("remove", "Removes one of the " + what);
    removing.value("NAME", *word, "Its name, as the list shows it").required();
    removing.runs([&store, word] { return removeNamed(store, *word); });
}

} // namespace

void addCertTrust(Command cert) {
    addStore(cert, kAuthorities);
    addStore(cert, kLists);
}

} // namespace tarnctl
