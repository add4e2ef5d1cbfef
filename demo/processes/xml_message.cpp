// An XML message from the meeting service to the application, written with node sets and read by path.
#include <array>
#include <cstring>
#include <string>

#include "processes/handlers.h"
#include "processes/inbox.h"
#include "processes/meeting_orders.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_xml_encode.h"
#include "tarn_conference/conf_xml_param.h"
#include "tarn_platform/os_memory.h"

namespace tarn::demo {
namespace {

constexpr const char* kLogName = "xml_message";
constexpr uint32_t kUnreadable = 400;

// Texts as lists of character codes, in three scripts.
constexpr const char* kLatin = "72,101,108,108,111";
constexpr const char* kCyrillic = "1055,1088,1080,1074,1077,1090";
constexpr const char* kHan = "20320,22909";

ConfXmlNodeSet element(const char* name, const char* text) {
    return {name, text, 0, nullptr};
}

std::string greeting(void* root, const char* path) {
    std::array<char, 64> text = {};
    ConfXmlParamNote note = {};
    std::strncpy(note.url, path, sizeof note.url - 1);
    note.isString = 1;
    note.isAsciiCode = 1;
    note.pValue = text.data();
    note.strSize = static_cast<uint32_t>(text.size());
    return ConfXmlParseSingleNote(root, &note) == 0 ? text.data() : "?";
}

} // namespace

// xml-message: builds the message and sends it.
Reply sendXmlMessage(const Arguments&) {
    ConfXmlAttrItem layoutAttribute = {"mode", "grid"};
    std::array<ConfXmlAttrItem, 2> rootAttributes = {{{"id", "77"}, {"secure", "yes"}}};
    ConfXmlNodeSet root = {"conference", nullptr, 2, rootAttributes.data()};
    std::array<ConfXmlNodeSet, 4> children = {{{"layout", "9", 1, &layoutAttribute},
                                               element("latin", kLatin),
                                               element("cyrillic", kCyrillic),
                                               element("han", kHan)}};
    const ConfXmlEncodeTree tree = {&root, children.data(), static_cast<uint32_t>(children.size())};
    char* const body = ConfXmlAdptEncodeWithRootAttr(&tree);
    char* whole = nullptr;
    Reply reply = {{"result", "no message"}};
    if (body != nullptr && ConfXmlDumpWithHeader(body, &whole) == 0) {
        reply["text"] = std::string(whole, std::strcspn(whole, "\n"));
        reply["result"] = std::to_string(ConfCommMsgSynSend(kApplication, readXmlMessage, kMsgXml, whole,
                                                            static_cast<uint32_t>(std::strlen(whole))));
    }
    OSMemTypeFreeMon(whole, 0, 0, __LINE__, kLogName);
    OSMemTypeFreeMon(body, 0, 0, __LINE__, kLogName);
    return reply;
}

uint32_t readXmlMessage(uint32_t, void* data, uint32_t length) {
    const std::string text(static_cast<const char*>(data), length);
    void* const root = ConfXmlParseBodyGetRoot(text.c_str());
    if (root == nullptr) {
        return kUnreadable;
    }
    const char* const id = ConfXmlGetNodeStrAttr(root, "id");
    const char* const mode = ConfXmlAdptGetNodeAttrByUrl(root, "layout", "mode");
    uint32_t windows = 0;
    ConfXmlParaseIntParams("layout", root, &windows, false);
    std::string seen = std::string("conference ").append(id == nullptr ? "?" : id);
    seen.append(", ").append(mode == nullptr ? "?" : mode).append(" of ").append(std::to_string(windows));
    for (const char* path : {"latin", "cyrillic", "han"}) {
        seen.append(", ").append(greeting(root, path));
    }
    ConfXmlFreeRootNode(root);
    inbox().note("xml", seen);
    return 0;
}

} // namespace tarn::demo
