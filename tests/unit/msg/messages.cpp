// Calls between processes: what is sent, what is made of the answer, and how a received call is run.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

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
constexpr size_t kDataOffset = 20;
constexpr uint32_t kResult = 0x1234;

bool permitted = true;

// A synchronous call and the name under which it logs, or what.
struct SenderAndText {
    decltype(&ConfCommMsgSynSendImpl) send;
    const char* text;
};

struct Handled {
    uint32_t msgId;
    Bytes data;
    bool dataWasNull;
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

uint32_t fieldOf(const Bytes& payload, size_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, payload.data() + offset, sizeof value);
    return value;
}

// A payload as a sender makes it, and changes to it.
struct Payload {
    Bytes bytes;

    Payload(ConfCommMsgHandler handler, uint32_t msgId, const Bytes& data) : bytes(data.size() + kOverhead) {
        std::memcpy(bytes.data(), &handler, sizeof handler);
        set(12, msgId);
        set(16, static_cast<uint32_t>(data.size()));
        std::copy(data.begin(), data.end(), bytes.begin() + kDataOffset);
    }
    Payload& set(size_t offset, uint32_t value) {
        std::memcpy(bytes.data() + offset, &value, sizeof value);
        return *this;
    }
};

Bytes answerOf(uint32_t result, const Bytes& data) {
    return Payload(nullptr, 0, data).set(8, result).bytes;
}

class MessageTest : public ScriptedPlatformTest {
 protected:
    void SetUp() override {
        ScriptedPlatformTest::SetUp();
        permitted = true;
        handled.clear();
    }

