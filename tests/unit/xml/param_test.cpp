#include "tarn_conference/conf_xml_param.h"

#include <tuple>

#include "xml_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

using XmlParams = XmlTest;

TEST_F(XmlParams, ListsAreDecodedAsFarAsTheyAreGoodAndFit) {
    using Row = std::tuple<const char*, uint32_t, uint32_t, std::string>;
    const Row rows[] = {
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
    for (const auto& [codes, size, result, bytes] : rows) {
        std::string store(17, '~'); // at least one byte larger than the decoder may know
        EXPECT_EQ(ConfXmlGetStringFromAscii(codes, store.data(), size), result) << codes;
        EXPECT_EQ(store, bytes + std::string(17 - bytes.size(), '~')) << codes << " into " << size;
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
    EXPECT_EQ(read({"m n", 0, &number, 0, 1, 0}) + read({"w", 0, &number, 0, 1, 0}), 0U);
    EXPECT_EQ(number, static_cast<uint32_t>(-7));
    EXPECT_EQ(read({"t", 1, store, 5, 1, 0}), 0U);
    EXPECT_STREQ(store, "text");
    EXPECT_EQ(read({"n", 0, &number, 0, 0, 0}) + read({"t", 1, store, 5, 0, 0}), 0U) << "and not logged";
    EXPECT_EQ(read({"c", 1, store + 15, 0, 0, 1}), 0U) << "no room for a byte";
    EXPECT_THAT(Codes({read({"t", 1, store, 4, 1, 0}), read({"absent", 1, store, 4, 1, 0}),
                       read({"absent", 0, &number, 0, 1, 0}), read({"n", 0, nullptr, 0, 1, 0}),
                       read({"l", 1, store, sizeof store, 1, 1}), ConfXmlParseSingleNote(document.get(), nullptr)}),
                Each(1));
    const std::string absent = "4 [ConfXmlAdptGetNodeValueByUrl]ConfXmlGetNodeByPath fail! absent";
    EXPECT_THAT(
        takeLogs("ConfXmlParaseStringParams"),
        ElementsAre("4 [ConfXmlParaseIntParams]m n:4294967289", "4 [ConfXmlParaseIntParams]w:4294967289",
                    "4 [ConfXmlParaseStringParams]t:text", "strcpy_s failed!  strSize 4 valueSize 4 url t", absent,
                    "4 [ConfXmlParaseStringParams]Xml Parase absent fail", absent,
                    "4 [ConfXmlParaseIntParams]Xml Parase absent fail", "1 [ConfXmlParaseIntParams]param is null!",
                    "strcpy_s failed!  strSize 1024 valueSize 1024 url l", "1 [ConfXmlParseSingleNote]Null ptr."));

    EXPECT_EQ(read({"c", 1, store, sizeof store, 1, 1}), 0U);
    EXPECT_STREQ(store, "Hi\u4F60B");
    char less[16] = {};
    EXPECT_EQ(read({"c", 1, less, 5, 1, 1}), 0U);
    EXPECT_STREQ(less, "Hi") << "the third character would need the last byte";
    char bad[16] = {};
    EXPECT_EQ(read({"b", 1, bad, sizeof bad, 1, 1}), 0U);
    EXPECT_STREQ(bad, "H") << "as far as it is good";
    EXPECT_EQ(read({"c", 1, nullptr, 4, 1, 1}), 0U);
}

} // namespace
} // namespace tarn::test
