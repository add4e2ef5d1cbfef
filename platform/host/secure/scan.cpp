// Scans a text, one directive at a time over the C library's scanner, which knows the numbers and sets but takes no
// sizes. Texts are measured first and copied only when they fit: one that does not is a mismatch and leaves an empty
// text.
#include <cctype>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <new>
#include <string>
#include <string_view>

#include "secure/constraints.h"
#include "secure/length_modifier.h"

using namespace tarn::host;

namespace {

constexpr int kScanFailed = -1;

bool isSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

const char* skipSpace(const char* at) {
    while (isSpace(*at)) {
        ++at;
    }
    return at;
}

struct Directive {
    std::string_view body; // from the width to the conversion's end
    Length length = Length::None;
    char conversion = '\0';
    bool suppressed = false;

    bool wide() const { return length == Length::Long || conversion == 'C' || conversion == 'S'; }
    bool terminated() const { return conversion != 'c' && conversion != 'C'; }
};

// The end of a set whose '[' stands before `at`, or null. A ']' in the first place belongs to the set.
const char* setEnd(const char* at) {
    at += *at == '^' ? 1 : 0;
    const char* const last = *at == '\0' ? nullptr : std::strchr(at + 1, ']');
    return last == nullptr ? nullptr : last + 1;
}

// Reads what stands behind a '%'. The conversion is '\0' for a directive that never ends.
Directive takeDirective(const char*& at) {
    Directive directive;
    if (*at == '*') {
        directive.suppressed = true;
        ++at;
    }
    const char* const start = at;
    while (*at >= '0' && *at <= '9') {
        ++at;
    }
    directive.length = takeLength(at);
    if (*at == '\0') {
        return directive;
    }
    directive.conversion = *at++;
    if (directive.conversion == '[') {
        const char* const end = setEnd(at);
        if (end == nullptr) {
            directive.conversion = '\0';
            return directive;
        }
        at = end;
    }
    directive.body = {start, static_cast<size_t>(at - start)};
    return directive;
}

// Copies `bytes` bytes of input for a text directive; false when they do not fit.
bool copyNarrow(char* target, rsize_t size, const char* input, size_t bytes, bool terminated) {
    if (bytes + (terminated ? 1 : 0) > size) {
        return false;
    }
    std::memcpy(target, input, bytes);
    if (terminated) {
        target[bytes] = '\0';
    }
    return true;
}

bool copyWide(wchar_t* target, rsize_t size, const char* input, size_t bytes, bool terminated) {
    std::mbstate_t state = {};
    const char* at = input;
    const size_t count = mbsnrtowcs(nullptr, &at, bytes, 0, &state);
    if (count == static_cast<size_t>(-1) || count + (terminated ? 1 : 0) > size) {
        return false;
    }
    state = {};
    mbsnrtowcs(target, &at, bytes, count, &state);
    if (terminated) {
        target[count] = L'\0';
    }
    return true;
}

bool copyText(const Directive& directive, void* target, rsize_t size, const char* input, size_t bytes) {
    const bool terminated = directive.terminated();
    const bool fits = directive.wide() ? copyWide(static_cast<wchar_t*>(target), size, input, bytes, terminated)
                                       : copyNarrow(static_cast<char*>(target), size, input, bytes, terminated);
    if (!fits && terminated && size > 0) {
        std::memset(target, 0, directive.wide() ? sizeof(wchar_t) : 1);
    }
    return fits;
}

// Wrapped, because a va_list of its own cannot be handed on by reference everywhere.
struct Arguments {
    va_list list;
};

class Scanner {
 public:
    Scanner(const char* text, const char* format, Arguments& arguments)
        : text_(text), at_(text), format_(format), arguments_(arguments) {}

    int run() {
        while (*format_ != '\0') {
            switch (next()) {
                case Step::Done:
                    break;
                case Step::Mismatch:
                    return stored_;
                case Step::InputEnd:
                    return stored_ == 0 ? kScanFailed : stored_;
                case Step::Broken:
                    return kScanFailed;
            }
        }
        return stored_;
    }

 private:
    enum class Step { Done, Mismatch, InputEnd, Broken };

