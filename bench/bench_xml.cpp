// XML documents beside bare tinyxml2, with pugixml for orientation; typed files as they grow; settings look-ups.
#include <unistd.h>

#include <cinttypes>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <tinyxml2.h>
#include <pugixml.hpp>

#include "ratio.h"
#include "tarn_conference/conf_settings.h"
#include "tarn_conference/conf_xml.h"
#include "tarn_conference/conf_xml_tree.h"
#include "tarn_platform/om_path.h"

namespace {

constexpr size_t kDocumentBytes = size_t{1} << 20;
constexpr size_t kSettings = 100;
constexpr double kLookUpSeconds = 1e-6;

// Messages as they travel: groups of short values.
const std::string& document() {
    static const std::string text = [] {
        std::string made = "<Conf>";
        for (int i = 0; made.size() < kDocumentBytes; ++i) {
            made += "<Site id=\"" + std::to_string(i) + "\" type=\"sip\"><Name>meeting room " + std::to_string(i) +
                    "</Name><Addr>192.0.2." + std::to_string(i % 250) + "</Addr><Muted>0</Muted><Empty/></Site>";
        }
        return made + "</Conf>";
    }();
    return text;
}

void library() {
    void* const root = ConfXmlParseBodyGetRoot(document().c_str());
    size_t elements = 0;
    for (void* node = root; node != nullptr; node = ConfXmlGetNodeIterator(node)) {
        ++elements;
    }
    benchmark::DoNotOptimize(elements);
    benchmark::DoNotOptimize(ConfXmlTransformStr(root));
    ConfXmlFreeRootNode(root);
}

const tinyxml2::XMLElement* bareNext(const tinyxml2::XMLElement* element) {
    if (const auto* const child = element->FirstChildElement(); child != nullptr) {
        return child;
    }
    for (const tinyxml2::XMLNode* node = element; node != nullptr; node = node->Parent()) {
        if (const auto* const sibling = node->NextSiblingElement(); sibling != nullptr) {
            return sibling;
        }
    }
    return nullptr;
}

void bare() {
    tinyxml2::XMLDocument parsed;
    parsed.Parse(document().c_str());
    size_t elements = 0;
    for (const auto* element = parsed.RootElement(); element != nullptr; element = bareNext(element)) {
        ++elements;
    }
    benchmark::DoNotOptimize(elements);
    tinyxml2::XMLPrinter printer(nullptr, true);
    parsed.Print(&printer);
    const std::string body(printer.CStr());
    benchmark::DoNotOptimize(body.data());
}

struct Text : pugi::xml_writer {
    std::string body;
    void write(const void* data, size_t size) override { body.append(static_cast<const char*>(data), size); }
};

void pugixml() {
    pugi::xml_document parsed;
    parsed.load_string(document().c_str());
    struct Walker : pugi::xml_tree_walker {
        size_t elements = 0;
        bool for_each(pugi::xml_node& node) override {
            elements += node.type() == pugi::node_element ? 1 : 0;
            return true;
        }
    } walker;
    parsed.traverse(walker);
    benchmark::DoNotOptimize(walker.elements);
    Text text;
    parsed.save(text, "", pugi::format_raw | pugi::format_no_declaration);
    benchmark::DoNotOptimize(text.body.data());
}

std::vector<uint32_t> variables;

void* createIndexTable(uint32_t) {
    void* const root = ConfXmlAddSingleStructNode(nullptr, "Root");
    for (size_t i = 0; i < variables.size(); ++i) {
        const std::string name = "value" + std::to_string(i);
        const std::string address = std::to_string(reinterpret_cast<uintptr_t>(&variables[i]));
        const char* const nameAndType[2] = {name.c_str(), "UINT32"};
        const ValueSpec spec = {CONF_XML_ATTR_UINT32, address.c_str(), 0};
        ConfXmlAddSingleValueNode(root, nameAndType, &spec);
    }
    return root;
}

const std::string& directory() {
    static const std::string path = TarnOmCustUtilGetCfgPath(0);
    return path;
}

// Loads leave their streams open, so that a measurement makes few of them.
bool flatTables() {
    const std::string file = directory() + "/table.xml";
    double before = 0;
    bool holds = true;
    for (const size_t count : {100U, 1000U, 10000U}) {
        variables.assign(count, 7);
        const double start = tarn::bench::now(CLOCK_THREAD_CPUTIME_ID);
        ConfXmlSave(createIndexTable, file.c_str(), nullptr);
        const double saved = tarn::bench::now(CLOCK_THREAD_CPUTIME_ID);
        ConfXmlLoad(createIndexTable, file.c_str(), nullptr);
        const double loaded = tarn::bench::now(CLOCK_THREAD_CPUTIME_ID);
        const double perValue = (loaded - start) * 1e6 / static_cast<double>(count);
        std::printf("flat table of %zu values: save %.2f us, load %.2f us a value\n", count,
                    (saved - start) * 1e6 / static_cast<double>(count),
                    (loaded - saved) * 1e6 / static_cast<double>(count));
        if (before != 0) {
            holds &= tarn::bench::holds("a value in ten times as many", perValue / before, 2.0);
        }
        before = perValue;
    }
    return holds;
}

bool settingsLookUp() {
    std::filesystem::create_directory(directory() + "/conference");
    std::ofstream file(directory() + "/conference/conf_config.xml");
    file << "<root>";
    for (size_t i = 1; i < kSettings; ++i) {
        file << "<s name='isSettingNumber" << i << "'>1</s>";
    }
    file << "<s name='ignoreLayoutStrategy'>1</s></root>";
    file.close();
    if (ConfConfigXmlInit() != 0) {
        return false;
    }
    constexpr size_t kCalls = 100000;
    std::vector<double> times(11);
    const auto lookUp = [] { benchmark::DoNotOptimize(IgnoreLayoutStrategy()); };
    for (double& time : times) {
        time = tarn::bench::secondsFor(kCalls, lookUp, CLOCK_THREAD_CPUTIME_ID) / static_cast<double>(kCalls);
    }
    std::ranges::nth_element(times, times.begin() + 5);
    std::printf("look-up of the last of %zu settings: %.0f ns (limit %.0f)%s\n", kSettings, times[5] * 1e9,
                kLookUpSeconds * 1e9, times[5] <= kLookUpSeconds ? "" : " ABOVE");
    return times[5] <= kLookUpSeconds;
}

void documentOf1MiB(benchmark::State& state) {
    constexpr void (*kWays[])() = {library, bare, pugixml};
    constexpr const char* kNames[] = {"library", "tinyxml2", "pugixml"};
    for (auto iteration : state) {
        kWays[state.range(0)]();
    }
    state.SetLabel(kNames[state.range(0)]);
}
BENCHMARK(documentOf1MiB)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

bool ratios() {
    bool allHold = tarn::bench::holds("parse, walk and print 1 MiB, to bare tinyxml2",
                                      tarn::bench::medianRatio(library, bare), 1.1);
    std::printf("parse, walk and print 1 MiB, to pugixml: ratio %.2f\n", tarn::bench::medianRatio(library, pugixml));
    allHold &= flatTables();
    allHold &= settingsLookUp();
    return allHold;
}

} // namespace

int main(int argc, char** argv) {
    char scratch[] = "/tmp/tarn-bench-xml-XXXXXX";
    if (mkdtemp(scratch) == nullptr || setenv("TARN_HOST_DIR", scratch, 1) != 0) {
        return 2;
    }
    const int result = tarn::bench::runAll(argc, argv, ratios);
    std::filesystem::remove_all(scratch);
    return result;
}
