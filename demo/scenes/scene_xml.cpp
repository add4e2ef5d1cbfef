#include <fstream>

#include "scenes/scene.h"

namespace tarn::demo {
namespace {

constexpr const char* kSettings =
    "<settings>\n"
    "  <setting name=\"isStopCastWhenConfEnd\">1</setting>\n"
    "  <setting name=\"IGNORELAYOUTSTRATEGY\">0x10</setting>\n"
    "  <setting name=\"isForbiddenKitCapbility\">0</setting>\n"
    "</settings>\n";

void lastingVariables(Stage& stage) {
    Transcript& out = stage.transcript;
    const Reply filled = stage.endpoint.ask(kApplication, "tree-fill");
    const Reply saved = stage.endpoint.ask(kApplication, "tree-save");
    const std::string values = field(filled, "values");
    out.check(field(saved, "result") == "0" && !values.empty(), "application saved variables of all seven types:");
    out.quote(values);
    const bool killed = stage.endpoint.kill(kApplication);
    stage.endpoint.start(kApplication);
    const Reply loaded = stage.endpoint.ask(kApplication, "tree-load");
    out.check(killed && field(loaded, "result") == "0" && field(loaded, "values") == values,
              "it was killed and started again, and has them back");

    const std::string file = field(saved, "file");
    std::error_code error;
    std::filesystem::resize_file(file, std::filesystem::file_size(file, error) / 2, error);
    stage.endpoint.ask(kApplication, "tree-clear");
    const Reply rescued = stage.endpoint.ask(kApplication, "tree-load");
    out.check(!error && field(rescued, "result") == "0" && field(rescued, "values") == values,
              "half of the file was cut away; the backup served");
}

void message(Stage& stage) {
    Transcript& out = stage.transcript;
    const Reply sent = stage.endpoint.ask(kMeeting, "xml-message");
    const Reply read = stage.endpoint.ask(kApplication, "inbox xml 1 3000");
    out.check(field(sent, "result") == "0" && field(sent, "text").rfind("<?xml", 0) == 0 &&
                  field(read, "last") ==
                      "conference 77, grid of 9, Hello, \xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5"
                      "\xD1\x82, \xE4\xBD\xA0\xE5\xA5\xBD",
              "an XML message with header and attributes went from meeting to application and was read by path:");
    out.quote(field(read, "last"));
}

void switches(Stage& stage) {
    Transcript& out = stage.transcript;
    const std::filesystem::path directory = stage.directory / "config-files" / "conference";
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    std::ofstream(directory / "conf_config.xml") << kSettings;
    const Reply read = stage.endpoint.ask(kApplication, "switches");
    out.check(!error && field(read, "result") == "0" && field(read, "switches") == "0 1 0 0 16 0",
              "the six switches were read from config-files/conference/conf_config.xml: " + field(read, "switches"));
}

} // namespace

void sceneXml(Stage& stage) {
    stage.transcript.scene("Variables outlive their process in XML, and messages and settings are read from it");
    lastingVariables(stage);
    message(stage);
    switches(stage);
}

} // namespace tarn::demo
