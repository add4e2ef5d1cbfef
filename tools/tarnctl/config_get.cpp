// "tarnctl config get": one key gives its bare value, several give lines.
#include <cerrno>
#include <cstdio>
#include <memory>

#include "config.h"
#include "item_text.h"
#include "json.h"
#include "protected_keys.h"
#include "tarn_platform/om_config.h"

namespace tarnctl {
namespace {

struct Options {
    std::vector<std::string> keys;
    bool json = false;
    bool reveal = false;
};

// An exit code; kNotFound, with a complaint, for a key that is not held.
int read(const std::string& key, std::string& value) {
    ConfConfigOmRecord record = {};
    uint32_t error = TarnOmConfigcopyStr2Key(&record.key, key.c_str());
    if (error != 0 || key.empty()) {
        return complain(kFailed, "the key \"" + keyText(key) + "\" must have 1 to 127 bytes");
    }
    error = TarnOmConfigStringGet(&record);
    if (error == ENOENT) {
        return complain(
            kNotFound, "there is no key " + keyText(key) + "; \"tarnctl config list\" shows all (letter case matters)");
    }
    if (error != 0) {
        return complainOf("cannot read " + keyText(key), error);
    }
    value = record.value.text;
    return kDone;
}

void show(const Options& options, const std::string& key, const std::string& value, cJSON& object) {
    const bool isHidden = isProtected(key) && !options.reveal;
    if (options.json) {
        isHidden ? addNull(object, key) : addMember(object, key, value);
    } else if (options.keys.size() == 1) {
        std::printf("%s\n", isHidden ? kHidden : value.c_str());
    } else {
        std::printf("%s=%s\n", emphasised(keyText(key)).c_str(), isHidden ? kHidden : valueText(value).c_str());
    }
}

int get(const Options& options) {
    const ConfigClient client;
    if (client.state() != kDone) {
        return client.state();
    }
    const Json object = makeObject();
    int result = kDone;
    for (const std::string& key : options.keys) {
        std::string value;
        const int found = read(key, value);
        if (found == kDone) {
            show(options, key, value, *object);
        } else if (result != kFailed) {
            result = found;
        }
    }
    if (options.json) {
        printText(*object);
    }
    const int finished = finish();
    return result != kDone ? result : finished;
}

} // namespace

void addConfigGet(Command config) {
    Command command = config.subcommand("get",
                                        "Prints the value of one key, or KEY=VALUE lines of several; when some are not "
                                        "there, of the others, and ends with 3");
    auto options = std::make_shared<Options>();
    command.value("KEY", options->keys, "The keys, in their exact letter case").required();
    command.flag("--json", options->json, "Print a JSON object; a protected value is null");
    command.flag("--reveal", options->reveal, "Show protected values too, passwords as they are stored: encrypted");
    command.runs([options] { return get(*options); });
}

} // namespace tarnctl
