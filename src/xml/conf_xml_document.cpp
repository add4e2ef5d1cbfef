// Documents: making, reading, printing, saving and releasing them. A file that was read stays open, because processes
// count on the descriptors they have; nothing here closes it.
#include <cstdio>
#include <memory>

#include "base/log.h"
#include "tarn_conference/conf_xml.h"
#include "tarn_platform/os_file.h"
#include "xml/saved_document.h"
#include "xml/xml_element.h"

namespace {

using tarn::detail::elementOf;
using tarn::detail::unlessOutOfMemory;

constexpr const char* kLogName = "xmlAdapter";

// The document would leave a file that it opened itself open when memory runs out.
struct CloseStream {
    void operator()(FILE* stream) const { std::fclose(stream); }
};
using StreamOwner = std::unique_ptr<FILE, CloseStream>;

// The root of a document takes over the ownership; a document without an element has nobody to own it.
void* handOver(std::unique_ptr<ConfXMLDocument> document) {
    void* const root = document->RootElement();
    if (root != nullptr) {
        static_cast<void>(document.release());
    }
    return root;
}

void* createRoot(const char* name) {
    auto document = std::make_unique<ConfXMLDocument>();
    document->InsertFirstChild(document->NewElement(name));
    return handOver(std::move(document));
}

void* loadFile(const char* path) {
    constexpr const char* kFunction = "ConfXmlParseFileGetRoot";
    auto document = std::make_unique<ConfXMLDocument>();
    FILE* const stream = OsFopen(path, "rb");
    if (stream == nullptr) {
        TARN_LOG_AS(kFunction, CONF_LOG_ERROR, "fp is null");
        // Left behind on purpose: the memory of the processes was measured with it.
        static_cast<void>(document.release());
        return nullptr; // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)
    }
    const auto result = unlessOutOfMemory(tinyxml2::XML_ERROR_PARSING, [&] { return document->LoadFile(stream); });
    if (result != tinyxml2::XML_SUCCESS) {
        TARN_LOG_AS(kFunction, CONF_LOG_ERROR, "LoadFile failed");
        return nullptr;
    }
    return handOver(std::move(document));
}

void* parseBody(const char* body) {
    constexpr const char* kFunction = "ConfXmlParseBodyGetRoot";
    auto document = std::make_unique<ConfXMLDocument>();
    const auto result =
        unlessOutOfMemory(tinyxml2::XML_ERROR_PARSING, [&] { return document->Parse(body, static_cast<size_t>(-1)); });
    if (result != tinyxml2::XML_SUCCESS) {
        TARN_LOG_AS(kFunction, CONF_LOG_ERROR, "Parse doc failed");
        return nullptr;
    }
    if (document->Error()) {
        TARN_LOG_AS(kFunction, CONF_LOG_ERROR, "Error parsing XML: %s", document->ErrorStr());
        return nullptr;
    }
    return handOver(std::move(document));
}

// Every document that has handles was made here.
ConfXMLDocument* documentOf(void* node) {
    return static_cast<ConfXMLDocument*>(elementOf(node)->GetDocument());
}

} // namespace

tarn::detail::SavedDocument tarn::detail::saveDocument(void* node, const char* fileName) {
    if (node == nullptr || fileName == nullptr) {
        return {CONF_XML_BAD_ARGUMENT, false};
    }
    StreamOwner stream(std::fopen(fileName, "w"));
    if (stream == nullptr) {
        return {tinyxml2::XML_ERROR_FILE_COULD_NOT_BE_OPENED, false};
    }
    const uint32_t result = unlessOutOfMemory(uint32_t{CONF_XML_BAD_ARGUMENT}, [&] {
        return static_cast<uint32_t>(documentOf(node)->SaveFile(stream.get(), false));
    });
    const bool isWritten = std::ferror(stream.get()) == 0;
    const bool isClosed = std::fclose(stream.release()) == 0;
    return {result, isWritten && isClosed};
}

ConfXMLDocument::ConfXMLDocument() : XMLDocument(true, tinyxml2::PRESERVE_WHITESPACE) {}

ConfXMLDocument::~ConfXMLDocument() = default;

const char* ConfXMLDocument::GetXmlBody() {
    return unlessOutOfMemory<const char*>(nullptr, [&] {
        tinyxml2::XMLPrinter printer(nullptr, true, 0);
        Print(&printer);
        body_.assign(printer.CStr(), static_cast<size_t>(printer.CStrSize()) - 1);
        return body_.c_str();
    });
}

void* ConfXmlCreateRootNode(const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    return unlessOutOfMemory<void*>(nullptr, [&] { return createRoot(name); });
}

void* ConfXmlParseFileGetRoot(const char* pszXmlFile) {
    if (pszXmlFile == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "pszXmlFile is nullptr");
        return nullptr;
    }
    return unlessOutOfMemory<void*>(nullptr, [&] { return loadFile(pszXmlFile); });
}

void* ConfXmlParseBodyGetRoot(const char* body) {
    return unlessOutOfMemory<void*>(nullptr, [&] { return parseBody(body); });
}

void ConfXmlFreeRootNode(void* node) {
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "parentNode is nullptr!");
        return;
    }
    delete elementOf(node)->GetDocument();
}

void* ConfXmlGetRootNode(void* node) {
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "node is nullptr!");
        return nullptr;
    }
    return elementOf(node)->GetDocument()->RootElement();
}

bool ConfXmlIsRootNode(void* node) {
    return node != nullptr && elementOf(node)->GetDocument()->RootElement() == elementOf(node);
}

const char* ConfXmlTransformStr(void* rootNode) {
    if (rootNode == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "rootNode is nullptr!");
        return nullptr;
    }
    if (!ConfXmlIsRootNode(rootNode)) {
        TARN_LOG(CONF_LOG_ERROR, "input node is not root!");
        return nullptr;
    }
    return documentOf(rootNode)->GetXmlBody();
}

uint32_t ConfXmlTransformFile(void* rootNode, const char* fileName) {
    return tarn::detail::saveDocument(rootNode, fileName).result;
}
