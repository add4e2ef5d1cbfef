// "tarnctl config watch": changes as they are committed, until a signal ends it. Ctrl-C is its ordinary end.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <new>

#include "config.h"
#include "item_text.h"
#include "json.h"
#include "protected_keys.h"
#include "tarn_host/host_config.h"

namespace tarnctl {
namespace {

bool isHidden(const ShowOptions& options, const TarnHostConfigChange& change) {
    return change.value != nullptr && !options.reveal && isProtected(change.key);
}

void printJson(const ShowOptions& options, const TarnHostConfigChange* changes, uint32_t count) {
    const Json array = makeArray();
    for (uint32_t i = 0; i < count; ++i) {
        Json change = makeObject();
        addMember(*change, "key", changes[i].key);
        if (isHidden(options, changes[i])) {
            addNull(*change, "value");
        } else if (changes[i].value != nullptr) {
            addMember(*change, "value", changes[i].value);
        }
        addElement(*array, std::move(change));
    }
    printLine(*array);
}

void printLines(const ShowOptions& options, const TarnHostConfigChange* changes, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        const std::string key = emphasised(keyText(changes[i].key));
        if (changes[i].value == nullptr) {
            std::printf("%s removed\n", key.c_str());
        } else {
            const std::string value = isHidden(options, changes[i]) ? kHidden : valueText(changes[i].value);
            std::printf("%s=%s\n", key.c_str(), value.c_str());
        }
    }
}

void giveUp() {
    kill(getpid(), SIGUSR1);
}

// When nobody reads any more, this ends as every other command does. The platform's threads hold all signals back.
void letBrokenPipeEnd() {
    sigset_t broken;
    sigemptyset(&broken);
    sigaddset(&broken, SIGPIPE);
    pthread_sigmask(SIG_UNBLOCK, &broken, nullptr);
}

void print(const TarnHostConfigChange* changes, uint32_t count, void* argument) {
    letBrokenPipeEnd();
    const auto& options = *static_cast<const ShowOptions*>(argument);
    try {
        options.json ? printJson(options, changes, count) : printLines(options, changes, count);
    } catch (const std::bad_alloc&) {
        complain(kFailed, "memory is out");
        giveUp();
        return;
    }
    if (finish() != kDone) {
        giveUp();
    }
}

int watch(ShowOptions& options) {
    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1}) {
        sigaddset(&ends, signal);
    }
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    TarnHostConfigWatch* running = nullptr;
    const uint32_t error = TarnHostConfigWatchStart(options.prefix.c_str(), print, &options, &running);
    if (error != 0) {
        return complainOf("cannot watch the configuration", error);
    }
    int signal = 0;
    sigwait(&ends, &signal);
    TarnHostConfigWatchStop(running);
    return signal == SIGUSR1 ? kFailed : kDone;
}

} // namespace

void addConfigWatch(Command config) {
    Command command =
        config.subcommand("watch", "Prints changes as they are written, until Ctrl-C; its exit code is then 0");
    const auto options =
        addShowOptions(command, "Print one JSON array a write; a removed key has no value, a protected value is null");
    command.runs([options] { return watch(*options); });
}

} // namespace tarnctl
