// Items as lines, "KEY=VALUE", the form of lists and of exported files. What would break a line apart is escaped:
// control characters and bytes that are not UTF-8 as \xNN, newlines as \n, backslashes as \\; in keys '=' and what
// could be taken for a comment as well. Every text has a line, and the line gives the same text back.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tarnctl {

std::string keyText(std::string_view key);
std::string valueText(std::string_view value);

// Key and value of a line; nothing for one that is no item.
std::optional<std::pair<std::string, std::string>> parseItem(std::string_view line);

// Bytes of the well-formed UTF-8 character at the beginning; 0 when there is none.
size_t characterBytes(std::string_view text);
bool isUtf8(std::string_view text);

} // namespace tarnctl
