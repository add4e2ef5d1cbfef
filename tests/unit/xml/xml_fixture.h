// What the XML tests share: documents that free themselves.
#pragma once

#include <memory>

#include "file/scratch_directory.h"
#include "meant_leaks.h"
#include "scripted_file.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_xml.h"
#include "told.h"

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
};

} // namespace tarn::test
