// Two flags of security, kept by the service. Each is written as the lowest byte of what the caller gives.
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_settings.h"

namespace {

constexpr const char* kEofbKey = "Conf.SecurityParam.enableEofb";
constexpr const char* kPreventAttackKey = "Conf.SIPCallParam.PreventAttack";

uint32_t writeFlag(const char* key, uint32_t flag) {
    return ConfConfigSetIntValue(key, static_cast<uint8_t>(flag));
}

} // namespace

int32_t GetEnableEofb(void) {
    return ConfConfigGetIntValue(kEofbKey);
}

uint32_t SetEnableEofb(uint32_t flag) {
    return writeFlag(kEofbKey, flag);
}

int32_t GetSipPreventAttack(void) {
    return ConfConfigGetIntValue(kPreventAttackKey);
}

uint32_t SetSipPreventAttack(uint32_t flag) {
    return writeFlag(kPreventAttackKey, flag);
}
