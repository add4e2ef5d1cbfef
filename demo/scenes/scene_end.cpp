#include "scenes/scene.h"

namespace tarn::demo {

void sceneEnd(Stage& stage) {
    Transcript& out = stage.transcript;
    out.scene("The endpoint shuts down");
    for (const char* process : {kMeeting, kMedia, kApplication}) {
        const Reply last = stage.endpoint.end(process);
        out.check(field(last, "live-blocks") == "0",
                  text("%-11s ended with code 0 and no accounted block left (%s allocated in its life, peak %s bytes)",
                       process, field(last, "total-blocks").c_str(), field(last, "peak-bytes").c_str()));
    }
}

} // namespace tarn::demo
