// Formats into a bounded buffer. A text that would have to be cut counts as a failure and leaves an empty text. Null
// for %s, and %n, are refused before anything is formatted; so are directives that this check cannot follow (numbered
// arguments, unknown conversions), since it would lose its place among the arguments.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>

#include "secure/constraints.h"
#include "secure/length_modifier.h"

using namespace tarn::host;

namespace {

constexpr int kFailed = -1;

// Not strspn: it prepares a table at every call, which costs more than the formats are long.
constexpr bool isFlag(char c) {
    return c == '-' || c == '+' || c == ' ' || c == '#' || c == '0' || c == '\'' || c == 'I';
}

// Walks a format beside a copy of its arguments.
class FormatCheck {
 public:
    FormatCheck(const char* format, va_list arguments) : at_(format) { va_copy(arguments_, arguments); }
    ~FormatCheck() { va_end(arguments_); }
    FormatCheck(const FormatCheck&) = delete;
    FormatCheck& operator=(const FormatCheck&) = delete;

    bool allowed() {
        while ((at_ = std::strchr(at_, '%')) != nullptr) {
            ++at_;
            if (!directiveAllowed()) {
                return false;
            }
        }
        return true;
    }

 private:
    bool directiveAllowed() {
        while (isFlag(*at_)) {
            ++at_;
        }
        number();
        if (*at_ == '.') {
            ++at_;
            number();
        }
        const Length length = takeLength(at_);
        return take(*at_ == '\0' ? '\0' : *at_++, length);
    }

    // A field width or a precision; a star takes it from the arguments.
    void number() {
        if (*at_ == '*') {
            ++at_;
            skip<int>();
            return;
        }
        while (*at_ >= '0' && *at_ <= '9') {
            ++at_;
        }
    }

    template <typename T>
    void skip() {
        static_cast<void>(va_arg(arguments_, T));
    }

    // Steps over the argument of a conversion.
    bool take(char conversion, Length length) {
        switch (conversion) {
            case '%':
            case 'm':
                return true;
            case 'd':
            case 'i':
            case 'o':
            case 'u':
            case 'x':
            case 'X':
                takeInteger(length);
                return true;
            case 'a':
            case 'A':
            case 'e':
            case 'E':
            case 'f':
            case 'F':
            case 'g':
            case 'G':
                takeReal(length);
                return true;
            case 'c':
            case 'C':
                skip<wint_t>();
                return true;
            case 's':
            case 'S':
                return va_arg(arguments_, const void*) != nullptr;
            case 'p':
                skip<const void*>();
                return true;
            default:
                return false;
        }
    }

    void takeInteger(Length length) {
        switch (length) {
            case Length::None:
            case Length::Char:
            case Length::Short: // promoted
                skip<int>();
                return;
            case Length::Long:
                skip<long>();
                return;
            case Length::LongLong:
            case Length::LongDouble: // the C library takes L before an integer for ll
                skip<long long>();
                return;
            case Length::Max:
                skip<intmax_t>();
                return;
            case Length::Size:
                skip<size_t>();
                return;
            case Length::Difference:
                skip<ptrdiff_t>();
                return;
        }
    }

    void takeReal(Length length) {
        if (length == Length::LongDouble || length == Length::LongLong) {
            skip<long double>();
            return;
        }
        skip<double>();
    }

    const char* at_;
    va_list arguments_;
};

} // namespace

int sprintf_s(char* destination, rsize_t bound, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf_s(destination, bound, format, arguments);
    va_end(arguments);
    return length;
}

int vsnprintf_s(char* destination, rsize_t bound, const char* format, va_list arguments) {
    if (destination == nullptr || bound == 0 || bound > kLargestBound) {
        return kFailed;
    }
    if (format == nullptr || !FormatCheck(format, arguments).allowed()) {
        destination[0] = '\0';
        return kFailed;
    }
    const int length = std::vsnprintf(destination, bound, format, arguments);
    if (length < 0 || static_cast<rsize_t>(length) >= bound) {
        destination[0] = '\0';
        return kFailed;
    }
    return length;
}
