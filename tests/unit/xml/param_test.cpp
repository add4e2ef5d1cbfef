#include <iconv.h>

#include <cstring>
#include <random>

#include "tarn_conference/conf_xml_param.h"
#include "xml_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The bytes of a character by the C library; empty for what is none.
std::string utf8(uint32_t code) {
    const iconv_t converter = iconv_open("UTF-8", "UTF-32LE");
    char in[4];
    std::memcpy(in, &code, sizeof in);
    char out[8];
    char* from = in;
    char* to = out;
    size_t inLeft = sizeof in;
    size_t outLeft = sizeof out;
    const bool failed = iconv(converter, &from, &inLeft, &to, &outLeft) == static_cast<size_t>(-1);
    iconv_close(converter);
    return failed ? "" : std::string(out, to);
}

// Fields of a list; a comma at the end opens none.
std::vector<std::string> fields(const std::string& list) {
    std::vector<std::string> found;
    for (size_t from = 0; from < list.size();) {
        const size_t comma = std::min(list.find(',', from), list.size());
        found.push_back(list.substr(from, comma - from));
        from = comma + 1;
    }
    return found;
}

class XmlParams : public tarn::test::XmlTest {
 protected:
    // Result and bytes, of a store that is one byte larger than the decoder may know.
    static std::pair<uint32_t, std::string> decode(const std::string& codes, size_t size) {
        std::vector<char> out(size + 1, '\x7E');
        const uint32_t result = ConfXmlGetStringFromAscii(codes.c_str(), out.data(), static_cast<uint32_t>(size));
        EXPECT_EQ(out[size], '\x7E');
        return {result, std::string(out.data(), out.data() + size)};
    }

    static std::pair<uint32_t, std::string> model(const std::string& codes, size_t size) {
        std::string out;
        for (const std::string& field : fields(codes)) {
            if (out.size() == size) {
                break;
            }
            if (field.find_first_not_of("0123456789") != std::string::npos) {
                return {1, out};
            }
            const auto code = static_cast<uint32_t>(field.empty() ? 0 : std::stoull(field));
            const std::string bytes = code == 0 ? std::string(1, '\0') : utf8(code);
            if (bytes.size() > size - out.size()) {
                break;
            }
            if (bytes.empty()) {
                return {1, out};
            }
            out += bytes;
        }
        return {0, out};
    }

    static void expectLikeModel(const std::string& codes, size_t size) {
        SCOPED_TRACE(codes.substr(0, 300) + " into " + std::to_string(size));
        const auto [result, bytes] = decode(codes, size);
        auto [expectedResult, expectedBytes] = model(codes, size);
        EXPECT_EQ(result, expectedResult);
        expectedBytes.resize(size, '\x7E');
        EXPECT_EQ(bytes, expectedBytes);
    }

    static ConfXmlParamNote note(const char* url, void* value, uint32_t size, bool isString, bool isCodes) {
        ConfXmlParamNote made = {};
        std::strcpy(made.url, url);
        made.pValue = value;
        made.strSize = size;
        made.isString = isString ? 1 : 0;
        made.isAsciiCode = isCodes ? 1 : 0;
        made.printLog = 1;
        return made;
    }
};

