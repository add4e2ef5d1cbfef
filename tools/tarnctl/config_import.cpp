// "tarnctl config import": all items of a file or none. The file holds KEY=VALUE lines, or one JSON object of texts.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "config.h"
#include "item_text.h"
#include "json.h"

namespace tarnctl {
namespace {

struct CloseFile {
    void operator()(std::FILE* file) const {
        if (file != stdin) {
            std::fclose(file);
        }
    }
};

// False with `errno` set.
bool readFile(const std::string& path, std::string& content) {
    const std::unique_ptr<std::FILE, CloseFile> file(path == "-" ? stdin : std::fopen(path.c_str(), "re"));
    if (file == nullptr) {
        return false;
    }
    std::array<char, 4096> part;
    size_t length = 0;
    while ((length = std::fread(part.data(), 1, part.size(), file.get())) > 0) {
        content.append(part.data(), length);
    }
    return std::ferror(file.get()) == 0;
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
    if (!readFile(path, content)) {
        const int error = errno;
        return complain(error == ENOENT ? kNotFound : kFailed, "cannot read " + path + ": " + std::strerror(error));
    }
    if (content.find('\0') != std::string::npos) {
        return complain(kFailed, path + ": holds a NUL byte; this is no exported configuration");
    }
    std::vector<Item> items;
    const size_t start = content.find_first_not_of(" \t\r\n");
    const bool isJson = start != std::string::npos && content[start] == '{';
    const int parsed = isJson ? parseJson(path, content, items) : parseLines(path, content, items);
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
