// tarn_soak: five processes under mixed load, one of them killed every few seconds, and an account of it. Exit code 0
// only when nothing was lost and nothing grew.
#include <errno.h>
#include <getopt.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>

#include "account.h"
#include "director.h"
#include "report.h"

namespace tarn::soak {
namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitInterrupted = 130;
constexpr uint32_t kDefaultSeconds = 300;
constexpr uint32_t kLongestSeconds = 4 * 60 * 60;
constexpr uint32_t kLongestWarmUp = 60;

constexpr const char* kUsage =
    "usage: tarn_soak [--seconds N] [--seed N] [--keep]\n"
    "\n"
    "Five processes call and notify each other, keep time, and follow the configuration and the certificates, while "
    "one\n"
    "of three is killed every few seconds and started again. At the end comes the account.\n"
    "\n"
    "  -s, --seconds N  how long they work, 5 to 14400; 300 without this\n"
    "      --seed N     who is killed when; without this, another one each time, and told\n"
    "  -k, --keep       leave the endpoint's directory behind, to look around in it\n"
    "  -h, --help       this text\n"
    "\n"
    "exit code: 0 nothing lost and nothing grown, 1 otherwise, 2 wrong usage, 130 interrupted (with the account)\n";

struct Options {
    uint32_t seconds = kDefaultSeconds;
    uint32_t seed = static_cast<uint32_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    bool keep = false;
};

std::atomic<bool> interrupted = false;

void onInterrupt(int) {
    interrupted = true;
}

// False, with a complaint, for what is no number between these.
bool parseNumber(const char* name, const char* text, uint32_t least, uint32_t most, uint32_t& number) {
    const char* const end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, number);
    if (error == std::errc() && rest == end && number >= least && number <= most) {
        return true;
    }
    std::fprintf(stderr, "tarn_soak: %s takes a number from %u to %u, not \"%s\"\n", name, least, most, text);
    return false;
}

// The exit code to end with at once, or -1 to go on.
int parse(int argc, char** argv, Options& options) {
    constexpr option kLong[] = {{"seconds", required_argument, nullptr, 's'},
                                {"seed", required_argument, nullptr, 'r'},
                                {"keep", no_argument, nullptr, 'k'},
                                {"help", no_argument, nullptr, 'h'},
                                {nullptr, 0, nullptr, 0}};
    bool understood = true;
    for (int opt = 0; (opt = getopt_long(argc, argv, "s:kh", kLong, nullptr)) != -1;) {
        switch (opt) {
            case 's':
                understood = parseNumber("--seconds", optarg, 5, kLongestSeconds, options.seconds) && understood;
                break;
            case 'r':
                understood = parseNumber("--seed", optarg, 0, UINT32_MAX, options.seed) && understood;
                break;
            case 'k':
                options.keep = true;
                break;
            case 'h':
                return std::fputs(kUsage, stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : kExitFailed;
            default:
                understood = false;
        }
    }
    if (understood && optind < argc) {
        std::fprintf(stderr, "tarn_soak: what is \"%s\"?\n", argv[optind]);
        understood = false;
    }
    if (!understood) {
        std::fprintf(stderr, "\n%s", kUsage);
        return kExitUsage;
    }
    return -1;
}

void reportProgress(const Account& account, const Director& director, std::chrono::seconds over, uint32_t seconds) {
    if (isatty(STDERR_FILENO) != 0) {
        uint64_t answered = 0;
        for (const ProcessAccount& process : account.processes) {
            answered += process.answered;
        }
        std::fprintf(stderr, "\r%lld of %u s, %llu calls answered, %u kills ", static_cast<long long>(over.count()),
                     seconds, static_cast<unsigned long long>(answered), director.kills());
    }
}

int run(const Options& options) {
    Account* const account = makeAccount();
    if (account == nullptr) {
        std::fputs("tarn_soak: no memory for the account\n", stderr);
        return kExitFailed;
    }
    std::printf("five processes for %u s; seed %u\n", options.seconds, options.seed);
    std::fflush(stdout);
    Director director(*account, options.seed, [] { return interrupted.load(); });
    const uint32_t warmUp = std::min(options.seconds / 3, kLongestWarmUp);
    const auto begin = std::chrono::steady_clock::now();
    const auto report = [&](std::chrono::seconds over) { reportProgress(*account, director, over, options.seconds); };

    bool good = director.start();
    HoldingsOfAll warm = {};
    if (good) {
        director.work(std::chrono::seconds(warmUp), report);
        good = director.rest();
        warm = holdingsOf(*account);
    }
    if (good) {
        director.work(std::chrono::seconds(options.seconds - warmUp), report);
        good = director.rest();
    }
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin).count();
    good = director.end() && good && director.trouble().empty();
    good = printReport(
               *account, warm,
               {director.caFiles(), director.kills(), director.certificateChanges(), static_cast<uint64_t>(seconds)}) &&
           good;
    if (!director.trouble().empty()) {
        std::printf("  FAILED  %s\n", director.trouble().c_str());
    }
    if (interrupted) {
        return kExitInterrupted;
    }
    return good ? 0 : kExitFailed;
}

// The allocator counts what its caches keep as used, which would feign a growth: the program starts itself anew without
// them, unless somebody has tuned the allocator already.
void disableAllocatorCaches(char** argv) {
    if (getenv("GLIBC_TUNABLES") == nullptr && setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0", 1) == 0) {
        execv("/proc/self/exe", argv);
        std::fprintf(stderr, "tarn_soak: cannot start itself without the allocator's caches: %s\n",
                     std::strerror(errno));
    }
}

// Runs below a directory of its own, removed at the end unless it is to be kept.
int runInDirectory(const Options& options) {
    std::string directory = (std::filesystem::temp_directory_path() / "tarn-soak-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) {
        std::fprintf(stderr, "tarn_soak: cannot make the directory %s: %s\n", directory.c_str(), std::strerror(errno));
        return kExitFailed;
    }
    setenv("TARN_HOST_DIR", directory.c_str(), 1);
    const int exitCode = run(options);
    if (options.keep) {
        std::printf("everything of it stands below %s\n", directory.c_str());
    } else {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }
    return exitCode;
}

void catchInterrupts() {
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(signal, &action, nullptr);
    }
}

} // namespace
} // namespace tarn::soak

int main(int argc, char** argv) {
    using namespace tarn::soak;
    try {
        Options options;
        const int ended = parse(argc, argv, options);
        if (ended >= 0) {
            return ended;
        }
        disableAllocatorCaches(argv);
        catchInterrupts();
        return runInDirectory(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarn_soak: %s\n", error.what());
        return kExitFailed;
    }
}
