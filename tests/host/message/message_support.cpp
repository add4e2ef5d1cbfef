#include "message/message_support.h"

namespace message_test {

void obey(OsMsgRecord* record) {
    static Numbers remembered;
    const auto answer = [record](uint32_t number) { OsMsgSynSendResp(record, &number, sizeof number); };
    Order order = {kEcho, 0};
    if (record->payloadLength >= sizeof order) {
        std::memcpy(&order, record->payload, sizeof order);
    }
    switch (order.command) {
        case kSleepThenEcho:
            std::this_thread::sleep_for(std::chrono::milliseconds(order.argument));
            [[fallthrough]];
        case kEcho:
            OsMsgSynSendResp(record, record->payload, record->payloadLength);
            return;
        case kDie:
            raise(SIGKILL);
            return;
        case kRemember:
            return remembered.push_back(order.argument);
        case kRecall:
            OsMsgSynSendResp(record, remembered.data(), static_cast<uint32_t>(remembered.size() * sizeof(uint32_t)));
            remembered.clear();
            return;
        case kCallSelf:
            return answer(call(record->receiverName, message_test::order(kEcho)).code);
        case kStop:
            return answer(OsMsgReceiverStop(record->receiverName));
        default: // kKeepSilent
            return;
    }
}

Bytes order(Command command, uint32_t argument, size_t size) {
    const Order head = {command, argument};
    Bytes bytes(std::max(size, sizeof head));
    // Cheap, and shifted or repeated pieces still show.
    for (size_t i = 0; i + sizeof i <= bytes.size(); i += 1000) {
        std::memcpy(bytes.data() + i, &i, sizeof i);
    }
    std::memcpy(bytes.data(), &head, sizeof head);
    return bytes;
}

uint32_t Result::number() const {
    uint32_t number = 0xDEADBEEF;
    std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof number));
    return number;
}

OsMsgRecord makeRecord(const std::string& receiver, Bytes& payload, uint32_t kind) {
    OsMsgRecord record = {};
    record.kind = kind;
    std::strcpy(record.senderName, "tester");
    receiver.copy(record.receiverName, sizeof record.receiverName);
    record.payload = payload.empty() ? nullptr : payload.data();
    record.payloadLength = static_cast<uint32_t>(payload.size());
    return record;
}

Result call(const std::string& receiver, Bytes payload, uint32_t timeoutMs, uint32_t kind) {
    OsMsgRecord record = makeRecord(receiver, payload, kind);
    OsMsgRecord* answer = &record;
    Result result = {OsMsgSynSend(&record, &answer, timeoutMs), {}, {}};
    EXPECT_EQ(result.code == 0, answer != nullptr);
    if (answer != nullptr) {
        const auto* const start = static_cast<const uint8_t*>(answer->payload);
        result.bytes.assign(start, start + answer->payloadLength);
        result.answer = *answer;
    }
    OsMsgSynRespFree(answer);
    return result;
}

uint32_t post(const std::string& receiver, Bytes payload) {
    const OsMsgRecord record = makeRecord(receiver, payload);
    return OsMsgAsynSend(&record);
}

uint32_t remember(const std::string& receiver, uint32_t number, size_t size) {
    return post(receiver, order(kRemember, number, size));
}

Numbers recall(const std::string& receiver) {
    const Result result = call(receiver, order(kRecall));
    EXPECT_EQ(result.code, 0U);
    Numbers numbers(result.bytes.size() / sizeof(uint32_t));
    std::copy_n(result.bytes.begin(), result.bytes.size(), reinterpret_cast<uint8_t*>(numbers.data()));
    return numbers;
}

std::string messageFile(const std::string& name) {
    return std::string(TarnHostDir()) + "/msg/" + name;
}

} // namespace message_test
