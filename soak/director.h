// Starts the processes of a soak run, keeps them busy, and kills one of them every few seconds.
#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include "account.h"
#include "tarn_host/host_launcher.h"
#include "worker.h"

namespace tarn::soak {

class Director {
 public:
    // `stopped` says that somebody wants the run to end early.
    Director(Account& account, unsigned seed, std::function<bool()> stopped);

    // False when not all processes came up.
    bool start();
    // Loads the processes for that long; `report` is called now and then with the seconds that are over.
    void work(std::chrono::seconds duration, const std::function<void(std::chrono::seconds)>& report);
    // Lets all of them rest and tell what they hold. False when one of them does not.
    bool rest();
    // False when a process did not end by itself with exit code 0, or one ended that nobody had killed.
    bool end();

    uint32_t kills() const { return kills_; }
    uint32_t certificateChanges() const { return certificateChanges_; }
    // CA files there are now.
    uint32_t caFiles() const { return certificateChanges_ % 2; }
    const std::string& trouble() const { return trouble_; }

 private:
    struct LauncherDestroy {
        void operator()(TarnHostLauncher* launcher) const { TarnHostLauncherDestroy(launcher); }
    };

    bool launch(size_t index);
    bool waitFor(const std::function<bool()>& condition);
    void beginEra(uint32_t killed);
    void killOne();
    void changeCertificates();
    bool complain(const std::string& trouble);

    Account& account_;
    std::mt19937 random_;
    std::function<bool()> stopped_;
    std::unique_ptr<TarnHostLauncher, LauncherDestroy> launcher_;
    std::array<WorkerPlace, kProcesses> places_;
    std::string certificate_;
    uint32_t kills_ = 0;
    uint32_t certificateChanges_ = 0;
    std::string trouble_;
};

} // namespace tarn::soak
