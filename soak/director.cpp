#include "director.h"

#include <signal.h>

#include <cstring>
#include <thread>

#include "certificate.h"
#include "tarn_host/host_certificate.h"

namespace tarn::soak {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kPatience = 30s;
constexpr auto kEra = 1s;
constexpr auto kSettling = 2s;
constexpr uint32_t kErasPerKill = 3; // with quiet ones between, so that each event has one kill at most to blame
constexpr uint32_t kGraceMs = 5000;

} // namespace

Director::Director(Account& account, unsigned seed, std::function<bool()> stopped)
    : account_(account), random_(seed), stopped_(std::move(stopped)), launcher_(TarnHostLauncherCreate()) {
    for (size_t i = 0; i < kProcesses; ++i) {
        places_[i] = {&account_, i};
    }
}

bool Director::complain(const std::string& trouble) {
    if (trouble_.empty()) {
        trouble_ = trouble;
    }
    return false;
}

bool Director::waitFor(const std::function<bool()>& condition) {
    const auto end = Clock::now() + kPatience;
    while (!condition() && Clock::now() < end) {
        std::this_thread::sleep_for(5ms);
    }
    return condition();
}

bool Director::launch(size_t index) {
    const TarnHostProcess process = {kNames[index], runWorker, &places_[index]};
    const ProcessAccount& started = account_.processes[index];
    const uint32_t startsBefore = started.starts;
    if (TarnHostLauncherStart(launcher_.get(), &process) != 0 ||
        !waitFor([&] { return started.starts != startsBefore; })) {
        return complain(std::string(kNames[index]) + " does not come up");
    }
    return true;
}

bool Director::start() {
    certificate_ = makeCaCertificate();
    if (launcher_ == nullptr || certificate_.empty()) {
        return complain("no memory for the launcher or the certificate");
    }
    // All at once, so that each finds the others soon.
    for (size_t i = 0; i < kProcesses; ++i) {
        const TarnHostProcess process = {kNames[i], runWorker, &places_[i]};
        if (TarnHostLauncherStart(launcher_.get(), &process) != 0) {
            return complain(std::string(kNames[i]) + " cannot be started");
        }
    }
    for (const ProcessAccount& process : account_.processes) {
        if (!waitFor([&] { return process.isUp != 0; })) {
            return complain("not all processes come up");
        }
    }
    return true;
}

// The order of the three matters to a process that wonders why a message of its own failed.
void Director::beginEra(uint32_t killed) {
    const uint32_t next = account_.era + 1;
    account_.killedAtStart[next] = killed;
    if (killed != kNobody) {
        account_.processes[killed].isUp = 0;
    }
    account_.era = next;
}

void Director::killOne() {
    const size_t victim = kSurvivors + random_() % (kProcesses - kSurvivors);
    TarnHostProcessState state = {};
    if (TarnHostLauncherState(launcher_.get(), kNames[victim], &state) != 0 || state.running == 0) {
        complain(std::string(kNames[victim]) + " has ended by itself");
        return;
    }
    beginEra(static_cast<uint32_t>(victim));
    kill(static_cast<pid_t>(state.pid), SIGKILL);
    ++kills_;
    TarnHostProcessState ended = {};
    if (TarnHostLauncherWait(launcher_.get(), kGraceMs, &ended) != 0 || std::strcmp(ended.name, kNames[victim]) != 0 ||
        ended.signal != SIGKILL) {
        complain(std::string(ended.name) + " has ended, which nobody had killed");
        return;
    }
    launch(victim);
}

void Director::changeCertificates() {
    uint32_t result = 0;
    if (caFiles() == 0) {
        result = TarnHostCertAddCa(certificate_.data(), static_cast<uint32_t>(certificate_.size()), nullptr);
    } else {
        std::string name;
        result = TarnHostCertList(
            [](const TarnHostCertFacts* facts, void* context) {
                if (facts->kind == TARN_HOST_CERT_CA) {
                    *static_cast<std::string*>(context) = facts->name;
                }
            },
            &name);
        result = result != 0 ? result : TarnHostCertRemoveCa(name.c_str());
    }
    if (result != 0) {
        complain("the CA certificate cannot be changed: " + std::string(std::strerror(static_cast<int>(result))));
        return;
    }
    ++certificateChanges_;
}

void Director::work(std::chrono::seconds duration, const std::function<void(std::chrono::seconds)>& report) {
    account_.order = Order::kWork;
    const auto begin = Clock::now();
    uint32_t eras = 0;
    while (Clock::now() - begin < duration && !stopped_() && trouble_.empty() && account_.era + 4 < kEras) {
        std::this_thread::sleep_for(kEra);
        ++eras;
        if (eras % kErasPerKill == 0) {
            killOne();
        } else {
            beginEra(kNobody);
        }
        changeCertificates();
        report(std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin));
    }
    // Whoever was started last has everybody's connection again and has its own, as at every other rest.
    beginEra(kNobody);
    std::this_thread::sleep_for(kSettling);
}

bool Director::rest() {
    std::array<uint32_t, kProcesses> before;
    for (size_t i = 0; i < kProcesses; ++i) {
        before[i] = account_.processes[i].resting;
    }
    ++account_.rests;
    account_.order = Order::kRest;
    for (size_t i = 0; i < kProcesses; ++i) {
        if (!waitFor([&] { return account_.processes[i].resting != before[i]; })) {
            return complain(std::string(kNames[i]) + " does not come to rest");
        }
    }
    return true;
}

bool Director::end() {
    account_.order = Order::kEnd;
    for (size_t i = 0; i < kProcesses; ++i) {
        TarnHostProcessState ended = {};
        if (TarnHostLauncherWait(launcher_.get(), kGraceMs, &ended) != 0) {
            return complain("not all processes end when they are asked to");
        }
        if (ended.exitCode != 0 || ended.signal != 0) {
            return complain(std::string(ended.name) + " ends with exit code " + std::to_string(ended.exitCode) +
                            ", signal " + std::to_string(ended.signal));
        }
    }
    return true;
}

} // namespace tarn::soak
