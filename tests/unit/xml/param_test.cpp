#include <iconv.h>

#include <cstring>
#include <random>
#include <sstream>

#include "tarn_conference/conf_xml_param.h"
#include "xml_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

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

class XmlParams : public XmlTest {
 protected:
    static std::pair<uint32_t, std::string> model(const std::string& codes, size_t size) {
        std::string out;
        std::istringstream list(codes); // a comma at the end opens no field
        for (std::string field; out.size() < size && std::getline(list, field, ',');) {
            if (field.find_first_not_of("0123456789") != std::string::npos) {
                return {1, out};
            }
            const auto code = static_cast<uint32_t>(field.empty() ? 0 : std::stoull(field));
            const std::string bytes = code == 0 ? std::string(1, '\0') : utf8(code);
            if (bytes.size() > size - out.size() || bytes.empty()) {
                return {bytes.empty() ? 1 : 0, out};
            }
            out += bytes;
        }
        return {0, out};
    }

    static void expectLikeModel(const std::string& codes, size_t size) {
        SCOPED_TRACE(codes.substr(0, 300) + " into " + std::to_string(size));
        std::string store(size + 1, '\x7E'); // one byte larger than the decoder may know
        const uint32_t result = ConfXmlGetStringFromAscii(codes.c_str(), store.data(), static_cast<uint32_t>(size));
        auto [expectedResult, expected] = model(codes, size);
        expected.resize(size + 1, '\x7E');
        EXPECT_EQ(result, expectedResult);
        EXPECT_EQ(store, expected);
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
            EXPECT_THAT(Codes({result, code}), digits <= 255 ? ElementsAre(0, 7) : ElementsAre(1, 99)) << digits;
            EXPECT_EQ(position, digits > 255 ? 0U : *rest == '\0' ? digits : digits + 1);
        }
    }
}

TEST_F(XmlParams, TheNextCodeStopsAtTheLengthToo) {
    const auto next = [](const char* str, uint32_t len, uint32_t position) {
        uint32_t code = 99;
        const uint32_t result = ConfXmlStrGetNextASCII(str, len, &position, &code);
        return std::to_string(result) + "@" + std::to_string(position) + ":" + std::to_string(code);
    };
    EXPECT_THAT(std::vector({next("12,3", 4, 0), next("12,3", 4, 3), next("12,3", 4, 4), next("1234", 2, 0),
                             next("1234", 2, 3), next("12x4", 2, 0), next("12,4", 2, 0), next("12", 9, 2),
                             next(",1", 2, 0), next("1x", 2, 0), next("4294967297", 10, 0)}),
                ElementsAre("0@3:12", "0@4:3", "0@4:0", "0@3:12", "0@4:0", "0@3:12", "0@3:12", "0@2:0", "0@1:0",
                            "1@0:99", "0@10:1"));
    uint32_t number = 0;
    EXPECT_THAT(
        Codes({ConfXmlStrGetNextASCII(nullptr, 1, &number, &number), ConfXmlStrGetNextASCII("1", 1, nullptr, &number),
               ConfXmlStrGetNextASCII("1", 1, &number, nullptr), ConfXmlGetStringFromAscii("1", nullptr, 4)}),
        Each(1));
    char out[4] = {};
    EXPECT_EQ(ConfXmlGetStringFromAscii(nullptr, out, 4), 0U);
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_THAT(Codes({ConfXmlGetStringFromAscii("x", out, 4), ConfXmlGetStringFromAscii("55296", out, 4)}), Each(1));
    EXPECT_THAT(takeLogs("ConfXmlGetStringFromAscii"),
                ElementsAre("ConfXmlStrGetNextASCII failed!", "pcUTF8Temp is null!"));
}

TEST_F(XmlParams, ParametersAreReadByTheirNotes) {
    const Document document = parse("<m><n>-7</n><t>text</t><c>72,105,20320,66</c><b>72,x</b><w>word</w><l>" +
                                    std::string(1024, '1') + "</l></m>");
    char store[16] = {};
    uint32_t number = 5;
    const auto read = [&](ConfXmlParamNote wanted) { return ConfXmlParseSingleNote(document.get(), &wanted); };
    EXPECT_EQ(read(note("m n", &number, 0, false, false)), 0U);
    EXPECT_EQ(read(note("w", &number, 0, false, false)), 0U);
    EXPECT_EQ(number, static_cast<uint32_t>(-7));
    EXPECT_EQ(read(note("t", store, 5, true, false)), 0U);
    EXPECT_STREQ(store, "text");
    EXPECT_THAT(
        Codes({read(note("t", store, 4, true, false)), read(note("absent", store, 4, true, false)),
               read(note("absent", &number, 0, false, false)), read(note("n", nullptr, 0, false, false)),
               read(note("l", store, sizeof store, true, true)), ConfXmlParseSingleNote(document.get(), nullptr)}),
        Each(1));
    const std::string absent = "4 [ConfXmlAdptGetNodeValueByUrl]ConfXmlGetNodeByPath fail! absent";
    EXPECT_THAT(
        takeLogs("ConfXmlParaseStringParams"),
        ElementsAre("4 [ConfXmlParaseIntParams]m n:4294967289", "4 [ConfXmlParaseIntParams]w:4294967289",
                    "4 [ConfXmlParaseStringParams]t:text", "strcpy_s failed!  strSize 4 valueSize 4 url t", absent,
                    "4 [ConfXmlParaseStringParams]Xml Parase absent fail", absent,
                    "4 [ConfXmlParaseIntParams]Xml Parase absent fail", "1 [ConfXmlParaseIntParams]param is null!",
                    "strcpy_s failed!  strSize 1024 valueSize 1024 url l", "1 [ConfXmlParseSingleNote]Null ptr."));

    const auto decoded = [&](const char* url, uint32_t size) {
        std::memset(store, 0, sizeof store);
        EXPECT_EQ(read(note(url, store, size, true, true)), 0U);
        return std::string(store);
    };
    EXPECT_EQ(decoded("c", sizeof store), "Hi\u4F60B");
    EXPECT_EQ(decoded("c", 5), "Hi") << "the third character would need the last byte";
    EXPECT_EQ(decoded("b", sizeof store), "H") << "as far as it is good";
    EXPECT_EQ(decoded("c", 0), "");
    EXPECT_EQ(read(note("c", nullptr, 4, true, true)), 0U);
    EXPECT_EQ(read(note("absent", store, sizeof store, true, true)), 1U);
}

} // namespace
} // namespace tarn::test
