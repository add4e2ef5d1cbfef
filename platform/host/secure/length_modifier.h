// The length modifiers that formats for printing and for scanning have in common.
#pragma once

namespace tarn::host {

enum class Length { None, Char, Short, Long, LongLong, Max, Size, Difference, LongDouble };

// Reads a length modifier and steps over it.
inline Length takeLength(const char*& at) {
    const char* const start = at++;
    switch (*start) {
        case 'h':
        case 'l': {
            const bool doubled = *at == *start;
            at += doubled ? 1 : 0;
            if (*start == 'h') {
                return doubled ? Length::Char : Length::Short;
            }
            return doubled ? Length::LongLong : Length::Long;
        }
        case 'q':
            return Length::LongLong;
        case 'j':
            return Length::Max;
        case 'z':
            return Length::Size;
        case 't':
            return Length::Difference;
        case 'L':
            return Length::LongDouble;
        default:
            at = start;
            return Length::None;
    }
}

} // namespace tarn::host
