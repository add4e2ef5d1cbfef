// Asking a process for its account. The asking process may be any program of the same user: no handler's address goes
// over the connection, so it does not introduce itself.
#include "base/guarded.h"
#include "memory/account_code.h"
#include "message/address.h"
#include "message/outgoing_connection.h"
#include "message/receiver.h"
#include "tarn_host/host_memory.h"

namespace tarn::host {
namespace {

uint32_t askForAccount(const char* receiver, const Deadline& deadline, Account& account) {
    std::shared_ptr<OutgoingConnection> connection;
    int error = OutgoingConnection::open(receiver, &deadline, connection);
    if (error != 0) {
        return static_cast<uint32_t>(error);
    }
    FrameHeader header;
    header.type = FrameType::kAccount;
    Answer answer;
    error = connection->ask(header, deadline, answer);
    if (error != 0) {
        // Closed without a byte: it ended, or does not know the question.
        return error == kNothingSent ? uint32_t{ECONNRESET} : static_cast<uint32_t>(error);
    }
    std::optional<Account> decoded = decodeAccount(answer.payload);
    if (!decoded) {
        return EPROTO;
    }
    account = std::move(*decoded);
    return 0;
}

} // namespace
} // namespace tarn::host

uint32_t TarnHostMemoryOf(const char* receiver, uint32_t timeoutMs, TarnHostMemoryStatus* status,
                          TarnHostMemoryVisitFunc visit, void* argument) {
    using namespace tarn::host;
    if (receiver == nullptr || status == nullptr || !validReceiverName(receiver)) {
        return EINVAL;
    }
    if (Receiver::current() != nullptr && Receiver::current()->name() == receiver) {
        return EDEADLK;
    }
    return guarded([&]() -> uint32_t {
        Account account;
        const uint32_t error = askForAccount(receiver, Deadline(timeoutMs), account);
        if (error != 0) {
            return error;
        }
        *status = account.status;
        for (size_t i = 0; visit != nullptr && i < account.sites.size(); ++i) {
            account.sites[i].fileName = account.names[i].c_str();
            visit(&account.sites[i], argument);
        }
        return 0;
    });
}
