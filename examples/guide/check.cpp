// What comes from outside as JSON, read and checked.
#include <string>

#include "promise.h"
// [includes]
#include <cjson/cJSON.h>

#include "tarn_conference/conf_json.h"
#include "tarn_conference/conf_param.h"
// [/includes]

namespace {

// [read]
struct Invitation {
    std::string room;
    std::string address;
    unsigned guests;
};

// False for what is no invitation.
bool read(const char* text, Invitation& invitation) {
    cJSON* const root = ConfJsonParse(text);
    if (root == nullptr) {
        return false;
    }
    invitation.room = ConfJsonGetString(root, "room", "");
    invitation.address = ConfJsonGetString(root, "address", "");
    invitation.guests = ConfJsonGetUInt32(root, "guests", 1); // 1 without the member, and for -5 or "many"
    cJSON_Delete(root);
    ConfTrim(invitation.room.data());
    invitation.room.resize(std::char_traits<char>::length(invitation.room.c_str()));
    return ConfParamCheckContainValidChar(invitation.room.c_str(), 0) == 0 &&
           ConfParamCheckValidIp(invitation.address.c_str()) == 0;
}
// [/read]

} // namespace

int main() {
    Invitation invitation;
    guide::promise(read(R"({"room": " Turing ", "address": "10.1.2.7", "guests": 25})", invitation), "an invitation");
    guide::promise(invitation.room == "Turing" && invitation.guests == 25, "its values");
    guide::promise(read(R"({"room": "x", "address": "fe80::1", "guests": -5})", invitation), "IPv6");
    guide::promise(invitation.guests == 1, "a default for a number out of range");
    guide::promise(!read(R"({"room": "a\"b", "address": "10.1.2.7"})", invitation), "a room with a quote refused");
    guide::promise(!read(R"({"room": "x", "address": "10.1.2.7:80"})", invitation), "a port refused");
    guide::promise(!read("{", invitation), "no JSON refused");

    // [print]
    ConfJsonItem items[2] = {{CONF_JSON_TYPE_STRING, "room", {}}, {CONF_JSON_TYPE_NUMBER, "guests", {}}};
    items[0].string = "Turing";
    items[1].number = 25;
    std::string answer;
    const bool done = ConfJsonCreateAndPrintMultipleItems(answer, items, 2) == 0;
    // [/print]
    guide::promise(done && answer.find("\"room\":\t\"Turing\"") != std::string::npos, "an answer");

    // [number]
    const int port = ConfGetAtoi("0x13C4", 5060); // 5060 also for what is no number
    // [/number]
    guide::promise(port == 5060, "a number");
    return guide::result();
}
