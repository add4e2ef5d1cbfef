// Loading and saving of variables by a walk over the caller's index table. An element that fails takes only what is
// below it out of the walk; a load or save fails as a whole at the root only.
#include <cerrno>
#include <cstdlib>

#include "base/log.h"
#include "tarn_platform/bounds_checked.h"
#include "tarn_platform/os_file.h"
#include "xml/document_owner.h"
#include "xml/saved_document.h"
#include "xml/tree_child_index.h"
#include "xml/tree_clone.h"
#include "xml/tree_vocabulary.h"

namespace {

using namespace tarn::detail;

constexpr const char* kLogName = "xml_utility";
constexpr uint32_t kFailed = 1;
constexpr const char* kLoadCallBack = "ConfXmlLoadCallBack";

enum : uint32_t { kLoadMode = 0, kSaveMode = 1 };

template <typename CallBack>
uint32_t traverse(void* node, const TransXMLContext& context, CallBack& callback) {
    constexpr const char* kFunction = "ConfXmlTraverseXmlTree";
    tagCONF_XML_NODE_INFO info = {};
    TransXMLContext local = context;
    const uint32_t described = ConfXmlGetXmlNodeAttrAndValue(node, &info);
    if (described != 0) {
        TARN_LOG_AS(kFunction, CONF_LOG_ERROR, "ConfXmlGetXmlNodeAttrAndValue fail");
        return described;
    }
    if (callback(&info, &local) != 0) {
        TARN_LOG_AS(kFunction, CONF_LOG_ERROR, "pCallback fail");
        return kFailed;
    }
    if (ConfXmlIsValueNode(&info) != 0) {
        return 0;
    }
    for (void* child = ConfXmlGetNodeFirstChild(node); child != nullptr; child = ConfXmlGetNodeNextSibling(child)) {
        traverse(child, local, callback);
    }
    return 0;
}

// The variable of an index node, or null.
void* variableOf(void* indexNode) {
    tagCONF_XML_VALUE address = {};
    if (ConfXmlGetValue(indexNode, CONF_XML_ATTR_CHAR, &address) != 0 || address.value.text == nullptr) {
        return nullptr;
    }
    errno = 0;
    const auto number = static_cast<uintptr_t>(std::strtoull(address.value.text, nullptr, 0));
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the text is all there is of the pointer.
    return errno == ERANGE ? nullptr : reinterpret_cast<void*>(number);
}

uint32_t failLoad(const char* text) {
    TARN_LOG_AS(kLoadCallBack, CONF_LOG_ERROR, "%s", text);
    return kFailed;
}

// A text is never stored as a number, nor a number as a text: files are not to be trusted with addresses. Nothing at
// all can be stored as either.
bool isStorable(const tagCONF_XML_VALUE& value, uint8_t type) {
    return value.value.text == nullptr || (value.type == CONF_XML_ATTR_CHAR) == (type == CONF_XML_ATTR_CHAR);
}

uint32_t loadValue(void* loaded, const tagCONF_XML_NODE_INFO& info) {
    tagCONF_XML_NODE_INFO loadedInfo = {};
    if (ConfXmlGetXmlNodeAttrAndValue(loaded, &loadedInfo) != 0) {
        return failLoad("ConfXmlGetXmlNodeAttrAndValue fail");
    }
    tagCONF_XML_VALUE value = {};
    if (ConfXmlGetValue(loaded, loadedInfo.type, &value) != 0) {
        return failLoad("ConfXmlGetValue fail");
    }
    if (!isStorable(value, info.type) || ConfXmlCopyXmlNodeValueToIndex(&value, &info, variableOf(info.node)) != 0) {
        return failLoad("ConfXmlCopyXmlNodeValueToIndex fail");
    }
    return 0;
}

// `find(info, parent, found)` looks among the loaded children.
template <typename Find>
uint32_t loadNode(const tagCONF_XML_NODE_INFO& info, TransXMLContext& context, const Find& find) {
    void* loaded = context.node;
    const uint32_t found = ConfXmlIsRootNode(info.node) ? ConfXmlMatchNode(info.node, loaded, ConfXmlCompareNode)
                                                        : find(info, context.node, &loaded);
    if (found != 0) {
        return kFailed;
    }
    if (ConfXmlIsValueNode(&info) != 0) {
        const uint32_t result = loadValue(loaded, info);
        if (result != 0) {
            return result;
        }
    }
    context.node = loaded;
    return 0;
}

uint32_t writeValue(void* output, const tagCONF_XML_NODE_INFO& info) {
    tagCONF_XML_VALUE value = {};
    if (ConfXmlCopyIndexValueToXmlNode(&info, variableOf(info.node), &value) != 0) {
        return kFailed;
    }
    return ConfXmlSetXmlNodeValue(output, &value) == 0 ? 0 : kFailed;
}

uint32_t writeNode(const tagCONF_XML_NODE_INFO& info, TransXMLContext& context, bool& documentReleased) {
    void* output = context.node;
    if (!ConfXmlIsRootNode(info.node)) {
        if (output == nullptr) {
            ConfXmlFreeRootNode(nullptr); // for its record in the log
            return kFailed;
        }
        const Clone clone = cloneAsLastChild(output, info);
        documentReleased = clone.documentReleased;
        if (clone.node == nullptr) {
            return kFailed;
        }
        output = clone.node;
    }
    if (ConfXmlIsValueNode(&info) != 0 && writeValue(output, info) != 0) {
        return kFailed;
    }
    context.node = output;
    return 0;
}

TransXMLContext emptyContext(const char* function) {
    TransXMLContext context;
    const errno_t cleared = memset_s(&context, sizeof context, 0, sizeof context);
    if (cleared != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, kSecureFunctionText, cleared);
        context = {};
    }
    return context;
}

