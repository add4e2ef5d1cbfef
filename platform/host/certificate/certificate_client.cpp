#include "certificate/certificate_client.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/fork_handlers.h"
#include "base/forked_child.h"
#include "base/host_directory.h"
#include "base/remake.h"
#include "base/report.h"
#include "base/service_thread.h"
#include "certificate/certificate_types.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/om_certificate.h"

namespace tarn::host {
namespace {

constexpr int kRetryMs = 1000;

void call(CertificateClient::Callback callback, size_t subject) {
    switch (subject) {
        case kSubjectCa:
            callback(OM_CERT_EVENT_CA, 0);
            return;
        case kSubjectCrl:
            callback(OM_CERT_EVENT_CRL, 0);
            return;
        default:
            callback(OM_CERT_EVENT_SERVICE, kCertificateTypes[subject].omType);
    }
}

// So that people find them, and so that the watch begins with all that exist.
int makeFolders() {
    std::string ignored;
    for (const char* folder : {"cert/ca", "cert/crl", "cert/service"}) {
        const int error = makeHostSubdirectory(folder, ignored);
        if (error != 0) {
            return error;
        }
    }
    return 0;
}

} // namespace

CertificateClient& CertificateClient::get() {
    static CertificateClient* const client = [] {
        std::unique_ptr<CertificateClient> made(new CertificateClient);
        // Without them a child would wait for a thread that it does not have.
        registerForkHandlers([] { get().mutex_.lock(); }, [] { get().mutex_.unlock(); },
                             [] { get().restartInChild(); });
        return made.release();
    }();
    return *client;
}

void CertificateClient::restartInChild() {
    ++epoch_;
    callback_ = nullptr;
    isInCallback_ = false;
    mustRetry_ = false;
    watch_.close();
    settler_.clear();
    remake(callbackOver_);
    remake(thread_);
    mutex_.unlock();
}

int CertificateClient::start() {
    const std::lock_guard lock(mutex_);
    if (thread_.joinable()) {
        return 0;
    }
    int error = makeFolders();
    error = error != 0 ? error : watch_.open();
    if (error == 0) {
        error = startServiceThread(thread_, "cert-changes", [this, epoch = epoch_] { run(epoch); });
    }
    if (error != 0) {
        watch_.close();
        const char* const root = TarnHostDir();
        report("changes of the certificates below %s/cert cannot be watched: %s", root == nullptr ? "?" : root,
               std::strerror(error));
    }
    return error;
}

void CertificateClient::setCallback(Callback callback) {
    std::unique_lock lock(mutex_);
    callback_ = callback;
    if (thread_.get_id() != std::this_thread::get_id()) {
        callbackOver_.wait(lock, [this] { return !isInCallback_; });
    }
}

void CertificateClient::run(uint64_t epoch) {
    while (true) {
        try {
            waitForChange();
        } catch (const std::bad_alloc&) {
            mustRetry_ = true; // What was told is lost; everything counts as changed then.
        }
        announceSettled(epoch);
    }
}

void CertificateClient::waitForChange() {
    const bool isTroubled = mustRetry_ || !watch_.isWhole();
    int timeout = isTroubled ? kRetryMs : -1;
    if (const auto end = settler_.nextEnd(); end.has_value()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - ChangeSettler::Time::clock::now());
        timeout = static_cast<int>(std::max<int64_t>(left.count(), 0));
    }
    pollfd readable = {watch_.descriptor(), POLLIN, 0};
    const int ready = poll(&readable, 1, timeout);
    if (ready > 0) {
        watch_.take(settler_);
    } else if (ready == 0 && isTroubled) {
        watch_.retry(settler_, mustRetry_);
        mustRetry_ = false;
    } else if (ready < 0 && errno != EINTR) {
        std::this_thread::sleep_for(std::chrono::milliseconds(kRetryMs)); // the kernel is short of memory
    }
}

void CertificateClient::leaveCallback(uint64_t epoch) const {
    if (epoch != epoch_) {
        endForkedChild("the callback for certificates");
    }
}

void CertificateClient::announceSettled(uint64_t epoch) {
    while (const auto subject = settler_.popSettled(ChangeSettler::Time::clock::now())) {
        std::unique_lock lock(mutex_);
        const Callback callback = callback_;
        if (callback == nullptr) {
            continue;
        }
        isInCallback_ = true;
        lock.unlock();
        call(callback, *subject);
        lock.lock();
        leaveCallback(epoch);
        isInCallback_ = false;
        callbackOver_.notify_all();
    }
}

} // namespace tarn::host
