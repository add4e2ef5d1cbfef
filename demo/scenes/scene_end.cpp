#include "scenes/scene.h"

namespace tarn::demo {

void sceneEnd(Stage& stage) {
    Transcript& out = stage.transcript;
    out.scene("The endpoint shuts down");
    for (const char* process : {kMeeting, kMedia}) {
        const Reply last = stage.endpoint.end(process);
        out.check(field(last, "live-blocks") == "0",
                  text("%-11s ended with code 0 and no accounted block left (%s allocated in its life, peak %s bytes)",
                       process, field(last, "total-blocks").c_str(), field(last, "peak-bytes").c_str()));
    }
    const Reply last = stage.endpoint.end(kApplication);
    out.check(field(last, "live-blocks") == "1" && field(last, "live-bytes") == "768",
              text("%-11s ended with code 0 and one block left: the three settings, kept for its life (peak %s bytes)",
                   kApplication, field(last, "peak-bytes").c_str()));
}

} // namespace tarn::demo
