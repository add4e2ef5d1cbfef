#include "item_text.h"

#include <array>
#include <charconv>
#include <cstdio>

namespace tarnctl {
namespace {

void appendByte(std::string& text, char byte) {
    std::array<char, 5> code = {};
    std::snprintf(code.data(), code.size(), "\\x%02X", static_cast<unsigned char>(byte));
    text += code.data();
}

std::string escaped(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const size_t bytes = characterBytes(text);
        const auto first = static_cast<unsigned char>(text.front());
        if (text.front() == '\\') {
            result += "\\\\";
        } else if (text.front() == '\n') {
            result += "\\n";
        } else if (bytes == 0 || first < 0x20 || first == 0x7F) {
            appendByte(result, text.front());
        } else {
            result += text.substr(0, bytes);
        }
        text.remove_prefix(bytes == 0 ? 1 : bytes);
    }
    return result;
}

// False for an escape that is none.
bool unescape(std::string_view text, std::string& result) {
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            result += text[i];
            continue;
        }
        const std::string_view escape = text.substr(i + 1, 3);
        unsigned value = 0;
        if (escape.starts_with('\\') || escape.starts_with('n')) {
            result += escape.front() == 'n' ? '\n' : '\\';
            ++i;
            continue;
        }
        const char* const digits = escape.data() + 1;
        if (escape.size() != 3 || escape.front() != 'x' ||
            std::from_chars(digits, digits + 2, value, 16).ptr != digits + 2 || value == 0) {
            return false;
        }
        result += static_cast<char>(value);
        i += escape.size();
    }
    return true;
}

} // namespace

size_t characterBytes(std::string_view text) {
    const auto at = [&](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    const unsigned first = at(0);
    if (text.empty() || first < 0x80) {
        return text.empty() ? 0 : 1;
    }
    const size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4) {
        return 0;
    }
    for (size_t i = 1; i < bytes; ++i) {
        if ((at(i) & 0xC0U) != 0x80) {
            return 0;
        }
    }
    // Longer forms than needed, surrogates, and what lies beyond U+10FFFF.
    const bool isForbidden = (first == 0xE0 && at(1) < 0xA0) || (first == 0xED && at(1) > 0x9F) ||
                             (first == 0xF0 && at(1) < 0x90) || (first == 0xF4 && at(1) > 0x8F);
    return isForbidden ? 0 : bytes;
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const size_t bytes = characterBytes(text);
        if (bytes == 0) {
            return false;
        }
        text.remove_prefix(bytes);
    }
    return true;
}

std::string keyText(std::string_view key) {
    std::string result;
    for (const char c : escaped(key)) {
        if (c == '=' || (result.empty() && (c == '#' || c == ' '))) {
            appendByte(result, c);
        } else {
            result += c;
        }
    }
    return result;
}

std::string valueText(std::string_view value) {
    return escaped(value);
}

std::optional<std::pair<std::string, std::string>> parseItem(std::string_view line) {
    const size_t equals = line.find('=');
    std::pair<std::string, std::string> item;
    if (equals == std::string_view::npos || !unescape(line.substr(0, equals), item.first) ||
        !unescape(line.substr(equals + 1), item.second) || item.first.empty()) {
        return std::nullopt;
    }
    return item;
}

} // namespace tarnctl
