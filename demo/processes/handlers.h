// Functions that calls carry from one process of the endpoint to another: they run in the receiving process.
#pragma once

#include <array>
#include <cstdint>

namespace tarn::demo {

// What the meeting service asks of the media service; 64 bytes.
struct StreamRequest {
    uint32_t streamId;
    uint32_t width;
    uint32_t height;
    uint32_t grantedKbps; // filled in by the media service
    uint32_t holdMs;      // how long the media service is to take
    std::array<char, 44> label;
};
static_assert(sizeof(StreamRequest) == 64);

// An invitation to talk over TLS, and what media has to tell of it afterwards.
struct TlsVisit {
    uint32_t port;
    uint32_t succeeded;
    uint32_t caFiles;              // how many media trusts
    std::array<char, 64> protocol; // and cipher
    std::array<char, 64> peer;     // subject of meeting's certificate
    std::array<char, 128> outcome; // what meeting said, or why media would not talk
};

inline constexpr uint32_t kMsgOpenStream = 0x101;
inline constexpr uint32_t kMsgHoldStream = 0x102;
inline constexpr uint32_t kMsgStreamEvent = 0x103;
inline constexpr uint32_t kMsgTlsVisit = 0x104;
inline constexpr uint32_t kMsgListParticipants = 0x201;
inline constexpr uint32_t kMsgInvitation = 0x202;
inline constexpr uint32_t kMsgConfigGet = 0x203;
inline constexpr uint32_t kMsgConfigSet = 0x204;
inline constexpr uint32_t kMsgXml = 0x205;
inline constexpr uint32_t kMsgTimer = 0x301;

inline constexpr uint32_t kStreamAccepted = 200;

// Media: grants a bit rate in the caller's data.
uint32_t openStream(uint32_t msgId, void* data, uint32_t length);
// Media: the same, after holding the call as long as it says.
uint32_t holdStream(uint32_t msgId, void* data, uint32_t length);
// Media: notes an event, whose data are a text.
uint32_t noteStreamEvent(uint32_t msgId, void* data, uint32_t length);
// Media: connects to meeting's port of this machine and talks, trusting as the certificate service says.
uint32_t visitOverTls(uint32_t msgId, void* data, uint32_t length);
// Application: attaches the list of participants to the meeting-server block that the call's data are.
uint32_t listParticipants(uint32_t msgId, void* data, uint32_t length);

// Application: reads an invitation in JSON and notes what it understood.
uint32_t readInvitation(uint32_t msgId, void* data, uint32_t length);

// Application: reads an XML message by path and notes what it says.
uint32_t readXmlMessage(uint32_t msgId, void* data, uint32_t length);
// Application: answer the configuration lists of a meeting-server block.
uint32_t serveConfigGet(uint32_t msgId, void* data, uint32_t length);
uint32_t serveConfigSet(uint32_t msgId, void* data, uint32_t length);

// What a timer carries: its name and when it was started.
struct TimerData {
    std::array<char, 24> name;
    uint64_t startedNs;
};

// Any process: notes the expiry of a timer with its age.
uint32_t timerExpired(uint32_t msgId, void* data, uint32_t length);

} // namespace tarn::demo
