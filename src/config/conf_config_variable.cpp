// Program variables, given as an address and a width: read into a holder, written from one. A writer compares at the
// widest form of its type before it stores, so a value too wide for its variable counts as a change each time.
#include <array>
#include <cstring>

#include "tarn_conference/conf_config_value.h"

namespace {

constexpr size_t kComparedBytes = 1024;

template <typename T>
T load(const void* address) {
    T variable;
    std::memcpy(&variable, address, sizeof variable);
    return variable;
}

template <typename T>
void store(void* address, T variable) {
    std::memcpy(address, &variable, sizeof variable);
}

// The types that a variable of one kind may have, told apart by their width in bytes.
template <typename... Types>
struct Widths {
    // `operation` for the type of this width; failure for a width that is not there.
    template <typename Operation>
    static uint32_t visit(uint32_t width, Operation operation) {
        uint32_t result = CONF_CONFIG_FAILED;
        ((width == sizeof(Types) ? void(result = operation.template operator()<Types>()) : void()), ...);
        return result;
    }
};

using Signed = Widths<int8_t, int16_t, int32_t, int64_t>;
using Unsigned = Widths<uint8_t, uint16_t, uint32_t, uint64_t>;
using Floating = Widths<float, double>;

template <typename Kind, typename Maker>
uint32_t readVariable(ConfConfigValue* value, const void* address, uint32_t width, Maker maker) {
    if (value == nullptr || address == nullptr) {
        return CONF_CONFIG_FAILED;
    }
    return Kind::visit(width, [&]<typename T>() { return maker(value, load<T>(address)); });
}

// `reader` runs before the width is looked at: a text that does not parse is logged for any width.
template <typename Kind, typename Wide>
uint32_t writeVariable(const ConfConfigValue* value, void* address, uint32_t width,
                       Wide (*reader)(const ConfConfigValue*)) {
    if (value == nullptr || address == nullptr) {
        return CONF_CONFIG_FAILED;
    }
    const Wide wanted = reader(value);
    return Kind::visit(width, [&]<typename T>() {
        if (static_cast<Wide>(load<T>(address)) == wanted) {
            return CONF_CONFIG_UNCHANGED;
        }
        store(address, static_cast<T>(wanted));
        return 0U;
    });
}

uint32_t flagToHolder(ConfConfigValue* value, uint64_t bits) {
    return ConfConfigBool2V(value, bits != 0 ? 1 : 0);
}

uint64_t holderToFlag(const ConfConfigValue* value) {
    return ConfConfigV2Bool(value) != 0 ? 1 : 0;
}

bool holdsText(const char* buffer, uint32_t bufferSize, const char* text) {
    return std::memchr(buffer, '\0', bufferSize) != nullptr && ConfConfigStrEqual(text, buffer) != 0;
}

} // namespace

uint32_t ConfConfigD2Int(ConfConfigValue* value, const void* address, uint32_t width) {
    return readVariable<Signed>(value, address, width, ConfConfigInt2V);
}

uint32_t ConfConfigD2UInt(ConfConfigValue* value, const void* address, uint32_t width) {
    return readVariable<Unsigned>(value, address, width, ConfConfigUInt2V);
}

uint32_t ConfConfigD2Float(ConfConfigValue* value, const void* address, uint32_t width) {
    return readVariable<Floating>(value, address, width, ConfConfigFloat2V);
}

uint32_t ConfConfigD2Bool(ConfConfigValue* value, const void* address, uint32_t width) {
    return readVariable<Unsigned>(value, address, width, flagToHolder);
}

uint32_t ConfConfigD2VByType(ConfConfigValue* value, const void* address, uint32_t width, uint32_t type) {
    switch (type) {
        case CONF_CONFIG_TYPE_INT:
            return ConfConfigD2Int(value, address, width);
        case CONF_CONFIG_TYPE_UINT:
            return ConfConfigD2UInt(value, address, width);
        case CONF_CONFIG_TYPE_FLOAT:
            return ConfConfigD2Float(value, address, width);
        case CONF_CONFIG_TYPE_BOOL:
            return ConfConfigD2Bool(value, address, width);
        case CONF_CONFIG_TYPE_STR:
            return ConfConfigStr2V(value, static_cast<const char*>(address));
        case CONF_CONFIG_TYPE_DATA:
            return ConfConfigData2V(value, address, width);
        default:
            return CONF_CONFIG_FAILED;
    }
}

uint32_t ConfConfigInt2D(const ConfConfigValue* value, void* address, uint32_t width) {
    return writeVariable<Signed>(value, address, width, ConfConfigV2Int);
}

uint32_t ConfConfigUInt2D(const ConfConfigValue* value, void* address, uint32_t width) {
    return writeVariable<Unsigned>(value, address, width, ConfConfigV2UInt);
}

uint32_t ConfConfigFloat2D(const ConfConfigValue* value, void* address, uint32_t width) {
    return writeVariable<Floating>(value, address, width, ConfConfigV2Float);
}

uint32_t ConfConfigBool2D(const ConfConfigValue* value, void* address, uint32_t width) {
    return writeVariable<Unsigned>(value, address, width, holderToFlag);
}

uint32_t ConfConfigCheckStr(const ConfConfigValue* value, char* buffer, uint32_t bufferSize) {
    if (value == nullptr || buffer == nullptr) {
        return CONF_CONFIG_FAILED;
    }
    std::array<char, kComparedBytes> rendered = {};
    if (ConfConfigV2Str(value, rendered.data(), rendered.size()) == 0 &&
        holdsText(buffer, bufferSize, rendered.data())) {
        return CONF_CONFIG_UNCHANGED;
    }
    return ConfConfigV2Str(value, buffer, bufferSize) == 0 ? 0 : CONF_CONFIG_FAILED;
}

uint32_t ConfConfigV2DByType(const ConfConfigValue* value, void* address, uint32_t size, uint32_t type) {
    if (value == nullptr || address == nullptr) {
        return CONF_CONFIG_FAILED;
    }
    switch (type) {
        case CONF_CONFIG_TYPE_INT:
            return ConfConfigInt2D(value, address, size);
        case CONF_CONFIG_TYPE_UINT:
            return ConfConfigUInt2D(value, address, size);
        case CONF_CONFIG_TYPE_FLOAT:
            return ConfConfigFloat2D(value, address, size);
        case CONF_CONFIG_TYPE_BOOL:
            return ConfConfigBool2D(value, address, size);
        case CONF_CONFIG_TYPE_STR:
            return ConfConfigCheckStr(value, static_cast<char*>(address), size);
        case CONF_CONFIG_TYPE_DATA:
            return ConfConfigV2Data(value, address, size) == 0 ? 0 : CONF_CONFIG_FAILED;
        default:
            return CONF_CONFIG_FAILED;
    }
}
