#include "message/message_service.h"

#include <unistd.h>

#include "base/per_process.h"
#include "message/flusher.h"
#include "message/receiver.h"
#include "message/thread_connections.h"

namespace tarn::host {
MessageService::MessageService() : flusher(std::make_unique<Flusher>()) {}

void MessageService::startInChild() {
    for (size_t descriptor = 0; descriptor < inherited->descriptors.size(); descriptor++) {
        if (inherited->descriptors[descriptor]) {
            close(static_cast<int>(descriptor));
        }
    }
    forgetThreadConnections();
}

MessageService& messageService() {
    return PerProcess<MessageService>::get();
}

} // namespace tarn::host
