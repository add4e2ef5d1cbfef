// One question to the certificate service for paths. The pass phrase in the answer is wiped when the answer goes.
#pragma once

#include <cstdint>

#include "tarn_platform/om_certificate.h"

namespace tarn::detail {

class ServicePath {
 public:
    // `kind` is `OM_CERT_PATH_...`, `omType` the service's number of the type; 0 for directories.
    ServicePath(uint32_t kind, uint32_t omType);
    ~ServicePath();
    ServicePath(const ServicePath&) = delete;
    ServicePath& operator=(const ServicePath&) = delete;

    // The service's code, 0 for success.
    uint32_t result() const { return result_; }
    const ConfCertPathInfo* operator->() const { return &info_; }

 private:
    static constexpr uint32_t kQueryConstant = 2;

    ConfCertPathInfo info_ = {};
    uint32_t result_;
};

} // namespace tarn::detail
