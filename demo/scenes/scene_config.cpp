#include "director/tool.h"
#include "scenes/scene.h"

namespace tarn::demo {
namespace {

constexpr const char* kSecret = "correct-horse-battery";

bool tool(const std::vector<std::string>& arguments) {
    return runTarnctl(arguments).exitCode == 0;
}

void load(Stage& stage) {
    Transcript& out = stage.transcript;
    out.check(tool({"config", "set", "Conf.MediaParam.frameRate", "30", "Conf.MediaParam.maxBandwidth", "8000000000",
                    "Conf.MediaParam.gain", "0.75", "Conf.MediaParam.muted", "FALSE", "Conf.MediaParam.codec", "H264"}),
              "tarnctl wrote five items for the media service");
    const Reply loaded = stage.endpoint.ask(kMedia, "config-start");
    out.check(field(loaded, "result") == "0" && field(loaded, "frameRate") == "30" &&
                  field(loaded, "maxBandwidth") == "8000000000" && field(loaded, "gain") == "0.750000" &&
                  field(loaded, "muted") == "FALSE" && field(loaded, "codec") == "H264",
              "media bound variables of every type and loaded them:");
    out.quote(text("frameRate %s, maxBandwidth %s, gain %s, muted %s, codec %s", field(loaded, "frameRate").c_str(),
                   field(loaded, "maxBandwidth").c_str(), field(loaded, "gain").c_str(), field(loaded, "muted").c_str(),
                   field(loaded, "codec").c_str()));
}

void follow(Stage& stage) {
    Transcript& out = stage.transcript;
    out.check(tool({"config", "set", "Conf.MediaParam.frameRate", "60", "Conf.ServerParam.addr", "10.20.30.40",
                    "Conf.MediaParam.codec", "H265"}),
              "tarnctl changed three items in one step");
    const Reply media = stage.endpoint.ask(kMedia, "inbox media-change 1 3000");
    const Reply server = stage.endpoint.ask(kMedia, "inbox server-change 1 3000");
    out.check(field(media, "count") == "1" && field(media, "last") ==
                                                  "2 items; Conf.MediaParam.frameRate: 30 -> 60; "
                                                  "Conf.MediaParam.codec: H264 -> H265",
              "media's callback was called once, with its group:");
    out.quote(field(media, "last"));
    out.check(field(server, "count") == "1" && field(server, "last") == "1 items",
              "the other callback was called once, with the server's address");
}

void push(Stage& stage) {
    Transcript& out = stage.transcript;
    const Reply pushed = stage.endpoint.ask(kMedia, "config-push");
    const ToolResult held = runTarnctl({"config", "list", "Conf.MediaParam."});
    out.check(field(pushed, "result") == "0" && held.output.find("gain=2.500000") != std::string::npos &&
                  held.output.find("muted=TRUE") != std::string::npos,
              "media changed variables and pushed its prefix; tarnctl reads them:");
    out.quote(runTarnctl({"config", "get", "Conf.MediaParam.gain"}).output + ", " +
              runTarnctl({"config", "get", "Conf.MediaParam.muted"}).output);
}

void bulkLists(Stage& stage) {
    Transcript& out = stage.transcript;
    stage.endpoint.ask(kApplication, "config-start");
    const Reply got = stage.endpoint.ask(kMeeting, "config-get Conf.MediaParam.codec Conf.MediaParam.frameRate");
    out.check(field(got, "result") == "0" && field(got, "Conf.MediaParam.codec") == "H265" &&
                  field(got, "Conf.MediaParam.frameRate") == "60",
              "meeting asked application for a list of items and got their values in an answer block");
    const Reply set =
        stage.endpoint.ask(kMeeting, text("config-set Conf.SIPCallParam.sipPwd %s Conf.MediaParam.codec AV1", kSecret));
    const Reply changed = stage.endpoint.ask(kMedia, "inbox media-change 2 3000");
    out.check(field(set, "result") == "0" && field(changed, "last") == "1 items; Conf.MediaParam.codec: H265 -> AV1",
              "meeting set a list through application; media heard of its item");
}

void password(Stage& stage) {
    Transcript& out = stage.transcript;
    const ToolResult stored = runTarnctl({"config", "get", "--reveal", "Conf.SIPCallParam.sipPwd"});
    out.check(stored.exitCode == 0 && stored.output.size() > std::string(kSecret).size() &&
                  stored.output.find(kSecret) == std::string::npos,
              "the password in that list is stored encrypted:");
    out.quote(stored.output);
    out.check(runTarnctl({"config", "get", "Conf.SIPCallParam.sipPwd"}).output.find(stored.output) == std::string::npos,
              "and tarnctl shows not even that unless it is asked to");
    const size_t files = stage.logs.files().size();
    out.check(files >= 3 && stage.logs.filesWith(kSecret).empty() && stage.logs.filesWith("10.20.30.40").empty(),
              text("password and server address appear in none of the %zu log files", files));
}

} // namespace

void sceneConfig(Stage& stage) {
    stage.transcript.scene("Variables follow the configuration, and the configuration follows them");
    load(stage);
    follow(stage);
    push(stage);
    bulkLists(stage);
    password(stage);
    stage.endpoint.ask(kMedia, "config-end");
    stage.endpoint.ask(kApplication, "config-end");
}

} // namespace tarn::demo
