// One short conversation over TLS 1.3 on a loopback connection: the client says a line, the server answers with one.
#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "link/process_link.h"

namespace tarn::demo {

template <auto Free>
struct OpensslFree {
    template <typename Handle>
    void operator()(Handle* handle) const {
        Free(handle);
    }
};

using TlsContext = std::shared_ptr<SSL_CTX>;
using TlsConnection = std::unique_ptr<SSL, OpensslFree<SSL_free>>;

// For TLS 1.3 and nothing older. Null without memory.
TlsContext makeTlsContext(const SSL_METHOD* method);

// Listens on a free port, whose number it gives. Neither this nor the others throw: a descriptor below 0 tells.
Descriptor listenOnLoopback(uint16_t& port);
Descriptor acceptOne(const Descriptor& listener, std::chrono::milliseconds timeout);
Descriptor connectToLoopback(uint16_t port);

// What one side has of a conversation.
struct TlsTalk {
    bool succeeded = false;
    std::string heard;  // what the other side said
    std::string reason; // why there was none
    std::string protocol;
    std::string peer; // subject of the certificate that the other side showed
};

TlsTalk serveTalk(SSL_CTX& context, const Descriptor& socket, const std::string& answer);
TlsTalk visitTalk(SSL_CTX& context, const Descriptor& socket, const std::string& line);

} // namespace tarn::demo
