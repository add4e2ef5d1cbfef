// Tells this process what changed in the certificate folders, on one thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "certificate/change_settler.h"
#include "certificate/folder_watch.h"

namespace tarn::host {

// One a process, never destroyed: its thread may outlive `main`. Results are errno values.
class CertificateClient {
 public:
    using Callback = void (*)(uint32_t event, uint32_t omType);

    static CertificateClient& get();

    // Watches from now on; a second call changes nothing.
    int start();
    // Null for none. The callback before is not running any more on return, unless it is the caller.
    void setCallback(Callback callback);

 private:
    CertificateClient() = default;
    void restartInChild();

    void run(uint64_t epoch);
    void waitForChange();
    void announceSettled(uint64_t epoch);
    void leaveCallback(uint64_t epoch) const;

    std::mutex mutex_; // guards what several threads use; not held while a callback runs
    std::condition_variable callbackOver_;
    Callback callback_ = nullptr;
    bool isInCallback_ = false;
    uint64_t epoch_ = 0; // of the thread; one that finds another than its own has been left behind by a fork
    std::thread thread_;
    // The thread's own, once it runs.
    FolderWatch watch_;
    ChangeSettler settler_;
    bool mustRetry_ = false;
};

} // namespace tarn::host
