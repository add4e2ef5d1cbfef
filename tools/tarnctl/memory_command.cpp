// "tarnctl memory": the account of each process that receives messages, or the sites of one. A process is asked once,
// however many names it receives under.
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>

#include "command.h"
#include "item_text.h"
#include "json.h"
#include "receivers.h"
#include "tarn_host/host_memory.h"

namespace tarnctl {
namespace {

struct Options {
    std::string process;
    bool json = false;
    bool all = false;
    uint32_t waitMs = 2000;
};

struct Site {
    std::string place;
    TarnHostMemorySite counts;
};

struct Account {
    TarnHostReceiver receiver = {};
    uint32_t error = 0;
    TarnHostMemoryStatus status = {};
    std::vector<Site> sites;
};

Account readAccount(const TarnHostReceiver& receiver, const Options& options) {
    Account account;
    account.receiver = receiver;
    const auto keep = [](const TarnHostMemorySite* site, void* argument) {
        const std::string place = std::string(site->fileName) + ":" + std::to_string(site->line);
        static_cast<Account*>(argument)->sites.push_back({place, *site});
    };
    account.error = TarnHostMemoryOf(receiver.name, options.waitMs, &account.status, keep, &account);
    if (!options.all) {
        std::erase_if(account.sites, [](const Site& site) { return site.counts.liveBlocks == 0; });
    }
    return account;
}

std::string reasonText(uint32_t error) {
    return error == ETIMEDOUT ? "it is busy and does not answer" : std::strerror(static_cast<int>(error));
}

constexpr const char* kCounts = "%12" PRIu64 " %12" PRIu64 " %12" PRIu64 " %12" PRIu64;

template <typename Counts>
void printCounts(const Counts& counts) {
    std::printf(kCounts, counts.liveBytes, counts.liveBlocks, counts.peakBytes, counts.totalBlocks);
}

void printOverview(const std::vector<Account>& accounts) {
    std::printf("%s\n",
                emphasised("NAME                 PID   LIVE BYTES  LIVE BLOCKS   PEAK BYTES   ALL BLOCKS").c_str());
    for (const Account& account : accounts) {
        std::printf("%-15s %8u ", account.receiver.name, account.receiver.pid);
        if (account.error == 0) {
            printCounts(account.status);
        }
        std::printf("%s\n", account.error == 0 ? "" : (" (" + reasonText(account.error) + ")").c_str());
    }
}

void printSites(const Account& account) {
    std::printf("%s\n", emphasised("  LIVE BYTES  LIVE BLOCKS   PEAK BYTES   ALL BLOCKS  SITE").c_str());
    for (const Site& site : account.sites) {
        printCounts(site.counts);
        std::printf("  %s\n", valueText(site.place).c_str());
    }
    printCounts(account.status);
    std::printf("  all %" PRIu64 " sites\n", account.status.sites);
}

template <typename Counts>
void addCounts(cJSON& object, const Counts& counts) {
    addMember(object, "liveBytes", static_cast<double>(counts.liveBytes));
    addMember(object, "liveBlocks", static_cast<double>(counts.liveBlocks));
    addMember(object, "peakBytes", static_cast<double>(counts.peakBytes));
    addMember(object, "totalBlocks", static_cast<double>(counts.totalBlocks));
    addMember(object, "totalBytes", static_cast<double>(counts.totalBytes));
}

Json objectOf(const Account& account) {
    Json object = makeObject();
    addMember(*object, "name", account.receiver.name);
    addMember(*object, "pid", static_cast<double>(account.receiver.pid));
    if (account.error != 0) {
        addMember(*object, "error", reasonText(account.error));
        return object;
    }
    addCounts(*object, account.status);
    Json sites = makeArray();
    for (const Site& site : account.sites) {
        Json entry = makeObject();
        addMember(*entry, "site", site.place);
        addCounts(*entry, site.counts);
        addElement(*sites, std::move(entry));
    }
    addMember(*object, "sites", std::move(sites));
    return object;
}

int showOne(const std::vector<TarnHostReceiver>& receivers, const Options& options) {
    const auto found = std::find_if(receivers.begin(), receivers.end(),
                                    [&](const TarnHostReceiver& receiver) { return options.process == receiver.name; });
    if (found == receivers.end()) {
        return complain(kNotFound,
                        "no process receives as " + options.process + "; \"tarnctl ps\" lists those that do");
    }
    const Account account = readAccount(*found, options);
    if (account.error != 0) {
        return complain(kFailed, "cannot read the memory of " + options.process + ": " + reasonText(account.error));
    }
    options.json ? printText(*objectOf(account)) : printSites(account);
    return finish();
}

int showAll(const std::vector<TarnHostReceiver>& receivers, const Options& options) {
    std::vector<Account> accounts;
    std::set<uint32_t> asked;
    for (const TarnHostReceiver& receiver : receivers) {
        if (asked.insert(receiver.pid).second) {
            accounts.push_back(readAccount(receiver, options));
        }
    }
    if (options.json) {
        const Json array = makeArray();
        for (const Account& account : accounts) {
            addElement(*array, objectOf(account));
        }
        printText(*array);
    } else if (!accounts.empty()) {
        printOverview(accounts);
    }
    const int finished = finish();
    const bool isWhole =
        std::all_of(accounts.begin(), accounts.end(), [](const Account& account) { return account.error == 0; });
    return isWhole ? finished : kFailed;
}

int memory(const Options& options) {
    std::vector<TarnHostReceiver> receivers;
    const int read = readReceivers(receivers);
    if (read != kDone) {
        return read;
    }
    return options.process.empty() ? showAll(receivers, options) : showOne(receivers, options);
}

} // namespace

void addMemoryCommand(Command app) {
    Command command = app.subcommand(
        "memory", "Shows the accounted memory of the processes that receive messages, or the sites of one");
    auto options = std::make_shared<Options>();
    command.value("PROCESS", options->process, "Name under which it receives; then its live sites are shown");
    command.flag("--all", options->all, "Show sites without live blocks too");
    command.flag("--json", options->json, "Print a JSON array of the processes, or an object of the one");
    command.value("--wait", options->waitMs, "Milliseconds to wait for a process that is busy").showsDefault();
    command.runs([options] { return memory(*options); });
}

} // namespace tarnctl
