#include <thread>

#include "scenes/scene.h"

namespace tarn::demo {

void sceneCrash(Stage& stage) {
    Transcript& out = stage.transcript;
    out.scene("A process is killed in the middle of a call, and comes back");

    stage.endpoint.ask(kMedia, "inbox held 0 0"); // those of earlier scenes
    stage.endpoint.order(kMeeting, "hold-stream 8000 10000");
    const Reply held = stage.endpoint.ask(kMedia, "inbox held 1 3000");
    out.check(field(held, "count") == "1", "meeting waits in a call that media would hold for 8 s");
    const auto killedAt = std::chrono::steady_clock::now();
    const bool gone = stage.endpoint.kill(kMedia);
    const Reply failed = stage.endpoint.reply(kMeeting);
    const double afterKillMs =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - killedAt).count();
    out.check(gone && field(failed, "result") == "10001004" && afterKillMs < 1000,
              text("media was killed; the caller had 10001004 %.1f ms later", afterKillMs));

    const Reply absent = stage.endpoint.ask(kMeeting, "hold-stream 0 3000");
    const double absentMs = numberField(absent, "elapsed_us") / 1000;
    out.check(field(absent, "result") == "10001004" && absentMs < 500,
              text("a call to the absent process: 10001004 after %.2f ms, not after the 3 s timeout", absentMs));
    const auto lines = stage.logs.linesWith(kMeeting, "ConfCommMsgSynSend OsMsgSynSend fail");
    out.check(lines.size() >= 2, "meeting logged the failures:");
    if (!lines.empty()) {
        out.quote(lines.back());
    }

    const Reply greeting = stage.endpoint.start(kMedia);
    out.check(field(greeting, "receiver") == "0",
              text("media runs again, as process %d, in place of the socket the killed one left",
                   static_cast<int>(stage.endpoint.pid(kMedia))));
    const Reply again = stage.endpoint.ask(kMeeting, "open-streams 100");
    out.check(field(again, "wrong") == "0" && field(again, "calls") == "100", "meeting's next 100 calls are answered");
}

} // namespace tarn::demo
