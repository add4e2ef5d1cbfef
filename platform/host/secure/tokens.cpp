// Takes a text apart. The length counts the NUL: a token whose end does not lie within it is refused, because the
// characters beyond are nobody's.
#include <cstring>

#include "secure/constraints.h"

using namespace tarn::host;

namespace {

// The part of the text that is still to be looked at.
struct Rest {
    char* at;
    rsize_t left;

    // Steps over characters that are (or are not) delimiters. False when the bound comes before the end of the text.
    bool skip(const char* delimiters, bool thatAreDelimiters) {
        while (left > 0 && *at != '\0' && (std::strchr(delimiters, *at) != nullptr) == thatAreDelimiters) {
            step();
        }
        return left > 0;
    }

    void step() {
        ++at;
        --left;
    }
};

} // namespace

char* strtok_s(char* text, rsize_t* length, const char* delimiters, char** context) {
    if (context == nullptr) {
        return nullptr;
    }
    char* const start = text != nullptr ? text : *context;
    *context = nullptr; // so that calls after a refused one find nothing
    if (length == nullptr || *length > kLargestBound || delimiters == nullptr || start == nullptr) {
        return nullptr;
    }
    Rest rest = {start, *length};
    if (!rest.skip(delimiters, true)) {
        return nullptr;
    }
    char* const token = rest.at;
    if (!rest.skip(delimiters, false)) {
        return nullptr;
    }
    const bool found = rest.at != token;
    if (*rest.at != '\0') {
        *rest.at = '\0';
        rest.step();
    }
    *context = rest.at;
    *length = rest.left;
    return found ? token : nullptr;
}
