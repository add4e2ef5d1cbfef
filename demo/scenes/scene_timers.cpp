#include "scenes/scene.h"

#include <cmath>

namespace tarn::demo {
namespace {

constexpr double kTickMs = 10;
constexpr double kSlackMs = 60; // a busy machine may deliver late, never early

struct TimerCase {
    const char* family;
    const char* kind;
    const char* order;
    const char* name;
    double periodMs;
    int expiries;
};

constexpr TimerCase kCases[] = {
    {"table timer", "one-shot", "timer-table 1 200 table-once", "table-once", 200, 1},
    {"table timer", "periodic", "timer-table 2 50 table-periodic", "table-periodic", 50, 10},
    {"free-standing timer", "one-shot", "timer-free 1 120 free-once", "free-once", 120, 1},
    {"free-standing timer", "periodic", "timer-free 2 30 free-periodic", "free-periodic", 30, 10},
};

} // namespace

void sceneTimers(Stage& stage) {
    Transcript& out = stage.transcript;
    out.scene("Timers of both families post messages on a 10 ms tick");
    for (const TimerCase& timer : kCases) {
        const bool started = field(stage.endpoint.ask(kMeeting, timer.order), "result") == "0";
        const Reply seen = stage.endpoint.ask(kMeeting, text("inbox timer:%s %d 3000", timer.name, timer.expiries));
        const double lastMs = numberField(seen, "last") / 1e6;
        const double wantedMs = timer.periodMs * timer.expiries;
        out.check(started && numberField(seen, "count") >= timer.expiries && lastMs >= wantedMs - kTickMs &&
                      lastMs < wantedMs + timer.periodMs + kSlackMs,
                  text("%-20s %-8s %3.0f ms: expiry %2d came %.1f ms after the start", timer.family, timer.kind,
                       timer.periodMs, timer.expiries, lastMs));
        const Reply stopped = stage.endpoint.ask(kMeeting, text("timer-stop %s", timer.name));
        const bool selfEnded = std::string(timer.order).rfind("timer-free 1", 0) == 0;
        if (selfEnded) {
            out.check(field(stopped, "valid-before") == "0", "after its expiry the one-shot record is idle again");
        }
    }
}

} // namespace tarn::demo
