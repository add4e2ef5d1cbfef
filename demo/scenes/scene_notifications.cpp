#include "processes/notification_bridge.h"
#include "scenes/scene.h"

namespace tarn::demo {
namespace {

constexpr uint32_t kRecordingBytes = 9U * 1024 * 1024;
constexpr uint32_t kSlidesBytes = 5U * 1024 * 1024;

// What the application noted for a notification: its length and digest.
std::string arrival(Stage& stage, uint32_t id) {
    return field(stage.endpoint.ask(kApplication, text("inbox notification:%u 1 5000", id)), "last");
}

void checkLarge(Stage& stage, const char* what, uint32_t id, uint32_t bytes, const std::string& digest) {
    const bool whole = arrival(stage, id) == std::to_string(bytes) + ":" + digest;
    stage.transcript.check(whole && !digest.empty(),
                           text("%s: %u bytes put together again, SHA-256 as sent:", what, bytes));
    stage.transcript.quote(digest);
}

} // namespace

void sceneNotifications(Stage& stage) {
    Transcript& out = stage.transcript;
    out.scene("Notifications reach the application's callback, large ones in packets");
    const Reply single = stage.endpoint.ask(kMeeting, "notify-single participant-joined");
    out.check(field(single, "result") == "0" && arrival(stage, kNotifySingle) == "18:" + field(single, "sha256"),
              "a single notification of 18 bytes arrived");
    const Reply large = stage.endpoint.ask(kMeeting, text("notify-large %u %u", kRecordingBytes, kSlidesBytes));
    out.check(field(large, "result") == "0", "two threads sent a recording of 9 MiB and slides of 5 MiB at once");
    checkLarge(stage, "recording", kNotifyRecording, kRecordingBytes, field(large, "recording"));
    checkLarge(stage, "slides", kNotifySlides, kSlidesBytes, field(large, "slides"));
    out.check(field(stage.endpoint.ask(kApplication, "inbox mixed-packets 0 0"), "count") == "0",
              "no packet of one came between the packets of the other");
}

} // namespace tarn::demo
