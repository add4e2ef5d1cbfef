#include "json.h"

#include <cstdio>
#include <new>

#include "item_text.h"

namespace tarnctl {
namespace {

Json owned(cJSON* json) {
    if (json == nullptr) {
        throw std::bad_alloc();
    }
    return Json(json);
}

std::string cleaned(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const size_t bytes = characterBytes(text);
        result += bytes == 0 ? std::string_view("\xEF\xBF\xBD") : text.substr(0, bytes);
        text.remove_prefix(bytes == 0 ? 1 : bytes);
    }
    return result;
}

void print(char* text) {
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    std::puts(text);
    cJSON_free(text);
}

} // namespace

Json makeObject() {
    return owned(cJSON_CreateObject());
}

Json makeArray() {
    return owned(cJSON_CreateArray());
}

Json makeText(std::string_view text) {
    return owned(cJSON_CreateString(cleaned(text).c_str()));
}

void addMember(cJSON& object, std::string_view name, Json value) {
    if (cJSON_AddItemToObject(&object, cleaned(name).c_str(), value.get()) == 0) {
        throw std::bad_alloc();
    }
    static_cast<void>(value.release()); // It belongs to the object now.
}

void addMember(cJSON& object, std::string_view name, std::string_view text) {
    addMember(object, name, makeText(text));
}

void addMember(cJSON& object, std::string_view name, double number) {
    addMember(object, name, owned(cJSON_CreateNumber(number)));
}

void addNull(cJSON& object, std::string_view name) {
    addMember(object, name, owned(cJSON_CreateNull()));
}

void addElement(cJSON& array, Json value) {
    if (cJSON_AddItemToArray(&array, value.get()) == 0) {
        throw std::bad_alloc();
    }
    static_cast<void>(value.release()); // It belongs to the array now.
}

void printLine(const cJSON& json) {
    print(cJSON_PrintUnformatted(&json));
}

void printText(const cJSON& json) {
    print(cJSON_Print(&json));
}

} // namespace tarnctl
