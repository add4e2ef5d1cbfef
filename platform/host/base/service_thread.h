// Starts the threads of the services: they take no signal and carry a name that a person finds in a list.
#pragma once

#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <new>
#include <string>
#include <system_error>
#include <thread>

namespace tarn::host {

// Blocks all signals in the calling thread, and in those that it starts meanwhile.
class AllSignalsBlocked {
 public:
    AllSignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &old_);
    }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked(AllSignalsBlocked&&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(AllSignalsBlocked&&) = delete;
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &old_, nullptr); }

 private:
    sigset_t old_;
};

// 0 or an errno.
template <typename Body>
int startServiceThread(std::thread& thread, const std::string& name, Body body) {
    const AllSignalsBlocked blocked;
    try {
        const std::string shown = name.substr(0, 15);
        thread = std::thread(std::move(body));
        pthread_setname_np(thread.native_handle(), shown.c_str());
        return 0;
    } catch (const std::system_error& failure) {
        return failure.code().value();
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

} // namespace tarn::host
