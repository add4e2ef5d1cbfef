// "tarnctl config": reading and writing as the services do it.
#include <cerrno>
#include <cstring>

#include "config.h"
#include "item_text.h"
#include "protected_keys.h"
#include "tarn_host/host_config.h"
#include "tarn_host/host_key.h"

namespace tarnctl {
namespace {

constexpr const char* kOwner = "TarnUIConf"; // Whose passwords the library encrypts and reads.

int encrypt(const std::string& key, const std::string& value, std::string& stored) {
    std::array<char, OM_KEY_MAX_OUTPUT + 1> text = {};
    uint32_t length = 0;
    // What an export has revealed comes back as it was.
    if (TarnHostKeyDecrypt(kOwner, value.c_str(), text.data(), static_cast<uint32_t>(text.size()), &length) == 0) {
        stored = value;
        return kDone;
    }
    const uint32_t error =
        TarnOmKeymEncrypt(kOwner, value.data(), static_cast<uint32_t>(value.size()), text.data(), &length);
    if (error == EMSGSIZE) {
        return complain(kFailed, "the password for " + keyText(key) + " is too long; at most 200 bytes can be stored");
    }
    if (error != 0) {
        return complainOf("cannot encrypt the value of " + keyText(key), error);
    }
    stored.assign(text.data(), length);
    return kDone;
}

int fillRecord(const Item& item, ConfConfigOmRecord& record) {
    const auto& [key, value] = item;
    if (key.empty() || TarnOmConfigcopyStr2Key(&record.key, key.c_str()) != 0) {
        return complain(kFailed, "the key \"" + keyText(key) + "\" must have 1 to 127 bytes");
    }
    std::string stored = value;
    if (isPassword(key) && encrypt(key, value, stored) != kDone) {
        return kFailed;
    }
    if (TarnOmConfigcopyStr2Val(&record.value, stored.c_str()) != 0) {
        return complain(kFailed, "the value of " + keyText(key) + " has more than 1023 bytes");
    }
    return kDone;
}

} // namespace

std::shared_ptr<ShowOptions> addShowOptions(Command command, const std::string& json) {
    auto options = std::make_shared<ShowOptions>();
    command.value("PREFIX", options->prefix, "Only keys that begin with it");
    command.flag("--json", options->json, json);
    command.flag("--reveal", options->reveal, "Show protected values too, passwords as they are stored: encrypted");
    return options;
}

ConfigClient::ConfigClient() {
    const uint32_t error = TarnOmConfigInit(0, "tarnctl", "Conf");
    state_ = error == 0 ? kDone : complainOf("cannot open the configuration", error);
}

ConfigClient::~ConfigClient() {
    if (state_ == kDone) {
        TarnOmConfigUnInit("Conf");
    }
}

int writeItems(const std::vector<Item>& items) {
    std::vector<ConfConfigOmRecord> records(items.size());
    for (size_t i = 0; i < items.size(); ++i) {
        const int filled = fillRecord(items[i], records[i]);
        if (filled != kDone) {
            return filled;
        }
    }
    const ConfigClient client;
    if (client.state() != kDone) {
        return client.state();
    }
    const uint32_t error = TarnOmConfigStringMset(records.data(), static_cast<uint32_t>(records.size()));
    return error == 0 ? kDone : complainOf("cannot write the configuration", error);
}

int readItems(const std::string& prefix, std::vector<Item>& items) {
    const auto collect = [](const char* key, const char* value, void* argument) -> uint32_t {
        static_cast<std::vector<Item>*>(argument)->emplace_back(key, value);
        return 0;
    };
    const uint32_t error = TarnHostConfigList(prefix.c_str(), collect, &items);
    return error == 0 ? kDone : complainOf("cannot read the configuration", error);
}

void addConfigCommand(Command app) {
    Command config = app.subcommand("config", "Shows and changes the configuration");
    config.needsSubcommand();
    addConfigGet(config);
    addConfigSet(config);
    addConfigUnset(config);
    addConfigList(config);
    addConfigWatch(config);
    addConfigImport(config);
    addConfigExport(config);
}

} // namespace tarnctl
