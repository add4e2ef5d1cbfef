// What the XML tests share: documents that free themselves and the records of one call.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "file/scratch_directory.h"
#include "meant_leaks.h"
#include "scripted_file.h"
#include "scripted_platform.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_xml.h"

namespace tarn::test {

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
};

} // namespace tarn::test
