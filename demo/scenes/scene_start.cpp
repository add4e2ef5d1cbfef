#include "scenes/scene.h"

namespace tarn::demo {

void sceneStart(Stage& stage) {
    Transcript& out = stage.transcript;
    out.scene("Three processes start from one image, and each opens its own log");
    for (const char* process : {kMeeting, kMedia, kApplication}) {
        const Reply greeting = stage.endpoint.start(process);
        out.check(
            field(greeting, "log") == "0" && field(greeting, "receiver") == "0" && field(greeting, "timers") == "0",
            text("%-11s runs as process %d; log, timers and message receiver are open", process,
                 static_cast<int>(stage.endpoint.pid(process))));
    }
    for (const char* process : {kMeeting, kMedia, kApplication}) {
        const auto lines = stage.logs.linesWith(process, std::string(process) + " is up");
        out.check(lines.size() == 1, text("log/%s/Conference.log holds its first record", process));
        if (!lines.empty()) {
            out.quote(lines.front());
        }
    }
    const Reply filtered = stage.endpoint.ask(kMeeting, "log 4 a debug record nobody asked for");
    out.check(
        field(filtered, "level") == "3" && stage.logs.linesWith(kMeeting, "a debug record nobody asked for").empty(),
        "at level 3 a debug record is not written");
    stage.endpoint.ask(kMeeting, "level 4");
    stage.endpoint.ask(kMeeting, "log 4 a debug record somebody asked for");
    out.check(stage.logs.linesWith(kMeeting, "a debug record somebody asked for").size() == 1, "at level 4 it is");
    stage.endpoint.ask(kMeeting, "level 3");
}

} // namespace tarn::demo
