// See scripted_openssl.cpp.
#pragma once

#include <string>

namespace tarn::test {

struct ScriptedEngine {
    std::string modulePath;   // where the library looked for it last
    std::string keyDirectory; // each file a key, by its id

    static ScriptedEngine& get();
    // The process is without engine again.
    void unload();
};

} // namespace tarn::test
