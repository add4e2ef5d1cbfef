// Calls between processes: what is sent, what is made of the answer, and how a received call is run.
#include <algorithm>
#include <cstring>

#include "scripted_message.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/os_memory.h"
#include "told.h"

namespace tarn::test {
namespace {

using namespace testing;

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kOverhead = CONF_MSG_PAYLOAD_OVERHEAD;
constexpr uint32_t kResult = 0x1234;
// Where a payload has its fields.
constexpr size_t kResultOffset = 8;
constexpr size_t kIdOffset = 12;
constexpr size_t kLengthOffset = 16;
constexpr size_t kDataOffset = 20;

bool permitted = true;

struct Handled {
    uint32_t msgId;
    Bytes data;
    bool dataWasNull = false;

    bool operator==(const Handled&) const = default;
};
std::vector<Handled> handled;

uint32_t rememberingHandler(uint32_t msgId, void* data, uint32_t dataLen) {
    auto* const bytes = static_cast<uint8_t*>(data);
    handled.push_back({msgId, bytes == nullptr ? Bytes() : Bytes(bytes, bytes + dataLen), data == nullptr});
    std::for_each(bytes, bytes + (bytes == nullptr ? 0 : dataLen), [](uint8_t& byte) { ++byte; });
    return kResult;
}

uint32_t attachingHandler(uint32_t, void* data, uint32_t) {
    void* block = OsMemMallocSetCharMon(16, 0, 0, 0, 1, "handler");
    std::memcpy(static_cast<uint8_t*>(data) + offsetof(ConfMeetingServerMsgBlock, result), &block, sizeof block);
    return kResult;
}

// A payload as a sender makes it, and changes to it.
struct Payload {
    Bytes bytes;

    Payload(ConfCommMsgHandler handler, uint32_t msgId, const Bytes& data) : bytes(data.size() + kOverhead) {
        std::memcpy(bytes.data(), &handler, sizeof handler);
        set(kIdOffset, msgId).set(kLengthOffset, static_cast<uint32_t>(data.size()));
        std::copy(data.begin(), data.end(), bytes.begin() + kDataOffset);
    }
    Payload& set(size_t offset, uint32_t value) {
        std::memcpy(bytes.data() + offset, &value, sizeof value);
        return *this;
    }
};

Bytes answerOf(uint32_t result, const Bytes& data) {
    return Payload(nullptr, 0, data).set(kResultOffset, result).bytes;
}

// An answer without data that claims to have some; its four spare bytes could be that.
Bytes answerClaiming(uint32_t length, uint32_t result = 0) {
    return Payload(nullptr, 0, {}).set(kResultOffset, result).set(kLengthOffset, length).bytes;
}

class MessageTest : public ScriptedPlatformTest {
 protected:
    void SetUp() override {
        ScriptedPlatformTest::SetUp();
        permitted = true;
        handled.clear();
    }

    // What a call answers when its receiver answers `payload`.
    static uint32_t call(const Bytes& payload, void* data, uint32_t length,
                         decltype(&ConfCommMsgSynSendImpl) send = ConfCommMsgSynSendImpl) {
        scriptedMessages().answer = [payload](const Bytes&) { return payload; };
        return send("peer", rememberingHandler, 1, data, length, 7);
    }