TEST_F(XmlParams, ListsDecodeLikeTheModel) {
    for (const char* list : {"72,105",  "72,105,", ",",         ",,",      "72,,105",     "",
                             "0",       "127,128", "2047,2048", "20320",   "65535,65536", "55295,55296,65",
                             "57343",   "57344",   "1114111",   "1114112", "4294967295",  "72,a",
                             "72, 105", "7-2",     "a",         "-1",      "00000000072"}) {
        for (const size_t size : {0U, 1U, 2U, 3U, 4U, 5U, 16U}) {
            expectLikeModel(list, size);
        }
    }
    std::mt19937 random(6);
    const auto below = [&](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
    const uint32_t limits[] = {128, 0x800, 0x10000, 0x120000};
    for (int round = 0; round < 3000; ++round) {
        std::string list;
        for (uint32_t i = below(12); i > 0; --i) {
            list += below(8) == 0 ? "" : std::to_string(below(limits[below(4)]));
            list += below(40) == 0 ? "x" : ",";
        }
        expectLikeModel(list, below(40));
    }
}

TEST_F(XmlParams, AFieldHasAtMost255Digits) {
    for (const size_t digits : {1U, 254U, 255U, 256U, 257U, 1000U}) {
        const std::string field = std::string(digits - 1, '0') + "7";
        for (const char* rest : {"", ",5"}) {
            uint32_t position = 0;
            uint32_t code = 99;
            const std::string list = field + rest;
            const uint32_t result =
                ConfXmlStrGetNextASCII(list.c_str(), static_cast<uint32_t>(list.size()), &position, &code);
            EXPECT_EQ(result, digits <= 255 ? 0U : 1U) << digits;
            EXPECT_EQ(code, digits <= 255 ? 7U : 99U);
            EXPECT_EQ(position, digits > 255 ? 0U : *rest == '\0' ? digits : digits + 1);
        }
    }
}

TEST_F(XmlParams, TheNextCodeStopsAtTheLengthToo) {
    const auto next = [](const char* str, uint32_t len, uint32_t position) {
        uint32_t code = 99;
        const uint32_t result = ConfXmlStrGetNextASCII(str, len, &position, &code);
        return std::vector<uint32_t>{result, position, code};
    };
    EXPECT_THAT(next("12,3", 4, 0), ElementsAre(0, 3, 12));
    EXPECT_THAT(next("12,3", 4, 3), ElementsAre(0, 4, 3));
    EXPECT_THAT(next("12,3", 4, 4), ElementsAre(0, 4, 0));
    EXPECT_THAT(next("1234", 2, 0), ElementsAre(0, 3, 12));
    EXPECT_THAT(next("1234", 2, 3), ElementsAre(0, 4, 0));
    EXPECT_THAT(next("12x4", 2, 0), ElementsAre(0, 3, 12));
    EXPECT_THAT(next("12,4", 2, 0), ElementsAre(0, 3, 12));
    EXPECT_THAT(next("12", 9, 2), ElementsAre(0, 2, 0));
    EXPECT_THAT(next(",1", 2, 0), ElementsAre(0, 1, 0));
    EXPECT_THAT(next("1x", 2, 0), ElementsAre(1, 0, 99));
    EXPECT_THAT(next("4294967297", 10, 0), ElementsAre(0, 10, 1));
    uint32_t number = 0;
    EXPECT_EQ(ConfXmlStrGetNextASCII(nullptr, 1, &number, &number), 1U);
    EXPECT_EQ(ConfXmlStrGetNextASCII("1", 1, nullptr, &number), 1U);
    EXPECT_EQ(ConfXmlStrGetNextASCII("1", 1, &number, nullptr), 1U);
    char out[4] = {};
    EXPECT_EQ(ConfXmlGetStringFromAscii("1", nullptr, 4), 1U);
    EXPECT_EQ(ConfXmlGetStringFromAscii(nullptr, out, 4), 0U);
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_EQ(ConfXmlGetStringFromAscii("x", out, 4), 1U);
    EXPECT_EQ(ConfXmlGetStringFromAscii("55296", out, 4), 1U);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlGetStringFromAscii]ConfXmlStrGetNextASCII failed!",
                                        "1 [ConfXmlGetStringFromAscii]pcUTF8Temp is null!"));
}

TEST_F(XmlParams, ParametersAreReadByTheirNotes) {
    const Document document = parse("<m><n>-7</n><t>text</t><c>72,105,20320,66</c><b>72,x</b><w>word</w><l>" +
                                    std::string(1024, '1') + "</l></m>");
    char store[16] = {};
    uint32_t number = 5;
    const auto read = [&](ConfXmlParamNote wanted) { return ConfXmlParseSingleNote(document.get(), &wanted); };
    EXPECT_EQ(read(note("m n", &number, 0, false, false)), 0U);
    EXPECT_EQ(number, static_cast<uint32_t>(-7));
    EXPECT_EQ(read(note("w", &number, 0, false, false)), 0U);
    EXPECT_EQ(number, static_cast<uint32_t>(-7));
    EXPECT_EQ(read(note("t", store, 5, true, false)), 0U);
    EXPECT_STREQ(store, "text");
    EXPECT_EQ(read(note("t", store, 4, true, false)), 1U);
    EXPECT_EQ(read(note("absent", store, 4, true, false)), 1U);
    EXPECT_EQ(read(note("absent", &number, 0, false, false)), 1U);
    EXPECT_EQ(read(note("n", nullptr, 0, false, false)), 1U);
    EXPECT_THAT(takeLogs(), ElementsAre("4 [ConfXmlParaseIntParams]m n:4294967289",
                                        "4 [ConfXmlParaseIntParams]w:4294967289", "4 [ConfXmlParaseStringParams]t:text",
                                        "1 [ConfXmlParaseStringParams]strcpy_s failed!  strSize 4 valueSize 4 url t",
                                        "4 [ConfXmlAdptGetNodeValueByUrl]ConfXmlGetNodeByPath fail! absent",
                                        "4 [ConfXmlParaseStringParams]Xml Parase absent fail",
                                        "4 [ConfXmlAdptGetNodeValueByUrl]ConfXmlGetNodeByPath fail! absent",
                                        "4 [ConfXmlParaseIntParams]Xml Parase absent fail",
                                        "1 [ConfXmlParaseIntParams]param is null!"));

    std::memset(store, 0, sizeof store);
    EXPECT_EQ(read(note("c", store, sizeof store, true, true)), 0U);
    EXPECT_STREQ(store, "Hi\u4F60B");
    std::memset(store, 0, sizeof store);
    EXPECT_EQ(read(note("c", store, 5, true, true)), 0U);
    EXPECT_STREQ(store, "Hi") << "the third character would need the last byte";
    EXPECT_EQ(read(note("b", store, sizeof store, true, true)), 0U);
    EXPECT_EQ(read(note("c", store, 0, true, true)), 0U);
    EXPECT_EQ(read(note("c", nullptr, 4, true, true)), 0U);
    EXPECT_EQ(read(note("l", store, sizeof store, true, true)), 1U);
    EXPECT_EQ(read(note("absent", store, sizeof store, true, true)), 1U);
    EXPECT_EQ(ConfXmlParseSingleNote(document.get(), nullptr), 1U);
}

} // namespace
