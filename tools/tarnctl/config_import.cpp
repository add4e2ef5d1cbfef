// "tarnctl config import": all items of a file or none. The file holds KEY=VALUE lines, or one JSON object of texts.
#include <cstdio>
#include <memory>

#include "config.h"
#include "file_content.h"
#include "item_text.h"
#include "json.h"

namespace tarnctl {
namespace {

// cJSON ends a text there in silence.
bool hasNulEscape(std::string_view json) {
    constexpr std::string_view kNul = "\\u0000";
    size_t at = json.find('\\');
    while (at != std::string_view::npos && !json.substr(at).starts_with(kNul)) {
        at = json.find('\\', at + 2);
    }
    return at != std::string_view::npos;
}

int parseLines(const std::string& path, std::string_view content, std::vector<Item>& items) {
    for (size_t number = 1; !content.empty(); ++number) {
        const size_t end = std::min(content.find('\n'), content.size());
        const std::string_view line = content.substr(0, end);
        content.remove_prefix(std::min(end + 1, content.size()));
        if (line.empty() || line.front() == '#') {
            continue;
        }
        auto item = parseItem(line);
        if (!item.has_value()) {
            return complain(kFailed,
                            path + ":" + std::to_string(number) + ": expected KEY=VALUE; nothing was imported");
        }
        items.push_back(std::move(*item));
    }
    return kDone;
}

int parseJson(const std::string& path, const std::string& content, std::vector<Item>& items) {
    const char* end = nullptr;
    const Json object(cJSON_ParseWithOpts(content.c_str(), &end, 1));
    if (object == nullptr) {
        const long offset = end == nullptr ? 0 : end - content.c_str();
        return complain(kFailed, path + ": not JSON at byte " + std::to_string(offset) + "; nothing was imported");
    }
    for (const cJSON* member = object->child; member != nullptr; member = member->next) {
        if (cJSON_IsString(member) == 0) {
            return complain(kFailed,
                            path + ": the value of " + keyText(member->string) + " is no text; nothing was imported");
        }
        items.emplace_back(member->string, member->valuestring);
    }
    return kDone;
}

int import(const std::string& path) {
    std::string content;
    const int error = path == "-" ? readContent(*stdin, content) : readContent(path, content);
    if (error != 0) {
        return complainOfFile(path, error);
    }
    const size_t start = content.find_first_not_of(" \t\r\n");
    const bool isJson = start != std::string::npos && content[start] == '{';
    if (content.find('\0') != std::string::npos || (isJson && hasNulEscape(content))) {
        return complain(kFailed, path + ": holds a NUL byte; this is no exported configuration");
    }
    std::vector<Item> items;
    const int parsed = isJson ? parseJson(path, content, items) : parseLines(path, content, items);
    if (parsed == kDone && items.size() > kMostItems) {
        return complain(kFailed, path + ": " + std::to_string(items.size()) + " items, more than the " +
                                     std::to_string(kMostItems) + " that one write takes; nothing was imported");
    }
    return parsed != kDone ? parsed : writeItems(items);
}

} // namespace

void addConfigImport(Command config) {
    Command command = config.subcommand(
        "import", "Writes the items of a file, all in one step: KEY=VALUE lines (# begins a comment) or a JSON object");
    auto path = std::make_shared<std::string>();
    command.value("FILE", *path, "The file; - for standard input").required();
    command.runs([path] { return import(*path); });
}

} // namespace tarnctl
