// What the XML tests share: documents that free themselves, the records of one call, memory that runs out, and leaks
// that are meant.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "file/scratch_directory.h"
#include "scripted_file.h"
#include "scripted_platform.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_xml.h"

namespace tarn::test {

// The memory of the library and of tinyxml2 runs out at the n-th block from now on; 0 for never.
void failBlock(size_t n);
// Whether it has run out.
bool blockFailed();

// Blocks that are made while one of these lives may stay: a file that cannot be opened leaves a document behind.
class MeantLeaks {
 public:
    MeantLeaks();
    ~MeantLeaks();
    MeantLeaks(const MeantLeaks&) = delete;
    MeantLeaks& operator=(const MeantLeaks&) = delete;
};

class XmlTest : public ScriptedPlatformTest {
 protected:
    struct FreeDocument {
        void operator()(void* node) const { ConfXmlFreeRootNode(node); }
    };
    using Document = std::unique_ptr<void, FreeDocument>;

    void SetUp() override {
        ScriptedPlatformTest::SetUp();
        SetLogLevel(CONF_LOG_DEBUG);
    }
    void TearDown() override {
        scriptedFiles().closeStreams();
        scriptedFiles().copies.clear();
        SetLogLevel(CONF_LOG_INFO);
        ScriptedPlatformTest::TearDown();
    }

    static Document parse(const std::string& body) { return Document(ConfXmlParseBodyGetRoot(body.c_str())); }

    static std::string printed(const Document& document) {
        const char* const text = ConfXmlTransformStr(document.get());
        return text == nullptr ? "(null)" : text;
    }

    // The records since the last call of this, as "level text".
    std::vector<std::string> takeLogs() {
        std::vector<std::string> texts;
        for (const LogRecord& record : platform.logs()) {
            texts.push_back(std::to_string(record.level) + " " + record.text);
        }
        platform.clearLogs();
        return texts;
    }

    // Runs `operation` with memory running out at its first, second, ... block until it runs through.
    template <typename Operation>
    void sweepBlocks(Operation operation) {
        const MeantLeaks ofTinyxml; // it loses blocks of its own then
        for (size_t n = 1; n < 10'000; ++n) {
            failBlock(n);
            operation();
            const bool failed = blockFailed();
            failBlock(0);
            if (!failed) {
                return;
            }
        }
        FAIL() << "the operation never ran through unharmed";
    }
};

} // namespace tarn::test
