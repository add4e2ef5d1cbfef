#include "scenes/scene.h"

namespace tarn::demo {
namespace {

constexpr int kCalls = 2000;
constexpr int kEvents = 500;

void plainCalls(Stage& stage) {
    const Reply reply = stage.endpoint.ask(kMeeting, text("open-streams %d", kCalls));
    stage.transcript.check(field(reply, "calls") == std::to_string(kCalls) && field(reply, "wrong") == "0",
                           text("meeting called media %d times; each answer fits its own call (%s kbit/s granted)",
                                kCalls, field(reply, "kbps").c_str()));
    stage.transcript.note(text("64 bytes there and back: median %.1f us, 99 %% within %.1f us",
                               numberField(reply, "median_ns") / 1000, numberField(reply, "p99_ns") / 1000));
}

void answerBlock(Stage& stage) {
    const Reply reply = stage.endpoint.ask(kMeeting, "ask-participants");
    stage.transcript.check(
        field(reply, "result") == "0" && field(reply, "participants") == "Ada, Grace, Edsger, Barbara",
        "meeting asked application for the participants; the handler attached a block of its own:");
    stage.transcript.quote(field(reply, "participants") + "  (" + field(reply, "length") + " bytes)");
}

void asynchronousCalls(Stage& stage) {
    const Reply sent = stage.endpoint.ask(kMeeting, text("send-events %d", kEvents));
    const Reply received = stage.endpoint.ask(kMedia, text("inbox stream-event %d 5000", kEvents));
    const bool ordered =
        field(received, "first") == "frame 0" && field(received, "last") == "frame " + std::to_string(kEvents - 1);
    stage.transcript.check(field(sent, "sent") == std::to_string(kEvents) &&
                               field(received, "count") == std::to_string(kEvents) && ordered,
                           text("meeting sent %d events without waiting (%.1f ms); media got all of them, in order",
                                kEvents, numberField(sent, "elapsed_us") / 1000));
}

void lateAnswer(Stage& stage) {
    const Reply timedOut = stage.endpoint.ask(kMeeting, "hold-stream 400 100");
    const double elapsedMs = numberField(timedOut, "elapsed_us") / 1000;
    stage.transcript.check(
        field(timedOut, "result") == "10001004" && elapsedMs >= 100 && elapsedMs < 150,
        text("a handler took longer than the 100 ms its caller waits: 10001004 after %.1f ms", elapsedMs));
    const Reply next = stage.endpoint.ask(kMeeting, "open-streams 1");
    stage.transcript.check(field(next, "wrong") == "0", "the late answer did not reach the next call");
}

} // namespace

void sceneCalls(Stage& stage) {
    stage.transcript.scene("The processes call each other");
    plainCalls(stage);
    answerBlock(stage);
    asynchronousCalls(stage);
    lateAnswer(stage);
}

} // namespace tarn::demo
