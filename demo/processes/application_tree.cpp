// The application's variables that outlive it: a typed tree of all seven types, with a group that occurs three times.
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "processes/application_orders.h"
#include "tarn_conference/conf_settings.h"
#include "tarn_conference/conf_xml_tree.h"
#include "tarn_platform/om_path.h"

namespace tarn::demo {
namespace {

struct Speaker {
    std::array<char, 24> name;
    uint8_t volume;
};

struct Lasting {
    uint8_t volume;
    int8_t balance;
    uint16_t width;
    int16_t offset;
    uint32_t bitrate;
    int32_t drift;
    std::array<Speaker, 3> speakers;
};

constexpr std::array<const char*, 3> kNames = {"Ada", "Grace", "Edsger & Barbara"};

Lasting lasting = {};

void addValue(void* parent, const char* name, const char* typeName, uint8_t type, const void* variable,
              uint32_t bytes = 0) {
    std::array<char, 24> address;
    std::snprintf(address.data(), address.size(), "%p", variable);
    const std::array<const char*, 2> nameAndType = {name, typeName};
    const ValueSpec spec = {type, address.data(), bytes};
    ConfXmlAddSingleValueNode(parent, nameAndType.data(), &spec);
}

void* createIndexTable(uint32_t) {
    void* const root = ConfXmlAddSingleStructNode(nullptr, "Root");
    if (root == nullptr) {
        return nullptr;
    }
    void* const audio = ConfXmlAddSingleStructNode(root, "Audio");
    addValue(audio, "volume", "UINT8", CONF_XML_ATTR_UINT8, &lasting.volume);
    addValue(audio, "balance", "INT8", CONF_XML_ATTR_INT8, &lasting.balance);
    void* const video = ConfXmlAddSingleStructNode(root, "Video");
    addValue(video, "width", "UINT16", CONF_XML_ATTR_UINT16, &lasting.width);
    addValue(video, "offset", "INT16", CONF_XML_ATTR_INT16, &lasting.offset);
    addValue(video, "bitrate", "UINT32", CONF_XML_ATTR_UINT32, &lasting.bitrate);
    addValue(video, "drift", "INT32", CONF_XML_ATTR_INT32, &lasting.drift);
    void* const speakers = ConfXmlAddMultiInstanceNode(root, "Speakers", static_cast<int32_t>(lasting.speakers.size()));
    uint32_t instance = 0;
    for (Speaker& speaker : lasting.speakers) {
        void* const group = ConfXmlAddMultiStructNode(speakers, "Speaker", ++instance);
        addValue(group, "name", "CHAR", CONF_XML_ATTR_CHAR, speaker.name.data(),
                 static_cast<uint32_t>(speaker.name.size()));
        addValue(group, "volume", "UINT8", CONF_XML_ATTR_UINT8, &speaker.volume);
    }
    return root;
}

std::string file(const char* suffix) {
    const char* const storage = TarnOmCustUtilGetStoragePath();
    return std::string(storage == nullptr ? "." : storage).append("/application.xml").append(suffix);
}

Reply valuesNow(uint32_t result) {
    std::string values = std::to_string(lasting.volume);
    for (const long value : {long{lasting.balance}, long{lasting.width}, long{lasting.offset}, long{lasting.bitrate},
                             long{lasting.drift}}) {
        values.append(" ").append(std::to_string(value));
    }
    for (const Speaker& speaker : lasting.speakers) {
        values.append(", ").append(speaker.name.data()).append(" at ").append(std::to_string(speaker.volume));
    }
    return {{"result", std::to_string(result)}, {"values", values}, {"file", file("")}};
}

} // namespace

Reply fillTree(const Arguments&) {
    lasting = {200, -100, 65000, -32000, 4000000000U, -2000000000, {}};
    for (size_t i = 0; i < lasting.speakers.size(); ++i) {
        std::strncpy(lasting.speakers[i].name.data(), kNames[i], lasting.speakers[i].name.size() - 1);
        lasting.speakers[i].volume = static_cast<uint8_t>(10 * (i + 1));
    }
    return valuesNow(0);
}

Reply clearTree(const Arguments&) {
    lasting = {};
    return valuesNow(0);
}

Reply saveTree(const Arguments&) {
    return valuesNow(ConfXmlSave(createIndexTable, file("").c_str(), file(".bak").c_str()));
}

Reply loadTree(const Arguments&) {
    return valuesNow(ConfXmlLoad(createIndexTable, file("").c_str(), file(".bak").c_str()));
}

Reply readSwitches(const Arguments&) {
    Reply reply = {{"result", std::to_string(ConfConfigXmlInit())}};
    std::string switches = std::to_string(IsCloseWirelessCast());
    for (const uint32_t value :
         {IsStopCastWhenConfEnd(), IsForbiddenSdkStopWirelessCast(), OnlyReportPresentationDevicePlug(),
          IgnoreLayoutStrategy(), uint32_t{CallServiceIsForbiddenKitCap()}}) {
        switches.append(" ").append(std::to_string(value));
    }
    reply["switches"] = switches;
    return reply;
}

} // namespace tarn::demo
