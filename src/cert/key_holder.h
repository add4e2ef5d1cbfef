// Where keys are that never leave their holder: a TLS context gets a handle by which the holder signs. The loaders know
// only this header; what stands behind it may change with OpenSSL.
#pragma once

#include "base/openssl_owner.h"

namespace tarn::detail {

class KeyHolder {
 public:
    // The device's holder, loaded at first need. One that cannot be had is logged.
    static KeyHolder open();

    bool isOpen() const { return handle_ != nullptr; }

    // The key with this id, or null. Only of a holder that is open.
    OwnedKey load(const char* id) const;

 private:
    explicit KeyHolder(void* handle) : handle_(handle) {}

    void* handle_;
};

} // namespace tarn::detail