    static void answerWith(const Bytes& payload) {
        scriptedMessages().answer = [payload](const Bytes&) { return payload; };
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

TEST_F(MessageTest, SynchronousCallSendsAWholePayload) {
    Bytes data = {1, 2, 3, 4, 5};
    answerWith(answerOf(kResult, {9, 8, 7}));
    EXPECT_EQ(ConfCommMsgSynSendImpl("exactly15chars_", rememberingHandler, 66, data.data(), 5, 250), kResult);
    EXPECT_EQ(data, (Bytes{9, 8, 7, 4, 5}));

    const auto& sent = scriptedMessages().synchronous.at(0);
    EXPECT_EQ(sent.payload, Payload(rememberingHandler, 66, {1, 2, 3, 4, 5}).bytes);
    EXPECT_EQ(sent.timeoutMs, 250U);
    OsMsgRecord expected = {};
    expected.kind = 1;
    std::strcpy(expected.senderName, "TarnUIConf");
    std::strcpy(expected.receiverName, "exactly15chars_");
    expected.payloadLength = 29;
    expected.payload = sent.record.payload;
    EXPECT_EQ(std::memcmp(&sent.record, &expected, sizeof expected), 0);
    EXPECT_EQ(platform.allocations().at(0).file, "conf_msg_api");

    ConfCommMsgSynSend("peer", rememberingHandler, 1, data.data(), 5);
    EXPECT_EQ(scriptedMessages().synchronous.at(1).timeoutMs, 3000U);
    ConfCommMsgSynSendImplHaveResp("peer", rememberingHandler, 1, data.data(), 5, 7);
    EXPECT_EQ(scriptedMessages().synchronous.at(2).record.kind, 2U);
    EXPECT_THAT(platform.logs(), IsEmpty());
}

TEST_F(MessageTest, CallWithoutDataOrWithoutABuffer) {
    Bytes data = {1, 2};
    answerWith(answerOf(kResult, {}));
    EXPECT_EQ(ConfCommMsgSynSendImpl("peer", rememberingHandler, 1, data.data(), 0, 1), kResult);
    EXPECT_EQ(scriptedMessages().synchronous.at(0).payload.size(), kOverhead);
    EXPECT_EQ(platform.count("memcpy_s"), 0U);

    // Without a buffer the area travels all the same, and nothing is copied back.
    answerWith(answerOf(kResult, {5, 5, 5}));
    EXPECT_EQ(ConfCommMsgSynSendImpl("peer", rememberingHandler, 1, nullptr, 3, 1), kResult);
    EXPECT_EQ(scriptedMessages().synchronous.at(1).payload, Payload(rememberingHandler, 1, {0, 0, 0}).bytes);
}

TEST_F(MessageTest, BadArgumentsSendNothing) {
    Bytes data(8);
    for (const auto& [send, name] : {SenderAndText{ConfCommMsgSynSendImpl, "ConfCommMsgSynSendImpl"},
                                     SenderAndText{ConfCommMsgSynSendImplHaveResp, "ConfCommMsgSynSendImplHaveResp"}}) {
        platform.reset();
        const auto fails = [&, call = send](const char* to, ConfCommMsgHandler handler, uint32_t length) {
            EXPECT_EQ(call(to, handler, 1, data.data(), length, 1), CONF_MSG_ERR_SEND);
        };
        fails(nullptr, rememberingHandler, 8);
        fails("peer", rememberingHandler, 0xFFFFFFFF - 23);
        EXPECT_EQ(platform.count("OsMemMallocSetCharMon"), 0U);
        fails("sixteen_chars___", rememberingHandler, 8);
        EXPECT_THAT(takeLogs(name), ElementsAre("Null ptr.", "Null ptr.", "ConfCommMsgSynSend strcpy_s fail"));
    }
    platform.reset();
    const auto send = ConfCommMsgAsynSend;
    EXPECT_THAT(Codes({send("peer", nullptr, 1, data.data(), 8), send("peer", rememberingHandler, 1, nullptr, 8),
                       send("peer", rememberingHandler, 1, data.data(), 0xFFFFFFFF),
                       send("sixteen_chars___", rememberingHandler, 1, data.data(), 8)}),
                Each(CONF_MSG_ERR_SEND));
    EXPECT_THAT(platform.logs(), IsEmpty());
    EXPECT_THAT(scriptedMessages().synchronous, IsEmpty());
    EXPECT_THAT(scriptedMessages().asynchronous, IsEmpty());
}

TEST_F(MessageTest, AnswerLongerThanTheBuffer) {
    Bytes data = {1, 2};
    answerWith(answerOf(kResult, {7, 7, 7}));
    EXPECT_EQ(ConfCommMsgSynSendImpl("peer", rememberingHandler, 1, data.data(), 2, 1), kResult);
    EXPECT_EQ(data, (Bytes{1, 2}));
    EXPECT_THAT(platform.logs(), IsEmpty());
    EXPECT_EQ(ConfCommMsgSynSendImplHaveResp("peer", rememberingHandler, 1, data.data(), 2, 1), CONF_MSG_ERR_SEND);
    EXPECT_EQ(ConfCommMsgSynSendImplHaveResp("peer", rememberingHandler, 1, data.data(), 0, 1), CONF_MSG_ERR_SEND);
    EXPECT_THAT(takeLogs("ConfCommMsgSynSendImplHaveResp"),
                ElementsAre("ConfCommMsgSynSend memcpy_s fail, ret:34 [2, 3]",
                            "ConfCommMsgSynSend memcpy_s fail, ret:34 [0, 3]"));
}

TEST_F(MessageTest, UnusableAnswersFailTheCall) {
    Bytes data = {1, 2};
    const auto claimsMore = Payload(nullptr, 0, {}).set(16, 2).bytes; // 24 bytes: room for 4 bytes of data
    answerWith(claimsMore);
    EXPECT_EQ(ConfCommMsgSynSendImpl("peer", rememberingHandler, 1, data.data(), 2, 1), 0U);
    // Data that nobody takes need not be there, nor spare bytes behind a header.
    answerWith(Payload(nullptr, 0, {}).set(8, 5).set(16, 8).bytes);
    EXPECT_EQ(ConfCommMsgSynSendImpl("peer", rememberingHandler, 1, nullptr, 8, 1), 5U);
    Bytes headerOnly = Payload(nullptr, 0, {}).set(8, 6).bytes;
    headerOnly.resize(20);
    answerWith(headerOnly);
    EXPECT_EQ(ConfCommMsgSynSendImpl("peer", rememberingHandler, 1, data.data(), 2, 1), 6U);
    data.assign(100, 1);
    for (const Bytes& answer : {Bytes(), Bytes(19), Payload(nullptr, 0, {}).set(16, 5).bytes}) {
        answerWith(answer);
        EXPECT_EQ(ConfCommMsgSynSendImpl("peer", rememberingHandler, 1, data.data(), 100, 1), CONF_MSG_ERR_SEND);
        EXPECT_EQ(ConfCommMsgSynSendImplHaveResp("peer", rememberingHandler, 1, data.data(), 100, 1),
                  CONF_MSG_ERR_SEND);
        EXPECT_THAT(takeLogs("ConfCommMsgSynSendImpl"),
                    ElementsAre("ConfCommMsgSynSend OsMsgSynSend fail 0x0 recvProcName peer.",
                                "1 [ConfCommMsgSynSendImplHaveResp]ConfCommMsgSynSend OsMsgSynSend fail 0x0 "
                                "recvTaskName peer."));
    }
    EXPECT_EQ(data, Bytes(100, 1));
    scriptedMessages().noAnswerRecord = true;
    platform.reset();
    EXPECT_EQ(ConfCommMsgSynSend("peer", rememberingHandler, 1, data.data(), 100), CONF_MSG_ERR_SEND);
    EXPECT_EQ(platform.count("OsMsgSynRespFree"), 1U);
}

TEST_F(MessageTest, AsynchronousCall) {
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

TEST_F(MessageTest, ReceivedCallRunsItsHandlerAndAnswersWhoeverWaits) {
    Payload payload(rememberingHandler, 12, {1, 2, 3});
    EXPECT_EQ(process(payload, 1, 0), 0U);
    EXPECT_EQ(platform.count("OsMsgSynSendResp"), 0U);
    EXPECT_EQ(fieldOf(payload.bytes, 8), kResult);
    EXPECT_EQ(handled.at(0).msgId, 12U);
    EXPECT_EQ(handled.at(0).data, (Bytes{1, 2, 3}));

    EXPECT_EQ(process(payload, 2, 1), 0U);
    const Bytes& response = scriptedMessages().responses.at(0);
    EXPECT_EQ(response.size(), 3 + kOverhead);
    EXPECT_EQ(fieldOf(response, 8), kResult);
    EXPECT_EQ(response[kDataOffset], 3); // raised by one in both runs

    Payload empty(rememberingHandler, 13, {});
    EXPECT_EQ(process(empty, 1, 2), 0U); // only 1 asks for an answer
    EXPECT_TRUE(handled.at(2).dataWasNull);
    EXPECT_EQ(scriptedMessages().responses.size(), 1U);
    EXPECT_THAT(platform.logs(), IsEmpty());
}

TEST_F(MessageTest, UnusableRecordsRunNothing) {
    Payload payload(rememberingHandler, 1, {1, 2, 3});
    EXPECT_EQ(ConfCommMsgProcess(nullptr), 1U);
    EXPECT_EQ(process(payload, 3, 1), 1U);
    OsMsgRecord record = {};
    record.kind = 1;
    record.payloadLength = 24;
    EXPECT_EQ(ConfCommMsgProcess(&record), CONF_MSG_ERR_PAYLOAD);
    Bytes bytes(24);
    record.payload = bytes.data();
    record.payloadLength = 23;
    EXPECT_EQ(ConfCommMsgProcess(&record), CONF_MSG_ERR_PAYLOAD);
    // Headers that claim more than there is: the last of the spare bytes is the last that can be data.
    EXPECT_EQ(process(payload.set(16, 8), 1, 1), CONF_MSG_ERR_PAYLOAD);
    EXPECT_THAT(handled, IsEmpty());
    EXPECT_EQ(process(payload.set(16, 7), 1, 0), 0U);
    Payload noHandler(nullptr, 1, {});
    EXPECT_EQ(process(noHandler, 1, 1), 1U);
    EXPECT_THAT(takeLogs("ConfCommMsgProcess"),
                ElementsAre("Null ptr.", "Null ptr.", "Check param fail! dataLen:23 invalid.",
                            "Check param fail! dataLen:8 invalid.", "Null ptr."));
    EXPECT_EQ(platform.count("OsMsgSynSendResp"), 0U);
}

TEST_F(MessageTest, RefusedSenderRunsNothing) {
    permitted = false;
    Payload payload(rememberingHandler, 1, {1});
    EXPECT_EQ(process(payload, 2, 1), CONF_MSG_ERR_PERMISSION);
    EXPECT_THAT(takeLogs(), ElementsAre("3 [ConfCommMsgProcess]Permission deny! MeetingProcessKeymMsg no permission: "
                                        "uid = 1000, msgid = 2."));
    EXPECT_THAT(handled, IsEmpty());
    // An unknown kind is not worth asking, a missing payload is.
    EXPECT_EQ(process(payload, 3, 1), 1U);
    OsMsgRecord record = {};
    record.kind = 1;
    EXPECT_EQ(ConfCommMsgProcess(&record), CONF_MSG_ERR_PERMISSION);
    EXPECT_EQ(platform.count("OsMsgSynSendResp"), 0U);
}

TEST_F(MessageTest, UnsentAnswerBlockIsFreedAndForgotten) {
    Payload payload(attachingHandler, 1, Bytes(80));
    platform.failNth("OsMsgSynSendResp", 1);
    EXPECT_EQ(process(payload, 2, 1), 0U);
    EXPECT_THAT(Bytes(payload.bytes.begin() + 92, payload.bytes.begin() + 100), Each(0));
    EXPECT_EQ(platform.count("OSMemTypeFreeMon"), 1U);

    // That of a plain call is left alone.
    platform.reset();
    platform.failNth("OsMsgSynSendResp", 1);
    EXPECT_EQ(process(payload, 1, 1), 0U);
    EXPECT_EQ(platform.count("OSMemTypeFreeMon"), 0U);
    void* block = nullptr;
    std::memcpy(&block, payload.bytes.data() + 92, sizeof block);
    OSMemTypeFreeMon(block, 0, 0, 1, "test");
    // So are data that are too short for a block.
    Payload shorter(rememberingHandler, 1, Bytes(79, 0xFF));
    platform.reset();
    platform.failNth("OsMsgSynSendResp", 1);
    EXPECT_EQ(process(shorter, 2, 1), 0U);
    EXPECT_EQ(platform.count("OSMemTypeFreeMon"), 0U);
}

} // namespace
} // namespace tarn::test

// Stands in for the library's rule, as a process with a rule of its own does.
bool ConfCommMsgCheckPermission(void) {
    return tarn::test::permitted;
}
