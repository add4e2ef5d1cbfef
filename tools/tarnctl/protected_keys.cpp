#include "protected_keys.h"

#include <strings.h>

#include <algorithm>
#include <iterator>

namespace tarnctl {
namespace {

constexpr const char* kProtected[] = {
    "Conf.SIPCallParam.sipPwd",  "Conf.H323CallParam.gkPwd",       "Conf.SIPCallParam.sipServerAddr",
    "Conf.H323CallParam.gkAddr", "Conf.H323CallParam.vgAddr",      "Conf.FireWallParam.NatAddr",
    "Conf.ServerParam.addr",     "Conf.ConfParam.DataConfRVXAddr", "Conf.ServerParam.pwd",
};

} // namespace

bool isProtected(const std::string& key) {
    return std::any_of(std::begin(kProtected), std::end(kProtected),
                       [&](const char* candidate) { return strcasecmp(candidate, key.c_str()) == 0; });
}

bool isPassword(std::string_view key) {
    return key == "Conf.SIPCallParam.sipPwd" || key == "Conf.H323CallParam.gkPwd";
}

} // namespace tarnctl
