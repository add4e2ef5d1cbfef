// "tarnctl config list".
#include <cstdio>
#include <memory>

#include "config.h"
#include "item_text.h"
#include "json.h"
#include "protected_keys.h"

namespace tarnctl {
namespace {

struct Options {
    std::string prefix;
    bool json = false;
    bool reveal = false;
};

int list(const Options& options) {
    std::vector<Item> items;
    const int read = readItems(options.prefix, items);
    if (read != kDone) {
        return read;
    }
    const Json object = makeObject();
    for (const auto& [key, value] : items) {
        const bool isHidden = isProtected(key) && !options.reveal;
        if (options.json) {
            isHidden ? addNull(*object, key) : addMember(*object, key, value);
        } else {
            std::printf("%s=%s\n", emphasised(keyText(key)).c_str(), isHidden ? kHidden : valueText(value).c_str());
        }
    }
    if (options.json) {
        printText(*object);
    }
    return finish();
}

} // namespace

void addConfigList(Command config) {
    Command command = config.subcommand("list", "Prints KEY=VALUE lines, sorted by key");
    auto options = std::make_shared<Options>();
    command.value("PREFIX", options->prefix, "Only keys that begin with it");
    command.flag("--json", options->json, "Print a JSON object; a protected value is null");
    command.flag("--reveal", options->reveal, "Show protected values, passwords as they are stored: encrypted");
    command.runs([options] { return list(*options); });
}

} // namespace tarnctl
