#include <cstring>

#include "tarn_conference/conf_xml_param.h"
#include "xml_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

class XmlParams : public XmlTest {
 protected:
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

TEST_F(XmlParams, ListsAreDecodedAsFarAsTheyAreGoodAndFit) {
    const struct {
        const char* codes;
        uint32_t size;
        uint32_t result;
        std::string bytes;
    } rows[] = {
        {"72,105", 16, 0, "Hi"},
        {"72,,105,", 16, 0, std::string("H\0i", 3)},
        {"127,128,2047,2048", 16, 0, "\x7F\u0080\u07FF\u0800"},
        {"65535,65536,1114111", 16, 0, "\uFFFF\U00010000\U0010FFFF"},
        {"55295,55296,65", 16, 1, "\uD7FF"},
        {"1114112", 16, 1, ""},
        {"72, 105", 16, 1, "H"},
        {"-1", 16, 1, ""},
        {"72,20320", 4, 0, "H\u4F60"},
        {"72,20320", 3, 0, "H"},
        {"72,a", 1, 0, "H"}, // no room, no reading
        {"a", 0, 0, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.codes) + " into " + std::to_string(row.size));
        std::string store(17, '\x7E'); // at least one byte larger than the decoder may know
        EXPECT_EQ(ConfXmlGetStringFromAscii(row.codes, store.data(), row.size), row.result);
        std::string expected = row.bytes;
        expected.resize(17, '\x7E');
        EXPECT_EQ(store, expected);
    }
}

TEST_F(XmlParams, TheNextCodeHasAtMost255DigitsAndStopsAtTheLengthToo) {
    const auto next = [](const std::string& str, uint32_t len, uint32_t position) {
        uint32_t code = 99;
        const uint32_t result = ConfXmlStrGetNextASCII(str.c_str(), len, &position, &code);
        return std::to_string(result) + "@" + std::to_string(position) + ":" + std::to_string(code);
    };
    EXPECT_THAT(std::vector({next("12,3", 4, 0), next("12,3", 4, 3), next("12,3", 4, 4), next("1234", 2, 0),
                             next("1234", 2, 3), next(",1", 2, 0), next("1x", 2, 0), next("4294967297", 10, 0),
                             next(std::string(255, '7') + ",", 256, 0), next(std::string(256, '7') + ",", 257, 0)}),
                ElementsAre("0@3:12", "0@4:3", "0@4:0", "0@3:12", "0@4:0", "0@1:0", "1@0:99", "0@10:1",
                            StartsWith("0@256:"), "1@0:99"));
    uint32_t number = 0;
    char out[4] = {};
    EXPECT_THAT(Codes({ConfXmlStrGetNextASCII(nullptr, 1, &number, &number), ConfXmlGetStringFromAscii("1", nullptr, 4),
                       ConfXmlGetStringFromAscii(nullptr, out, 4)}),
                ElementsAre(1, 1, 0));
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_EQ(ConfXmlGetStringFromAscii("x", out, 4), 1U);
    EXPECT_THAT(takeLogs("ConfXmlGetStringFromAscii"), ElementsAre("ConfXmlStrGetNextASCII failed!"));
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
    EXPECT_EQ(read(note("c", nullptr, 4, true, true)), 0U);
}

} // namespace
} // namespace tarn::test
