// The customisation paths of the scripted platform: what a test says.
#pragma once

#include "scripted_platform.h"

namespace tarn::test {

struct ScriptedPaths {
    std::string configuration = "/absent/configuration";
    std::string storage = "/absent/storage";
};

inline constexpr auto scriptedPaths = stateOf<ScriptedPaths>;

} // namespace tarn::test