    Step next() {
        if (isSpace(*format_)) {
            format_ = skipSpace(format_);
            at_ = skipSpace(at_);
            return Step::Done;
        }
        if (*format_ != '%') {
            return literal(*format_++);
        }
        ++format_;
        const Directive directive = takeDirective(format_);
        switch (directive.conversion) {
            case '%':
                at_ = skipSpace(at_);
                return literal('%');
            case 'n':
                return position(directive);
            case 's':
            case 'S':
                at_ = skipSpace(at_);
                return text(directive);
            case 'c':
            case 'C':
            case '[':
                return text(directive);
            default:
                return isNumber(directive.conversion) ? number(directive) : Step::Mismatch;
        }
    }

    static bool isNumber(char conversion) {
        return conversion != '\0' && std::strchr("diouxXaAeEfFgGp", conversion) != nullptr;
    }

    Step literal(char wanted) {
        if (*at_ == '\0') {
            return Step::InputEnd;
        }
        if (*at_ != wanted) {
            return Step::Mismatch;
        }
        ++at_;
        return Step::Done;
    }

    // Runs one directive at the present place; a null target suppresses the assignment. Does not move.
    Step attempt(const Directive& directive, void* target, size_t& consumed) const {
        std::string single = target == nullptr ? "%*" : "%";
        single.append(directive.body).append("%ln");
        long reached = -1;
        const int result = target == nullptr ? std::sscanf(at_, single.c_str(), &reached)
                                             : std::sscanf(at_, single.c_str(), target, &reached);
        if (result == EOF) {
            return Step::InputEnd;
        }
        if (reached < 0) {
            return Step::Mismatch;
        }
        consumed = static_cast<size_t>(reached);
        return Step::Done;
    }

    Step number(const Directive& directive) {
        void* target = nullptr;
        if (!directive.suppressed) {
            target = va_arg(arguments_.list, void*);
            if (target == nullptr) {
                return Step::Broken;
            }
        }
        return finish(directive, target);
    }

    Step finish(const Directive& directive, void* target) {
        size_t consumed = 0;
        const Step step = attempt(directive, target, consumed);
        if (step == Step::Done) {
            at_ += consumed;
            stored_ += target == nullptr ? 0 : 1;
        }
        return step;
    }

    Step text(const Directive& directive) {
        if (directive.suppressed) {
            return finish(directive, nullptr);
        }
        void* const target = va_arg(arguments_.list, void*);
        const rsize_t size = va_arg(arguments_.list, rsize_t);
        if (target == nullptr || size > kLargestBound) {
            return Step::Broken;
        }
        size_t bytes = 0;
        const Step step = attempt(directive, nullptr, bytes);
        if (step != Step::Done) {
            return step;
        }
        if (!copyText(directive, target, size, at_, bytes)) {
            return Step::Mismatch;
        }
        at_ += bytes;
        ++stored_;
        return Step::Done;
    }

    // %n: stores how much of the text has been read. It counts as no value.
    Step position(const Directive& directive) {
        if (directive.suppressed) {
            return Step::Done;
        }
        void* const target = va_arg(arguments_.list, void*);
        if (target == nullptr) {
            return Step::Broken;
        }
        const ptrdiff_t read = at_ - text_;
        switch (directive.length) {
            case Length::Char:
                *static_cast<signed char*>(target) = static_cast<signed char>(read);
                break;
            case Length::Short:
                *static_cast<short*>(target) = static_cast<short>(read);
                break;
            case Length::None:
                *static_cast<int*>(target) = static_cast<int>(read);
                break;
            case Length::Long:
                *static_cast<long*>(target) = read;
                break;
            case Length::LongLong:
            case Length::LongDouble:
                *static_cast<long long*>(target) = read;
                break;
            case Length::Max:
                *static_cast<intmax_t*>(target) = read;
                break;
            case Length::Size:
                *static_cast<size_t*>(target) = static_cast<size_t>(read);
                break;
            case Length::Difference:
                *static_cast<ptrdiff_t*>(target) = read;
                break;
        }
        return Step::Done;
    }

    const char* const text_;
    const char* at_;
    const char* format_;
    Arguments& arguments_;
    int stored_ = 0;
};

} // namespace

int sscanf_s(const char* text, const char* format, ...) {
    if (text == nullptr || format == nullptr) {
        return kScanFailed;
    }
    Arguments arguments;
    va_start(arguments.list, format);
    int stored = kScanFailed;
    try {
        stored = Scanner(text, format, arguments).run();
    } catch (const std::bad_alloc&) {
        stored = kScanFailed;
    }
    va_end(arguments.list);
    return stored;
}
