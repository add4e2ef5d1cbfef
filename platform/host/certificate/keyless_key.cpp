#include "certificate/keyless_key.h"

#include <cerrno>

#include "certificate/service_folder.h"

namespace tarn::host {
namespace {

// ENOENT when the certificate of the folder is not the one, whatever the reason.
int loadFrom(const ServiceFolder& folder, const std::string& id, KeyPointer& key) {
    FileBytes bytes;
    CertificatePointer certificate;
    if (!folder.isKeyless() || folder.readCertificate(kMostCertificateBytes, bytes) != 0 ||
        readCertificate(bytes.all(), certificate) != 0 || certificateId(*certificate) != id) {
        return ENOENT;
    }
    return loadOwnKey(folder, *certificate, key);
}

} // namespace

int loadKeylessKey(const std::string& id, KeyPointer& key) {
    for (const CertificateType& type : kCertificateTypes) {
        const int error = useServiceFolder(
            type, [&] { key.reset(); }, [&](const ServiceFolder& folder) { return loadFrom(folder, id, key); });
        if (error != ENOENT) {
            return error;
        }
    }
    return ENOENT;
}

} // namespace tarn::host
