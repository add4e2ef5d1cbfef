#include "message/message_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <thread>

namespace message_test {
namespace {

std::vector<uint32_t> remembered;

void answer(const OsMsgRecord* record, const void* data, size_t size) {
    OsMsgSynSendResp(record, data, static_cast<uint32_t>(size));
}

void answerNumber(const OsMsgRecord* record, uint32_t number) {
    answer(record, &number, sizeof number);
}

} // namespace

Child::Child(const std::function<bool()>& body) {
    int ready[2];
    if (pipe(ready) != 0) {
        ADD_FAILURE() << "no pipe";
        return;
    }
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        close(ready[0]);
        if (!body() || write(ready[1], "r", 1) != 1) {
            _exit(1);
        }
        while (getppid() == parent) {
            usleep(100000);
        }
        _exit(0);
    }
    close(ready[1]);
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1) << "the child process failed";
    close(ready[0]);
}

Child::~Child() {
    end();
}

void Child::end() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

int runForked(const std::function<int()>& body) {
    const pid_t pid = fork();
    if (pid == 0) {
        // Through exit, as a normal process ends.
        std::exit(body());
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void obey(OsMsgRecord* record) {
    Order order = {};
    if (record->payloadLength < sizeof order) {
        answer(record, record->payload, record->payloadLength);
        return;
    }
    std::memcpy(&order, record->payload, sizeof order);
    switch (order.command) {
        case kEcho:
            answer(record, record->payload, record->payloadLength);
            break;
        case kSleepThenEcho:
            std::this_thread::sleep_for(std::chrono::milliseconds(order.argument));
            answer(record, record->payload, record->payloadLength);
            break;
        case kDie:
            raise(SIGKILL);
            break;
        case kRemember:
            remembered.push_back(order.argument);
            break;
        case kRecall:
            answer(record, remembered.data(), remembered.size() * sizeof(uint32_t));
            remembered.clear();
            break;
        case kAnswerTwice:
            answer(record, record->payload, record->payloadLength);
            // Told with the next call.
            remembered.assign(1, OsMsgSynSendResp(record, record->payload, record->payloadLength));
            break;
        case kCallSelf:
            answerNumber(record, call(record->receiverName, message_test::order(kEcho)).code);
            break;
        case kStop:
            answerNumber(record, OsMsgReceiverStop(record->receiverName));
            break;
        default:
            break;
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

Bytes Result::bytes() const {
    if (answer == nullptr || answer->payload == nullptr) {
        return {};
    }
    const auto* start = static_cast<const uint8_t*>(answer->payload);
    return Bytes(start, start + answer->payloadLength);
}

uint32_t Result::number() const {
    uint32_t number = 0xDEADBEEF;
    const Bytes all = bytes();
    std::memcpy(&number, all.data(), std::min(all.size(), sizeof number));
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
    const uint32_t code = OsMsgSynSend(&record, &answer, timeoutMs);
    EXPECT_EQ(code == 0, answer != nullptr);
    return {code, AnswerPointer(answer)};
}

uint32_t post(const std::string& receiver, Bytes payload) {
    const OsMsgRecord record = makeRecord(receiver, payload);
    return OsMsgAsynSend(&record);
}

} // namespace message_test
