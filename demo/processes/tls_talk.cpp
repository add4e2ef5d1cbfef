#include "processes/tls_talk.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>

namespace tarn::demo {
namespace {

constexpr timeval kPatience = {5, 0};

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A side that waits for one that says nothing gives up after a while.
Descriptor patient(int descriptor) {
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
    return Descriptor(descriptor);
}

// The finding about the other side's certificate if there is one, else what OpenSSL says.
std::string reasonOf(const SSL& connection) {
    const long finding = SSL_get_verify_result(&connection);
    if (finding != X509_V_OK) {
        return X509_verify_cert_error_string(finding);
    }
    const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
    return reason == nullptr ? "the other side is gone" : reason;
}

std::string subjectOfPeer(const SSL& connection) {
    const X509* const certificate = SSL_get0_peer_certificate(&connection);
    std::array<char, 128> subject = {};
    if (certificate != nullptr) {
        X509_NAME_oneline(X509_get_subject_name(certificate), subject.data(), static_cast<int>(subject.size()));
    }
    return subject.data();
}

bool say(SSL& connection, const std::string& line) {
    return SSL_write(&connection, line.data(), static_cast<int>(line.size())) > 0;
}

// One write of the other side arrives as one record.
std::string hear(SSL& connection) {
    std::array<char, 256> record;
    const int length = SSL_read(&connection, record.data(), static_cast<int>(record.size()));
    return {record.data(), static_cast<size_t>(std::max(length, 0))};
}

TlsTalk begin(SSL_CTX& context, const Descriptor& socket, int (*handshake)(SSL*), TlsConnection& connection) {
    ERR_clear_error();
    connection.reset(SSL_new(&context));
    TlsTalk talk;
    if (connection == nullptr || SSL_set_fd(connection.get(), socket.get()) != 1 || handshake(connection.get()) != 1) {
        talk.reason = connection == nullptr ? "no memory" : reasonOf(*connection);
        ERR_clear_error();
        return talk;
    }
    talk.protocol = std::string(SSL_get_version(connection.get())) + " " + SSL_get_cipher_name(connection.get());
    talk.peer = subjectOfPeer(*connection);
    return talk;
}

} // namespace

TlsContext makeTlsContext(const SSL_METHOD* method) {
    TlsContext context(SSL_CTX_new(method), SSL_CTX_free);
    if (context != nullptr && SSL_CTX_set_min_proto_version(context.get(), TLS1_3_VERSION) != 1) {
        context.reset();
    }
    return context;
}

Descriptor listenOnLoopback(uint16_t& port) {
    Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        listen(listener.get(), 1) != 0 ||
        getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return Descriptor();
    }
    port = ntohs(address.sin_port);
    return listener;
}

Descriptor acceptOne(const Descriptor& listener, std::chrono::milliseconds timeout) {
    pollfd waiting = {listener.get(), POLLIN, 0};
    const bool isAsked = poll(&waiting, 1, static_cast<int>(timeout.count())) == 1;
    return patient(isAsked ? accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC) : -1);
}

Descriptor connectToLoopback(uint16_t port) {
    Descriptor connection = patient(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address = loopback(port);
    if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return Descriptor();
    }
    return connection;
}

// Nothing is written after the farewell, so that the client can go as soon as it has read that.
TlsTalk serveTalk(SSL_CTX& context, const Descriptor& socket, const std::string& answer) {
    TlsConnection connection;
    TlsTalk talk = begin(context, socket, SSL_accept, connection);
    if (talk.protocol.empty()) {
        return talk;
    }
    talk.heard = hear(*connection);
    talk.succeeded = !talk.heard.empty() && say(*connection, answer) && SSL_shutdown(connection.get()) >= 0;
    return talk;
}

TlsTalk visitTalk(SSL_CTX& context, const Descriptor& socket, const std::string& line) {
    TlsConnection connection;
    TlsTalk talk = begin(context, socket, SSL_connect, connection);
    if (talk.protocol.empty()) {
        return talk;
    }
    talk.heard = say(*connection, line) ? hear(*connection) : "";
    const bool isFarewell = hear(*connection).empty() && SSL_get_shutdown(connection.get()) == SSL_RECEIVED_SHUTDOWN;
    talk.succeeded = !talk.heard.empty() && isFarewell;
    return talk;
}

} // namespace tarn::demo
