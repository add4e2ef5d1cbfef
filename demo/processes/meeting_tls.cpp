// The meeting service as a TLS server. It keeps the context of a type until it hears that the certificate changed.
#include <future>
#include <map>
#include <mutex>

#include "processes/certificates.h"
#include "processes/handlers.h"
#include "processes/tls_talk.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_tls.h"

namespace tarn::demo {
namespace {

constexpr uint32_t kTimeoutMs = 5000;
constexpr const char* kAnswer = "meeting: conference 77 has 25 participants";

std::mutex contextsMutex;
std::map<uint32_t, TlsContext> contexts; // by the type of their certificate

// The kept context of a type, or a new one; null when the library cannot fill it.
TlsContext contextOf(uint32_t type) {
    const std::lock_guard lock(contextsMutex);
    TlsContext& kept = contexts[type];
    if (kept == nullptr) {
        const TlsContext fresh = makeTlsContext(TLS_server_method());
        if (fresh != nullptr && ConfLoadServerCert(fresh.get(), type) == 0) {
            kept = fresh;
        }
    }
    return kept;
}

} // namespace

// The change of a type with a key part does not tell which of the two it was.
void forgetTlsContexts(uint32_t change) {
    const std::lock_guard lock(contextsMutex);
    if (change == 0) {
        contexts.erase(0);
        return;
    }
    contexts.erase(2);
    contexts.erase(3);
}

Reply talkOverTls(const Arguments& arguments) {
    const TlsContext context = contextOf(number(arguments, 0));
    uint16_t port = 0;
    const Descriptor listener = listenOnLoopback(port);
    if (context == nullptr || listener.get() < 0) {
        return {{"error", context == nullptr ? "no certificate" : "no socket"}};
    }
    std::future<TlsTalk> serving = std::async(std::launch::async, [&] {
        const Descriptor connection = acceptOne(listener, std::chrono::milliseconds(kTimeoutMs));
        return serveTalk(*context, connection, kAnswer);
    });
    TlsVisit visit = {};
    visit.port = port;
    const uint32_t called =
        ConfCommMsgSynSendImpl(kMedia, visitOverTls, kMsgTlsVisit, &visit, sizeof visit, kTimeoutMs);
    const TlsTalk served = serving.get();
    return {{"call", std::to_string(called)},
            {"talked", served.succeeded && visit.succeeded != 0 ? "1" : "0"},
            {"ca-files", std::to_string(visit.caFiles)},
            {"protocol", visit.protocol.data()},
            {"peer", visit.peer.data()},
            {"outcome", visit.outcome.data()},
            {"heard", served.heard},
            {"server-reason", served.reason}};
}

} // namespace tarn::demo
