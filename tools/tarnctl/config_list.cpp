// "tarnctl config list".
#include <cstdio>
#include <memory>

#include "config.h"
#include "item_text.h"
#include "json.h"
#include "protected_keys.h"

namespace tarnctl {
namespace {

int list(const ShowOptions& options) {
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
    const auto options = addShowOptions(command, "Print a JSON object; a protected value is null");
    command.runs([options] { return list(*options); });
}

} // namespace tarnctl
