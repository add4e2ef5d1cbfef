// One input on the scripted platform: starts from a fresh one, and ends with every accounted block given back and no
// mutex held.
#pragma once

#include "scripted_config.h"
#include "scripted_file.h"
#include "scripted_message.h"
#include "scripted_platform.h"
#include "target.h"

namespace tarn::fuzz {

class ScriptedRun {
 public:
    ScriptedRun() : blocksBefore_(platform().liveBlocks()) { forget(); }
    ScriptedRun(const ScriptedRun&) = delete;
    ScriptedRun& operator=(const ScriptedRun&) = delete;
    ~ScriptedRun() {
        FUZZ_CHECK(platform().liveBlocks() == blocksBefore_);
        FUZZ_CHECK(platform().heldMutexes() == 0);
        forget();
    }

    static test::ScriptedPlatform& platform() { return test::ScriptedPlatform::get(); }

    size_t newBlocks() const { return platform().liveBlocks() - blocksBefore_; }

 private:
    // The recordings would grow over millions of inputs, and so would the streams that reading leaves open.
    static void forget() {
        platform().reset();
        test::ScriptedConfig::get().reset();
        test::scriptedMessages() = {};
        test::scriptedFiles().closeStreams();
        test::scriptedFiles().copies.clear();
    }

    const size_t blocksBefore_;
};

} // namespace tarn::fuzz
