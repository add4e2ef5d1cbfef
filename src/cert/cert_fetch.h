// A service certificate that is fetched for a moment. Of its key nothing is left in the memory that it gives back.
#pragma once

#include "tarn_conference/conf_cert.h"

namespace tarn::detail {

class FetchedCertificate {
 public:
    // Logs as ConfCertGetCertSizeAndInfo.
    explicit FetchedCertificate(uint32_t type);
    ~FetchedCertificate();
    FetchedCertificate(const FetchedCertificate&) = delete;
    FetchedCertificate& operator=(const FetchedCertificate&) = delete;

    bool isFetched() const { return isFetched_; }
    ConfCertBlob bytes() const { return {certificate_.certData, certificate_.certLen}; }

 private:
    ConfCertServiceCert certificate_ = {};
    uint32_t keyRoom_ = 0; // bytes of the key's block
    const uint32_t type_;
    const bool isFetched_;
};

} // namespace tarn::detail
