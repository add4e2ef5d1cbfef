// The file service of the scripted platform: the machine's files. Streams that were opened and never closed, as the
// reading of XML files leaves them, are closed with `closeStreams`.
#pragma once

#include <cstdio>
#include <utility>

#include "scripted_platform.h"

namespace tarn::test {

struct ScriptedFiles {
    std::vector<FILE*> openedForReading;
    std::vector<std::pair<std::string, std::string>> copies; // asked for: from, to

    void closeStreams() {
        for (FILE* const stream : openedForReading) {
            std::fclose(stream);
        }
        openedForReading.clear();
    }
};

inline constexpr auto scriptedFiles = stateOf<ScriptedFiles>;

} // namespace tarn::test
