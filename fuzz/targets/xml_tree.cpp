// Typed XML files: loaded into variables, saved and loaded again. Every variable stands in memory of exactly its size.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "input.h"
#include "memory_file.h"
#include "scripted_run.h"
#include "tarn_conference/conf_xml_tree.h"

namespace {

using tarn::fuzz::MemoryFile;
using tarn::fuzz::ScriptedRun;

struct Type {
    const char* name;
    uint8_t type;
    uint32_t bytes;
};

constexpr Type kTypes[] = {
    {"UINT8", CONF_XML_ATTR_UINT8, 1}, {"INT8", CONF_XML_ATTR_INT8, 1},     {"UINT16", CONF_XML_ATTR_UINT16, 2},
    {"INT16", CONF_XML_ATTR_INT16, 2}, {"UINT32", CONF_XML_ATTR_UINT32, 4}, {"INT32", CONF_XML_ATTR_INT32, 4},
    {"CHAR", CONF_XML_ATTR_CHAR, 12},
};
constexpr size_t kTypeCount = std::size(kTypes);
constexpr uint32_t kInstances = 2;

// A variable of each type at the root, and of each type in each instance of a group.
using Variables = std::vector<std::vector<char>>;

Variables makeVariables(char filling) {
    Variables variables;
    for (uint32_t i = 0; i < kTypeCount * (1 + kInstances); ++i) {
        const Type& type = kTypes[i % kTypeCount];
        std::vector<char>& bytes = variables.emplace_back(type.bytes, filling);
        if (type.type == CONF_XML_ATTR_CHAR) {
            bytes[type.bytes - 1] = '\0';
        }
    }
    return variables;
}

Variables* current = nullptr;

void addValues(void* group, size_t first) {
    for (size_t i = 0; i < kTypeCount; ++i) {
        char address[32];
        std::snprintf(address, sizeof address, "%p", static_cast<void*>((*current)[first + i].data()));
        const char* const nameAndType[] = {kTypes[i].name, kTypes[i].name};
        const ValueSpec spec = {kTypes[i].type, address, kTypes[i].bytes};
        FUZZ_CHECK(ConfXmlAddSingleValueNode(group, nameAndType, &spec) != nullptr);
    }
}

void* createIndexTable(uint32_t) {
    void* const root = ConfXmlAddSingleStructNode(nullptr, "Root");
    addValues(root, 0);
    void* const instances = ConfXmlAddMultiInstanceNode(root, "Sites", kInstances);
    for (uint32_t id = 1; id <= kInstances; ++id) {
        addValues(ConfXmlAddMultiStructNode(instances, "Site", id), kTypeCount * id);
    }
    return root;
}

bool load(const char* file, const char* backup, Variables& variables) {
    current = &variables;
    return ConfXmlLoad(createIndexTable, file, backup) == 0;
}

// Saves the variables and loads them into others.
Variables passOn(Variables& variables) {
    const MemoryFile file({});
    const MemoryFile empty({});
    current = &variables;
    ScriptedRun::platform().failNth("OsCopyFile", 1); // what follows a copy is a process that brings it to the disk
    FUZZ_CHECK(ConfXmlSave(createIndexTable, file.path(), empty.path()) == 0);
    Variables others = makeVariables('?');
    FUZZ_CHECK(load(file.path(), empty.path(), others));
    return others;
}

void checkTexts(const Variables& variables) {
    for (size_t i = kTypeCount - 1; i < variables.size(); i += kTypeCount) {
        FUZZ_CHECK(std::memchr(variables[i].data(), '\0', variables[i].size()) != nullptr);
    }
}

bool sameTexts(const Variables& left, const Variables& right, size_t i) {
    return std::strcmp(left[i].data(), right[i].data()) == 0;
}

void fuzzXmlTree(std::span<const uint8_t> bytes) {
    const ScriptedRun run;
    const MemoryFile file(bytes);
    const MemoryFile empty({});
    Variables loaded = makeVariables('!');
    const Variables before = loaded;
    if (!load(file.path(), empty.path(), loaded)) {
        FUZZ_CHECK(loaded == before);
        return;
    }
    checkTexts(loaded);
    Variables backup = makeVariables('!');
    FUZZ_CHECK(load(empty.path(), file.path(), backup) && backup == loaded);

    // XML does not hold every text, but what came out of a file once goes in and comes out the same.
    Variables once = passOn(loaded);
    const Variables twice = passOn(once);
    checkTexts(once);
    for (size_t i = 0; i < loaded.size(); ++i) {
        const bool isText = i % kTypeCount == kTypeCount - 1;
        FUZZ_CHECK(isText || (once[i] == loaded[i] && twice[i] == loaded[i]));
        FUZZ_CHECK(!isText || sameTexts(once, twice, i));
    }
}

const tarn::fuzz::Target target("xml_tree", fuzzXmlTree);

} // namespace
