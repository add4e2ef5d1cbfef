// "tarnctl config set" and "unset".
#include <cerrno>
#include <iostream>
#include <memory>

#include "config.h"
#include "item_text.h"
#include "tarn_host/host_config.h"

namespace tarnctl {
namespace {

struct SetOptions {
    std::vector<std::string> words;
    bool fromInput = false;
};

int set(const SetOptions& options) {
    std::vector<Item> items;
    if (options.fromInput) {
        std::string value;
        if (options.words.size() != 1) {
            return complain(kUsage, "--stdin takes one KEY and no VALUE");
        }
        if (!std::getline(std::cin, value)) {
            return complain(kFailed, "there is no line on standard input to set " + keyText(options.words[0]) + " to");
        }
        if (value.find('\0') != std::string::npos) {
            return complain(kFailed, "the line on standard input holds a NUL byte, which no value can");
        }
        return writeItems({{options.words[0], value}});
    }
    if (options.words.size() % 2 != 0) {
        return complain(kUsage, "the key " + keyText(options.words.back()) + " has no value; give KEY VALUE pairs");
    }
    if (options.words.size() / 2 > kMostItems) {
        return complain(kUsage, std::to_string(options.words.size() / 2) + " pairs, more than the " +
                                    std::to_string(kMostItems) + " that one write takes; nothing was written");
    }
    for (size_t i = 0; i < options.words.size(); i += 2) {
        items.emplace_back(options.words[i], options.words[i + 1]);
    }
    return writeItems(items);
}

int unset(const std::vector<std::string>& keys) {
    int result = kDone;
    for (const std::string& key : keys) {
        const uint32_t error = TarnHostConfigRemove(key.c_str());
        if (error == ENOENT) {
            result = complain(kNotFound, "there is no key " + keyText(key) +
                                             "; \"tarnctl config list\" shows all (letter case matters)");
        } else if (error != 0) {
            return complainOf("cannot remove " + keyText(key), error);
        }
    }
    return result;
}

} // namespace

void addConfigSet(Command config) {
    Command command =
        config.subcommand("set",
                          "Writes values, all in one step; passwords are stored encrypted. Put -- before the first "
                          "KEY when a VALUE begins with -; negative numbers need none");
    auto options = std::make_shared<SetOptions>();
    command.value("KEY VALUE", options->words, "Pairs of a key, in its exact letter case, and its value").required();
    command.flag(
        "--stdin", options->fromInput,
        "Take the value of the one KEY from the first line of standard input, where no list of processes shows it");
    command.runs([options] { return set(*options); });
}

void addConfigUnset(Command config) {
    Command command = config.subcommand("unset", "Removes keys; when some are not there, the others, and ends with 3");
    auto keys = std::make_shared<std::vector<std::string>>();
    command.value("KEY", *keys, "The keys, in their exact letter case").required();
    command.runs([keys] { return unset(*keys); });
}

} // namespace tarnctl
