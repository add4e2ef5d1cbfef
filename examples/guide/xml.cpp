// XML messages: built, printed, read.
#include <cstring>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_xml.h"
#include "tarn_conference/conf_xml_encode.h"
#include "tarn_conference/conf_xml_param.h"
#include "tarn_platform/os_memory.h"
// [/includes]

namespace {

void build() {
    // [build]
    void* const root = ConfXmlCreateRootNode("call");
    void* const peer = ConfXmlCreateLastChildNode(root, "peer");
    const uint32_t id = 7;
    ConfXmlAddAttr(root, "id", CONF_XML_UINT, &id);
    ConfXmlSetNodeText(peer, CONF_XML_STRING, "Grace & Ada");
    const char* const body = ConfXmlTransformStr(root); // belongs to the document
    // [/build]
    guide::promise(body != nullptr && std::strcmp(body, "<call id=\"7\"><peer>Grace &amp; Ada</peer></call>") == 0,
                   "a body from nodes");
    // [release]
    ConfXmlFreeRootNode(root);
    // [/release]
}

void encode() {
    // [encode]
    ConfXmlAttrItem unit[] = {{"unit", "kbit/s"}};
    ConfXmlNodeSet children[] = {{"codec", "H265", 0, nullptr}, {"rate", "4147", 1, unit}};
    const ConfXmlEncodeReq request = {"stream", children, 2};
    char* const body = ConfXmlAdptEncode(&request); // belongs to the caller
    // [/encode]
    const char* const expected = "<stream><codec>H265</codec><rate unit=\"kbit/s\">4147</rate></stream>";
    guide::promise(body != nullptr && std::strcmp(body, expected) == 0, "a body from a description");
    OSMemTypeFreeMon(body, 0, 0, __LINE__, "xml");
}

void read() {
    // [read]
    void* const root = ConfXmlParseBodyGetRoot("<call id=\"7\"><peer><name>Ada</name><port>5060</port></peer></call>");
    if (root == nullptr) {
        return;
    }
    const uint32_t id = ConfXmlGetNodeUintAttr(root, "id");
    char name[32] = "";
    uint32_t port = 0;
    ConfXmlParaseStringParams("peer name", root, name, sizeof name, false);
    ConfXmlParaseIntParams("peer port", root, &port, false);
    void* const absent = ConfXmlGetNodeByPath(root, "peer address"); // null
    // [/read]
    guide::promise(id == 7 && std::strcmp(name, "Ada") == 0 && port == 5060, "values by their paths");
    guide::promise(absent == nullptr, "null for what is not there");
    ConfXmlFreeRootNode(root);
}

void refuse() {
    guide::promise(ConfXmlParseBodyGetRoot("<call>") == nullptr, "null for what is no XML");
}

} // namespace

int main() {
    build();
    encode();
    read();
    refuse();
    return guide::result();
}
