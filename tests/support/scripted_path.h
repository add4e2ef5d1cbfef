// The customisation paths of the scripted platform: what a test says.
#pragma once

#include <string>

namespace tarn::test {

struct ScriptedPaths {
    std::string configuration = "/absent/configuration";
    std::string storage = "/absent/storage";
};

inline ScriptedPaths& scriptedPaths() {
    static ScriptedPaths paths;
    return paths;
}

} // namespace tarn::test
