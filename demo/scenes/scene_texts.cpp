#include "scenes/scene.h"

namespace tarn::demo {
namespace {

void invitation(Stage& stage) {
    Transcript& out = stage.transcript;
    const Reply sent = stage.endpoint.ask(kMeeting, "json-request");
    const Reply read = stage.endpoint.ask(kApplication, "inbox invitation 1 3000");
    out.check(field(sent, "result") == "0" && field(read, "last") == "invite, 25 participants, 1920 kbit/s, encrypted",
              "meeting sent a JSON invitation; application read it with range-checked getters:");
    out.quote(field(read, "last"));
    const auto lines = stage.logs.linesWith(kApplication, "is out of int ranger");
    out.check(lines.size() == 1, "a bandwidth no int holds fell back to its default, and the log says so:");
    if (!lines.empty()) {
        out.quote(lines.front());
    }
}

void masking(Stage& stage) {
    Transcript& out = stage.transcript;
    stage.endpoint.ask(kMeeting, "log-masked");
    const auto lines = stage.logs.linesWith(kMeeting, "call tel:");
    bool masked = lines.size() == 1;
    for (const char* secret : {"13812345678", "aaaa;bbbbbb", "192.168.1.100", "fe80::1:2:3:4"}) {
        masked = masked && stage.logs.filesWith(secret).empty();
    }
    out.check(masked, "a telephone number, identities and the device's addresses reached no log file whole:");
    if (!lines.empty()) {
        out.quote(lines.front());
    }
}

} // namespace

void sceneTexts(Stage& stage) {
    stage.transcript.scene("Texts are parsed, checked and masked");
    invitation(stage);
    masking(stage);
}

} // namespace tarn::demo