    // Runs a received record; its payload block is exactly as long as the bytes, so that a sanitizer sees an overrun.
    static uint32_t process(Payload& payload, uint32_t kind, uint32_t responseWanted) {
        OsMsgRecord record = {};
        record.kind = kind;
        record.responseWanted = responseWanted;
        record.senderUid = 1000;
        record.payload = payload.bytes.data();
        record.payloadLength = static_cast<uint32_t>(payload.bytes.size());
        return ConfCommMsgProcess(&record);
    }
};

TEST_F(MessageTest, SynchronousCallsSendAWholePayload) {
    Bytes data = {1, 2, 3, 4, 5};
    const auto& sent = scriptedMessages().synchronous;
    scriptedMessages().answer = [](const Bytes&) { return answerOf(kResult, {9, 8, 7}); };
    EXPECT_EQ(ConfCommMsgSynSendImpl("exactly15chars_", rememberingHandler, 66, data.data(), 5, 250), kResult);
    EXPECT_EQ(data, (Bytes{9, 8, 7, 4, 5}));
    EXPECT_EQ(sent.at(0).payload, Payload(rememberingHandler, 66, {1, 2, 3, 4, 5}).bytes);
    EXPECT_EQ(sent.at(0).timeoutMs, 250U);
    OsMsgRecord expected = {};
    expected.kind = 1;
    std::strcpy(expected.senderName, "TarnUIConf");
    std::strcpy(expected.receiverName, "exactly15chars_");
    expected.payloadLength = 29;
    expected.payload = sent.at(0).record.payload;
    EXPECT_EQ(std::memcmp(&sent.at(0).record, &expected, sizeof expected), 0);
    EXPECT_EQ(platform.allocations().at(0).file, "conf_msg_api");

    ConfCommMsgSynSend("peer", rememberingHandler, 1, data.data(), 5);
    EXPECT_EQ(sent.at(1).timeoutMs, 3000U);
    ConfCommMsgSynSendImplHaveResp("peer", rememberingHandler, 1, data.data(), 5, 7);
    EXPECT_EQ(sent.at(2).record.kind, 2U);
    // Without a buffer the area travels all the same, and nothing is copied back.
    EXPECT_EQ(call(answerOf(kResult, {5, 5, 5}), nullptr, 3), kResult);
    EXPECT_EQ(sent.at(3).payload, Payload(rememberingHandler, 1, {0, 0, 0}).bytes);
    platform.reset();
    EXPECT_EQ(call(answerOf(kResult, {}), data.data(), 0), kResult);
    EXPECT_EQ(sent.at(4).payload.size(), kOverhead);
    EXPECT_EQ(platform.count("memcpy_s"), 0U);
    EXPECT_THAT(platform.logs(), IsEmpty());
}

TEST_F(MessageTest, AsynchronousCallsSendAWholePayload) {
    const Bytes data = {4, 5};
    EXPECT_EQ(ConfCommMsgAsynSend("peer", rememberingHandler, 8, data.data(), 2), 0U);
    EXPECT_EQ(ConfCommMsgAsynSend("peer", rememberingHandler, 9, nullptr, 0), 0U);
    const auto& sent = scriptedMessages().asynchronous;
    EXPECT_EQ(sent.at(0).payload, Payload(rememberingHandler, 8, data).bytes);
    EXPECT_EQ(sent.at(0).record.kind, 1U);
    EXPECT_STREQ(sent.at(0).record.senderName, "TarnUIConf");
    EXPECT_STREQ(sent.at(0).record.receiverName, "peer");
    EXPECT_EQ(sent.at(1).payload, Payload(rememberingHandler, 9, {}).bytes);
}

TEST_F(MessageTest, BadArgumentsSendNothing) {
    Bytes data(8);
    for (const auto send : {ConfCommMsgSynSendImpl, ConfCommMsgSynSendImplHaveResp}) {
        EXPECT_EQ(send(nullptr, rememberingHandler, 1, data.data(), 8, 1), CONF_MSG_ERR_SEND);
        EXPECT_EQ(send("peer", rememberingHandler, 1, data.data(), 0xFFFFFFFF - 23, 1), CONF_MSG_ERR_SEND);
        EXPECT_THAT(platform.allocations(), IsEmpty());
        EXPECT_EQ(send("sixteen_chars___", rememberingHandler, 1, data.data(), 8, 1), CONF_MSG_ERR_SEND);
        const bool waits = send == ConfCommMsgSynSendImplHaveResp;
        EXPECT_THAT(takeLogs(waits ? "ConfCommMsgSynSendImplHaveResp" : "ConfCommMsgSynSendImpl"),
                    ElementsAre("Null ptr.", "Null ptr.", "ConfCommMsgSynSend strcpy_s fail"));
        platform.reset();
    }
    const auto send = ConfCommMsgAsynSend;
    EXPECT_THAT(Codes({send("peer", nullptr, 1, data.data(), 8), send("peer", rememberingHandler, 1, nullptr, 8),
                       send("peer", rememberingHandler, 1, data.data(), 0xFFFFFFFF),
                       send("sixteen_chars___", rememberingHandler, 1, data.data(), 8)}),
                Each(CONF_MSG_ERR_SEND));
    EXPECT_THAT(platform.logs(), IsEmpty());
    EXPECT_THAT(scriptedMessages().synchronous, IsEmpty());
    EXPECT_THAT(scriptedMessages().asynchronous, IsEmpty());
}

TEST_F(MessageTest, AnswersMayBeTooLongOrClaimTooMuch) {
    Bytes data(100, 1);
    EXPECT_EQ(call(answerOf(kResult, {7, 7, 7}), data.data(), 2), kResult);
    // Data that nobody takes need not be there, nor spare bytes behind a header.
    EXPECT_EQ(call(answerClaiming(8, 5), nullptr, 8), 5U);
    Bytes headerOnly = answerClaiming(0, 6);
    headerOnly.resize(kDataOffset);
    EXPECT_EQ(call(headerOnly, data.data(), 2), 6U);
    EXPECT_THAT(platform.logs(), IsEmpty());
    for (const Bytes& answer : {Bytes(), Bytes(19), answerClaiming(5)}) {
        EXPECT_THAT(
            Codes({call(answer, data.data(), 100), call(answer, data.data(), 100, ConfCommMsgSynSendImplHaveResp)}),
            Each(CONF_MSG_ERR_SEND));
        EXPECT_THAT(takeLogs("ConfCommMsgSynSendImpl"),
                    ElementsAre("ConfCommMsgSynSend OsMsgSynSend fail 0x0 recvProcName peer.",
                                "1 [ConfCommMsgSynSendImplHaveResp]ConfCommMsgSynSend OsMsgSynSend fail 0x0 "
                                "recvTaskName peer."));
    }
    EXPECT_EQ(data, Bytes(100, 1));
    EXPECT_THAT(Codes({call(answerOf(kResult, {7, 7, 7}), data.data(), 2, ConfCommMsgSynSendImplHaveResp),
                       call(answerOf(kResult, {7, 7, 7}), data.data(), 0, ConfCommMsgSynSendImplHaveResp)}),
                Each(CONF_MSG_ERR_SEND));
    EXPECT_THAT(takeLogs("ConfCommMsgSynSendImplHaveResp"),
                ElementsAre("ConfCommMsgSynSend memcpy_s fail, ret:34 [2, 3]",
                            "ConfCommMsgSynSend memcpy_s fail, ret:34 [0, 3]"));
    EXPECT_EQ(call(answerClaiming(2), data.data(), 2), 0U);
    scriptedMessages().noAnswerRecord = true;
    platform.reset();
    EXPECT_EQ(ConfCommMsgSynSend("peer", rememberingHandler, 1, data.data(), 100), CONF_MSG_ERR_SEND);
    EXPECT_EQ(platform.count("OsMsgSynRespFree"), 1U);
}

TEST_F(MessageTest, ReceivedCallRunsItsHandlerAndAnswersWhoeverWaits) {
    Payload payload(rememberingHandler, 12, {1, 2, 3});
    EXPECT_EQ(process(payload, 1, 0), 0U);
    EXPECT_EQ(payload.bytes, Payload(rememberingHandler, 12, {2, 3, 4}).set(kResultOffset, kResult).bytes);
    EXPECT_THAT(scriptedMessages().responses, IsEmpty());
    EXPECT_EQ(process(payload, 2, 1), 0U);
    const Bytes response = Payload(rememberingHandler, 12, {3, 4, 5}).set(kResultOffset, kResult).bytes;
    EXPECT_THAT(scriptedMessages().responses, ElementsAre(response));
    Payload empty(rememberingHandler, 13, {});
    EXPECT_EQ(process(empty, 1, 2), 0U); // only 1 asks for an answer
    EXPECT_EQ(scriptedMessages().responses.size(), 1U);
    EXPECT_THAT(handled, ElementsAre(Handled{12, {1, 2, 3}}, Handled{12, {2, 3, 4}}, Handled{13, {}, true}));
    EXPECT_THAT(platform.logs(), IsEmpty());
}

TEST_F(MessageTest, UnusableRecordsAndRefusedSendersRunNothing) {
    Payload payload(rememberingHandler, 1, {1, 2, 3});
    OsMsgRecord record = {};
    record.kind = 1;
    record.payloadLength = 24;
    EXPECT_EQ(ConfCommMsgProcess(nullptr), 1U);
    EXPECT_EQ(process(payload, 3, 1), 1U);
    EXPECT_EQ(ConfCommMsgProcess(&record), CONF_MSG_ERR_PAYLOAD);
    Bytes bytes(24);
    record.payload = bytes.data();
    record.payloadLength = 23;
    EXPECT_EQ(ConfCommMsgProcess(&record), CONF_MSG_ERR_PAYLOAD);
    // Headers that claim more than there is: the last of the spare bytes is the last that can be data.
    EXPECT_EQ(process(payload.set(kLengthOffset, 8), 1, 1), CONF_MSG_ERR_PAYLOAD);
    EXPECT_THAT(handled, IsEmpty());
    EXPECT_EQ(process(payload.set(kLengthOffset, 7), 1, 0), 0U);
    Payload noHandler(nullptr, 1, {});
    EXPECT_EQ(process(noHandler, 1, 1), 1U);
    EXPECT_THAT(takeLogs("ConfCommMsgProcess"),
                ElementsAre("Null ptr.", "Null ptr.", "Check param fail! dataLen:23 invalid.",
                            "Check param fail! dataLen:8 invalid.", "Null ptr."));

    permitted = false;
    EXPECT_EQ(process(payload, 2, 1), CONF_MSG_ERR_PERMISSION);
    EXPECT_THAT(takeLogs(), ElementsAre("3 [ConfCommMsgProcess]Permission deny! MeetingProcessKeymMsg no permission: "
                                        "uid = 1000, msgid = 2."));
    // An unknown kind is not worth asking, a missing payload is.
    EXPECT_EQ(process(payload, 3, 1), 1U);
    record.payload = nullptr;
    EXPECT_EQ(ConfCommMsgProcess(&record), CONF_MSG_ERR_PERMISSION);
    EXPECT_EQ(handled.size(), 1U);
    EXPECT_EQ(platform.count("OsMsgSynSendResp"), 0U);
}

TEST_F(MessageTest, UnsentAnswerBlockIsFreedAndForgotten) {
    const auto blocksFreed = [&](Payload& payload, uint32_t kind) {
        platform.reset();
        platform.failNth("OsMsgSynSendResp", 1);
        EXPECT_EQ(process(payload, kind, 1), 0U);
        return platform.count("OSMemTypeFreeMon");
    };
    Payload payload(attachingHandler, 1, Bytes(80));
    EXPECT_EQ(blocksFreed(payload, 2), 1U);
    void* block = nullptr;
    EXPECT_EQ(std::memcmp(payload.bytes.data() + 92, &block, sizeof block), 0);
    EXPECT_EQ(blocksFreed(payload, 1), 0U) << "that of a plain call is left alone";
    std::memcpy(&block, payload.bytes.data() + 92, sizeof block);
    OSMemTypeFreeMon(block, 0, 0, 1, "test");
    Payload shorter(rememberingHandler, 1, Bytes(79, 0xFF));
    EXPECT_EQ(blocksFreed(shorter, 2), 0U) << "too short for a block";
}

} // namespace
} // namespace tarn::test

// Stands in for the library's rule, as a process with a rule of its own does.
bool ConfCommMsgCheckPermission(void) {
    return tarn::test::permitted;
}
