// Lists of character codes: decoded into a store of exactly its size, code by code, and out of a document.
#include <algorithm>
#include <cstring>
#include <memory>

#include "input.h"
#include "scripted_run.h"
#include "tarn_conference/conf_xml_param.h"
#include "xml/document_owner.h"

namespace {

using tarn::fuzz::Text;

struct Decoded {
    uint32_t result;
    std::string bytes;
    uint32_t outSize;
};

Decoded decode(const Text& codes, uint32_t outSize) {
    const auto out = std::make_unique<char[]>(outSize);
    const uint32_t result = ConfXmlGetStringFromAscii(codes.get(), out.get(), outSize);
    return {result, {out.get(), outSize}, outSize};
}

bool isCharacter(uint32_t code) {
    return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

uint32_t utf8Length(uint32_t code) {
    return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
}

// Reads the list code by code: where each begins, how it ends, and how many bytes the characters have.
struct Listed {
    uint32_t bytes = 0;
    bool good = true;
};

Listed list(const Text& codes) {
    const auto length = static_cast<uint32_t>(codes.length());
    Listed listed;
    uint32_t position = 0;
    while (position < length) {
        const uint32_t before = position;
        uint32_t code = 77;
        if (ConfXmlStrGetNextASCII(codes.get(), length, &position, &code) != 0) {
            FUZZ_CHECK(position == before && code == 77);
            listed.good = false;
            return listed;
        }
        FUZZ_CHECK(position > before && position <= length);
        FUZZ_CHECK(position == length || codes.get()[position - 1] == ',');
        const std::string field(codes.get() + before, position - before);
        FUZZ_CHECK(field.find_first_not_of("0123456789,") == std::string::npos);
        FUZZ_CHECK(field.size() > 9 || code == static_cast<uint32_t>(std::atoi(field.c_str())));
        if (!isCharacter(code)) {
            listed.good = false;
            return listed;
        }
        listed.bytes += utf8Length(code);
    }
    return listed;
}

void decodeFromDocument(const Text& codes, const std::string& whole) {
    if (codes.string().find_first_not_of("0123456789,") != std::string::npos || codes.length() == 0) {
        return;
    }
    const std::string body = "<r><codes>" + codes.string() + "</codes></r>";
    const tarn::detail::DocumentOwner root(ConfXmlParseBodyGetRoot(body.c_str()));
    FUZZ_CHECK(root != nullptr);
    constexpr uint32_t kBytes = 24;
    const auto store = std::make_unique<char[]>(kBytes);
    ConfXmlParamNote note = {"codes", 1, store.get(), kBytes, 1, 1};
    FUZZ_CHECK(ConfXmlParseSingleNote(root.get(), &note) == (codes.length() >= 1024 ? 1U : 0U));
    FUZZ_CHECK(store[kBytes - 1] == '\0');
    FUZZ_CHECK(codes.length() >= 1024 || std::equal(whole.begin(), whole.end(), store.get()));
}

void fuzzCodeList(std::span<const uint8_t> bytes) {
    const tarn::fuzz::ScriptedRun run;
    tarn::fuzz::Input input(bytes);
    const uint32_t outSize = input.byte();
    const Text codes(tarn::fuzz::asText(input.rest()));

    const Listed listed = list(codes);
    const Decoded whole = decode(codes, listed.bytes);
    FUZZ_CHECK((whole.result == 0) == (listed.good || whole.outSize == 0 || listed.bytes == whole.outSize));
    const Decoded roomy = decode(codes, listed.bytes + 5);
    FUZZ_CHECK((roomy.result == 0) == listed.good);
    FUZZ_CHECK(roomy.bytes == whole.bytes + std::string(5, '\0'));

    // Less room gives a beginning of the same text, cut between two characters.
    const Decoded cut = decode(codes, outSize);
    const size_t common = std::min(cut.bytes.size(), whole.bytes.size());
    const size_t kept = static_cast<size_t>(
        std::mismatch(cut.bytes.begin(), cut.bytes.begin() + static_cast<std::ptrdiff_t>(common), whole.bytes.begin())
            .first -
        cut.bytes.begin());
    FUZZ_CHECK(cut.bytes.find_first_not_of('\0', kept) == std::string::npos);
    FUZZ_CHECK(kept == whole.bytes.size() || (static_cast<uint8_t>(whole.bytes[kept]) & 0xC0U) != 0x80U);
    decodeFromDocument(codes, decode(codes, 23).bytes);
}

const tarn::fuzz::Target target("code_list", fuzzCodeList);

} // namespace
