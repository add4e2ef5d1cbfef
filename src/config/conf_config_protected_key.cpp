#include "config/protected_key.h"

#include <cstring>

namespace tarn::detail {

namespace {

struct ProtectedKey {
    const char* key;
    bool isEncrypted;
};

constexpr ProtectedKey kProtectedKeys[] = {
    {"Conf.SIPCallParam.sipPwd", true},
    {"Conf.H323CallParam.gkPwd", true},
    {"Conf.SIPCallParam.sipServerAddr", false},
    {"Conf.H323CallParam.gkAddr", false},
    {"Conf.H323CallParam.vgAddr", false},
    {"Conf.FireWallParam.NatAddr", false},
    {"Conf.ServerParam.addr", false},
    {"Conf.ConfParam.DataConfRVXAddr", false},
    {"Conf.ServerParam.pwd", false},
};

const ProtectedKey* findProtected(const char* key) {
    for (const ProtectedKey& candidate : kProtectedKeys) {
        if (std::strcmp(key, candidate.key) == 0) {
            return &candidate;
        }
    }
    return nullptr;
}

} // namespace

bool isProtectedKey(const char* key) {
    return findProtected(key) != nullptr;
}

bool isEncryptedKey(const char* key) {
    const ProtectedKey* const found = findProtected(key);
    return found != nullptr && found->isEncrypted;
}

} // namespace tarn::detail
