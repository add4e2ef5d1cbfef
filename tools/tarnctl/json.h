// JSON output, RFC 8259. A byte that is not UTF-8 appears as U+FFFD.
#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <string>
#include <string_view>

namespace tarnctl {

struct DeleteJson {
    void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, DeleteJson>;

// Throw std::bad_alloc when memory is out, as all that follow.
Json makeObject();
Json makeArray();
Json makeText(std::string_view text);

void addMember(cJSON& object, std::string_view name, std::string_view text);
void addMember(cJSON& object, std::string_view name, double number);
void addNull(cJSON& object, std::string_view name);
void addMember(cJSON& object, std::string_view name, Json value);
void addElement(cJSON& array, Json value);

// One line to standard output, or an indented text.
void printLine(const cJSON& json);
void printText(const cJSON& json);

} // namespace tarnctl
