// The settings file and its switches.
#include <cstring>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_settings.h"
// [/includes]

int main() {
    // [read]
    if (ConfConfigXmlInit() != 0) {
        std::puts("no settings file, or one that cannot be read: every switch is off");
    }
    const bool endsCast = IsStopCastWhenConfEnd() != 0;
    char room[CONF_SETTING_LEN] = "lobby";
    ConfConfigGetValueByName("room", room, sizeof room); // keeps "lobby" when there is no such setting
    // [/read]
    guide::promise(endsCast, "a switch that is on");
    guide::promise(!static_cast<bool>(IgnoreLayoutStrategy()), "a switch that is off");
    guide::promise(std::strcmp(room, "Turing") == 0, "a setting of the product's own");
    return guide::result();
}
