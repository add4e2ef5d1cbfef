#include "log_record.h"

#include <array>
#include <charconv>
#include <optional>
#include <string_view>

namespace tarnctl {
namespace {

// TIME LEVEL PROCESS PID THREAD FILE:LINE TEXT
struct Fields {
    std::array<std::string_view, 6> words;
    std::string_view text;
};

std::optional<Fields> split(std::string_view record) {
    Fields fields;
    for (std::string_view& word : fields.words) {
        const size_t blank = record.find(' ');
        if (blank == 0 || blank == std::string_view::npos) {
            return std::nullopt;
        }
        word = record.substr(0, blank);
        record.remove_prefix(blank + 1);
    }
    fields.text = record;
    return fields;
}

std::optional<double> number(std::string_view text) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional<double>(value) : std::nullopt;
}

// The indentation of the lines behind the first was put there by the log.
std::string withoutIndent(std::string_view text) {
    std::string result;
    for (size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        result += text.substr(0, end + 1);
        text.remove_prefix(std::min(end + 5, text.size()));
    }
    return result.append(text);
}

} // namespace

Json objectOfRecord(const std::string& record) {
    Json object = makeObject();
    const std::optional<Fields> fields = split(record);
    const size_t colon = fields ? fields->words[5].rfind(':') : std::string_view::npos;
    const auto pid = fields ? number(fields->words[3]) : std::nullopt;
    const auto thread = fields ? number(fields->words[4]) : std::nullopt;
    const auto line = colon == std::string_view::npos ? std::nullopt : number(fields->words[5].substr(colon + 1));
    if (!pid || !thread || !line) {
        addMember(*object, "text", record);
        return object;
    }
    addMember(*object, "time", fields->words[0]);
    addMember(*object, "level", fields->words[1]);
    addMember(*object, "process", fields->words[2]);
    addMember(*object, "pid", *pid);
    addMember(*object, "thread", *thread);
    addMember(*object, "file", fields->words[5].substr(0, colon));
    addMember(*object, "line", *line);
    addMember(*object, "text", withoutIndent(fields->text));
    return object;
}

} // namespace tarnctl
