#include "receivers.h"

#include "command.h"
#include "tarn_host/host_process.h"

namespace tarnctl {

// A few more than were counted may have started since; then it counts again.
int readReceivers(std::vector<TarnHostReceiver>& receivers) {
    if (TarnHostDir() == nullptr) {
        return kFailed; // It has said why.
    }
    uint32_t count = 16;
    uint32_t error = 0;
    do {
        receivers.resize(count);
        error = TarnHostReceiverList(receivers.data(), static_cast<uint32_t>(receivers.size()), &count);
    } while (error == 0 && count > receivers.size());
    receivers.resize(error == 0 ? count : 0);
    return error == 0 ? kDone : complainOf("cannot list the receivers", error);
}

} // namespace tarnctl
