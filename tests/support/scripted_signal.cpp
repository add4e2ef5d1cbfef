#include "scripted_signal.h"

#include "scripted_platform.h"
#include "tarn_platform/os_signal.h"

using tarn::test::ScriptedPlatform;

namespace {

std::vector<int> added;

} // namespace

std::vector<tarn::test::SignalMaskChange>& tarn::test::scriptedSignalMaskChanges() {
    static std::vector<SignalMaskChange> changes;
    return changes;
}

uint32_t OsSigEmptySet(sigset_t* set) {
    added.clear();
    return ScriptedPlatform::get().enter("OsSigEmptySet") ? 0x90 : static_cast<uint32_t>(sigemptyset(set));
}

uint32_t OsSigAddSet(sigset_t* set, int signal) {
    added.push_back(signal);
    return ScriptedPlatform::get().enter("OsSigAddSet") ? 0x91 : static_cast<uint32_t>(sigaddset(set, signal));
}

uint32_t OsPthreadSigmask(int how, const sigset_t* set, sigset_t*) {
    if (ScriptedPlatform::get().enter("OsPthreadSigmask")) {
        return 0x92;
    }
    tarn::test::scriptedSignalMaskChanges().push_back({how, *set, added});
    return 0;
}
