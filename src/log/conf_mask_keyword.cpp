// Masking of the values behind a keyword inside a longer text, in place. The text is read once: what is found ahead of
// a value (a terminator, a carriage return, a ';') is remembered until the work has passed it.
#include <cstring>

#include "log/mask_rule.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_platform/portability.h"

namespace {

constexpr char kCarriageReturn = '\r';
constexpr char kItemEnd = ';';

// The next place of a text for a position that only ever grows. Searching anew for each value would read a text of n
// values n times when the place lies far ahead.
template <typename Find>
class Lookahead {
 public:
    explicit Lookahead(Find find) : find_(find) {}

    char* from(char* position) {
        if (!searched_ || (found_ != nullptr && found_ < position)) {
            found_ = find_(position);
            searched_ = true;
        }
        return found_;
    }

 private:
    Find find_;
    char* found_ = nullptr;
    bool searched_ = false;
};

auto lookaheadFor(char c) {
    return Lookahead([c](char* position) { return std::strchr(position, c); });
}

auto lookaheadFor(const char* part) {
    return Lookahead([part](char* position) { return MOSS_StrStr(position, part); });
}

void maskValue(char* start, const char* end) {
    if (start >= end) {
        return;
    }
    const tarn::detail::MaskRange masked = tarn::detail::maskRange(static_cast<size_t>(end - start));
    std::memset(start + masked.first, '*', masked.end - masked.first);
}

class KeywordMasker {
 public:
    KeywordMasker(const char* keyword, const char* terminator)
        : keyword_(keyword),
          keywordLength_(std::strlen(keyword)),
          terminatorLength_(std::strlen(terminator)),
          isTelephone_(std::strcmp(keyword, "tel:") == 0),
          isList_(std::strstr(keyword, "-eid") != nullptr),
          terminators_(lookaheadFor(terminator)),
          carriageReturns_(lookaheadFor(kCarriageReturn)),
          itemEnds_(lookaheadFor(kItemEnd)) {}

    void run(char* text) {
        char* from = text;
        while (from != nullptr) {
            char* const found = MOSS_StrStr(from, keyword_);
            if (found == nullptr) {
                return;
            }
            char* const next = maskBehind(found, from);
            // An empty keyword or terminator may lead nowhere.
            from = next == from ? nullptr : next;
        }
    }

 private:
    // Masks behind the keyword at `found`, which was searched for from `from` on. Returns where to search on, or null.
    char* maskBehind(char* found, char* from) {
        char* const value = found + keywordLength_;
        char* const terminator = terminators_.from(value);
        char* const carriageReturn = carriageReturns_.from(value);
        const bool lineEndsFirst = carriageReturn != nullptr && (terminator == nullptr || carriageReturn < terminator);
        if (lineEndsFirst && !isTelephone_) {
            return terminator == nullptr ? nullptr : stepOver(found, from);
        }
        char* const end = lineEndsFirst ? carriageReturn : terminator;
        if (end == nullptr) {
            return nullptr;
        }
        if (end == value) {
            return strnlen(end, terminatorLength_) == terminatorLength_ ? end + terminatorLength_ : nullptr;
        }
        char* const lastItem = isList_ ? maskItems(value, carriageReturn) : value;
        maskValue(lastItem, end);
        return end;
    }

    // An occurrence without a value is left by steps of the keyword's length from where the search for it began, so
    // that the next search may begin inside the keyword or behind it.
    char* stepOver(const char* found, char* from) const {
        if (keywordLength_ == 0) {
            return nullptr;
        }
        const size_t steps = static_cast<size_t>(found - from) / keywordLength_ + 1;
        return from + steps * keywordLength_;
    }

    // Masks the items that a ';' ends, up to the carriage return; returns where the last item starts.
    char* maskItems(char* item, const char* carriageReturn) {
        if (item < itemsMaskedTo_) {
            // Inside an item that an earlier occurrence has masked, as all that follow it up to there.
            maskValue(item, std::strchr(item, kItemEnd));
            item = itemsMaskedTo_;
        }
        char* end = itemEnds_.from(item);
        while (end != nullptr && (carriageReturn == nullptr || end < carriageReturn)) {
            maskValue(item, end);
            item = end + 1;
            end = itemEnds_.from(item);
        }
        itemsMaskedTo_ = item;
        return item;
    }

    const char* keyword_;
    size_t keywordLength_;
    size_t terminatorLength_;
    bool isTelephone_;
    bool isList_;
    decltype(lookaheadFor("")) terminators_;
    decltype(lookaheadFor(' ')) carriageReturns_;
    decltype(lookaheadFor(' ')) itemEnds_;
    char* itemsMaskedTo_ = nullptr;
};

} // namespace

void ConfFilterNonSecurityWordExImpl(char* start, char* end) {
    if (start != nullptr && end != nullptr) {
        maskValue(start, end);
    }
}

uint32_t ConfFilterNonSecurityWordEx(char* text, const char* keyword, const char* terminator) {
    if (text == nullptr || keyword == nullptr || terminator == nullptr) {
        return 1;
    }
    KeywordMasker(keyword, terminator).run(text);
    return 0;
}