DocumentOwner makeIndexTable(const char* function, ConfXmlCreateIndexTable create, uint32_t mode) {
    DocumentOwner table(create == nullptr ? nullptr : create(mode));
    if (table == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "Create call index table fail");
    }
    return table;
}

// A write into a document that is gone would be a write into freed memory: once it is, every visit fails.
uint32_t writeVariables(void* indexTable, const TransXMLContext& context, DocumentOwner& output) {
    auto visit = [&](tagCONF_XML_NODE_INFO* info, TransXMLContext* local) {
        if (output == nullptr) {
            return kFailed;
        }
        bool documentReleased = false;
        const uint32_t result = writeNode(*info, *local, documentReleased);
        if (documentReleased) {
            static_cast<void>(output.release());
        }
        return result;
    };
    const uint32_t result = traverse(indexTable, context, visit);
    return output == nullptr ? kFailed : result;
}

} // namespace

uint32_t ConfXmlTraverseXmlTree(void* hAddrTable, const TransXMLContext* context, ConfXmlTraverseCallBack callback) {
    if (hAddrTable == nullptr || context == nullptr || callback == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "hAddrTable or TransXMLContext or pCallback is null");
        return kFailed;
    }
    return traverse(hAddrTable, *context, callback);
}

uint32_t ConfXmlLoadCallBack(tagCONF_XML_NODE_INFO* info, TransXMLContext* context) {
    if (info == nullptr || context == nullptr) {
        return kFailed;
    }
    return loadNode(*info, *context, [](const tagCONF_XML_NODE_INFO& wanted, void* parent, void** found) {
        return ConfXmlFindMatchNode(wanted.node, parent, ConfXmlCompareNode, found);
    });
}

uint32_t ConfXmlWriteCallBack(tagCONF_XML_NODE_INFO* info, TransXMLContext* context) {
    if (info == nullptr || context == nullptr) {
        return kFailed;
    }
    bool documentReleased = false;
    return writeNode(*info, *context, documentReleased);
}

uint32_t ConfXmlLoad(ConfXmlCreateIndexTable createIndexTable, const char* file, const char* bakFile) {
    TransXMLContext context = emptyContext(__func__);
    DocumentOwner loaded(ConfXmlParseFileGetRoot(file));
    if (loaded == nullptr) {
        loaded.reset(ConfXmlParseFileGetRoot(bakFile));
    }
    if (loaded == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlParseFileGetRoot fail");
        return kFailed;
    }
    context.node = loaded.get();
    const DocumentOwner indexTable = makeIndexTable(__func__, createIndexTable, kLoadMode);
    if (indexTable == nullptr) {
        return kFailed;
    }
    TreeChildIndex children;
    auto visit = [&](tagCONF_XML_NODE_INFO* info, TransXMLContext* local) {
        return loadNode(*info, *local, [&](const tagCONF_XML_NODE_INFO& wanted, void* parent, void** found) {
            return children.find(wanted, parent, found);
        });
    };
    if (traverse(indexTable.get(), context, visit) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "Traverse XML tree fail");
        return kFailed;
    }
    return 0;
}

uint32_t ConfXmlSave(ConfXmlCreateIndexTable createIndexTable, const char* file, const char* bakFile) {
    TransXMLContext context = emptyContext(__func__);
    DocumentOwner output(ConfXmlAddSingleStructNode(nullptr, "Root"));
    if (output == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "Create XML tree fail");
        return kFailed;
    }
    context.node = output.get();
    DocumentOwner indexTable = makeIndexTable(__func__, createIndexTable, kSaveMode);
    if (indexTable == nullptr) {
        return kFailed;
    }
    if (writeVariables(indexTable.get(), context, output) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "Traverse XML tree fail");
        return kFailed;
    }
    // A file that the disk cut must not go over the backup, which is whole.
    const tarn::detail::SavedDocument saved = tarn::detail::saveDocument(output.get(), file);
    if (saved.result != CONF_XML_OK || !saved.isWhole) {
        TARN_LOG(CONF_LOG_ERROR, "TransForm File fail");
        return kFailed;
    }
    indexTable.reset();
    output.reset();
    ConfXmlBakFile(file, bakFile);
    return 0;
}

void ConfXmlBakFile(const char* file, const char* bakFile) {
    if (file == nullptr || bakFile == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return;
    }
    const int copied = OsCopyFile(file, bakFile);
    if (copied != 0) {
        TARN_LOG(CONF_LOG_ERROR, "OsCopyFile fail, ret:%d", copied);
        return;
    }
    const int synced = std::system("/system/bin/sync");
    if (synced != 0) {
        TARN_LOG(CONF_LOG_ERROR, "/system/bin/sync fail, ret:%d", synced);
    }
}
