// How notifications travel from the meeting service to the application. In the meeting service the registered callback
// posts each notification as a call; in the application the call's handler gives it to the callback registered there.
#pragma once

#include <cstdint>
#include <string>

namespace tarn::demo {

inline constexpr uint32_t kNotifySingle = 0x501;
inline constexpr uint32_t kNotifyRecording = 0x502;
inline constexpr uint32_t kNotifySlides = 0x503;

// Meeting: registers the callback that posts to the application.
void registerForwarding();
// Application: registers the callback that puts packets together again and notes each whole notification.
void registerReassembly();

// SHA-256 in hexadecimal, by the library; empty on failure.
std::string sha256(const void* data, uint32_t length);

} // namespace tarn::demo
