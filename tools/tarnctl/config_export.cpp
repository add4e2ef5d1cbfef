// "tarnctl config export": what "import" reads. Without --reveal the protected keys are left out, not blanked: an
// import of the file then leaves them as they are.
#include <cstdio>
#include <memory>

#include "config.h"
#include "item_text.h"
#include "json.h"
#include "protected_keys.h"

namespace tarnctl {
namespace {

int exportItems(const ShowOptions& options) {
    std::vector<Item> items;
    const int read = readItems(options.prefix, items);
    if (read != kDone) {
        return read;
    }
    const Json object = makeObject();
    for (const auto& [key, value] : items) {
        if (isProtected(key) && !options.reveal) {
            complain(kDone, keyText(key) + " is protected and left out; --reveal exports it");
        } else if (!options.json) {
            std::printf("%s=%s\n", keyText(key).c_str(), valueText(value).c_str());
        } else if (isUtf8(key) && isUtf8(value)) {
            addMember(*object, key, value);
        } else {
            return complain(kFailed, keyText(key) + " is not UTF-8, which JSON cannot carry; export without --json");
        }
    }
    if (options.json) {
        printText(*object);
    }
    return finish();
}

} // namespace

void addConfigExport(Command config) {
    Command command = config.subcommand("export", "Prints what \"import\" reads");
    const auto options = addShowOptions(command, "Print a JSON object; fails for a text that is not UTF-8");
    command.runs([options] { return exportItems(*options); });
}

} // namespace tarnctl
