// Starts the threads of the services: they take no signal and carry a name that a person finds in a list.
#pragma once

#include <pthread.h>
#include <signal.h>

#include <string>
#include <system_error>
#include <thread>

namespace tarn::host {

// 0 or an errno.
template <typename Body>
int startServiceThread(std::thread& thread, const std::string& name, Body body) {
    sigset_t all;
    sigset_t old;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &old);
    int error = 0;
    try {
        thread = std::thread(std::move(body));
        pthread_setname_np(thread.native_handle(), name.substr(0, 15).c_str());
    } catch (const std::system_error& failure) {
        error = failure.code().value();
    }
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    return error;
}

} // namespace tarn::host
