/**
 * @file conf_settings.h
 * @brief The product's settings file with its feature switches, the device's own addresses, and two security flags.
 *
 * The settings file is "/conference/conf_config.xml" below the product configuration directory. Each child of its root
 * is a setting: the attribute "name" names it, the text is its value; element names are not looked at. Names and values
 * have at most 127 bytes. It is read once in the life of a process.
 *
 * Every function here may be called from any thread.
 */
#ifndef TARN_CONFERENCE_CONF_SETTINGS_H
#define TARN_CONFERENCE_CONF_SETTINGS_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Bytes of a setting's name and of its value, their NULs included. */
#define CONF_SETTING_LEN 128
/** Bytes that the address readers fill at most. */
#define CONF_LOCAL_ADDRESS_LEN 42

/** Address families of `ConfConfigSetLocalIp`. */
enum { CONF_LOCAL_IPV4 = 0, CONF_LOCAL_IPV6 = 1 };

/** One setting. */
typedef struct ConfConfigNameValue {
    char value[CONF_SETTING_LEN]; /**< NUL-terminated. */
    char name[CONF_SETTING_LEN];  /**< NUL-terminated. */
} ConfConfigNameValue;

static_assert(sizeof(ConfConfigNameValue) == 256, "setting size is part of the interface");
static_assert(offsetof(ConfConfigNameValue, name) == 128, "setting layout is part of the interface");

/** The settings that were read. */
typedef struct ConfConfigManager {
    ConfConfigNameValue* items; /**< In file order; null until they are read. */
    uint32_t itemNum;           /**< Settings at `items`. */
} ConfConfigManager;

static_assert(offsetof(ConfConfigManager, itemNum) == sizeof(void*), "settings layout is part of the interface");

/** The process's settings; read them with `ConfConfigGetValueByName`. */
extern ConfConfigManager g_configManager;

/**
 * @brief Reads the settings file, at the first call only.
 * @return 0 when it is read, and at every later call; 1 when the first call fails: for no file or no XML, a root
 *         without children, a setting without name or text, a name or value of 128 bytes or more, or when memory is
 *         out. There are no settings then.
 */
uint32_t ConfConfigXmlInit(void);

/**
 * @brief Looks a setting up, ignoring ASCII case. Of settings of the same name the first counts.
 * @param name        Its name.
 * @param buffer      Receives its value, NUL-terminated.
 * @param bufferSize  Bytes at `buffer`.
 * @return 0; 1 for null, for no such setting, and for a value that does not fit.
 */
uint32_t ConfConfigGetValueByName(const char* name, char* buffer, uint32_t bufferSize);

/**
 * @brief Switch "isCloseWirelessCastWhenStopShare".
 * @return its number: decimal, hexadecimal behind "0x", octal behind "0"; 0 when it is absent or no number.
 */
uint32_t IsCloseWirelessCast(void);

/** @brief Switch "isStopCastWhenConfEnd". @return as `IsCloseWirelessCast`. */
uint32_t IsStopCastWhenConfEnd(void);

/** @brief Switch "forbiddenSdkStopWirelessCast". @return as `IsCloseWirelessCast`. */
uint32_t IsForbiddenSdkStopWirelessCast(void);

/** @brief Switch "onlyReportPresentationDevicePlug". @return as `IsCloseWirelessCast`. */
uint32_t OnlyReportPresentationDevicePlug(void);

/** @brief Switch "ignoreLayoutStrategy". @return as `IsCloseWirelessCast`. */
uint32_t IgnoreLayoutStrategy(void);

/**
 * @brief Switch "isForbiddenKitCapbility" (spelled so): whether the device's own services replace the kit's.
 * @return the low 8 bits of its number; 0 when it is absent, which is logged as an error.
 */
uint8_t CallServiceIsForbiddenKitCap(void);

/**
 * @brief Writes the device's LAN address to the configuration service.
 * @param family   `CONF_LOCAL_IPV4` or `CONF_LOCAL_IPV6`; any other writes a record with an empty key.
 * @param address  The address as text. One that does not fit a value (`OM_CONFIG_VALUE_LEN`, its NUL included) is
 *                 written as an empty text.
 * @return the service's result; 1 for null.
 */
uint32_t ConfConfigSetLocalIp(uint32_t family, const char* address);

/**
 * @brief Reads the device's IPv4 address: from the device manager with `CallServiceIsForbiddenKitCap` set, else from
 *        the configuration service.
 * @param interfaceId  The device manager's number of the interface; the service holds one address only.
 * @param buffer       At least `CONF_LOCAL_ADDRESS_LEN` bytes, cleared by the caller: a text from the service comes
 *                     without a NUL.
 * @return 0 (also when the service holds no address: the buffer stays as it is); the device manager's result; 1 for
 *         null; a bounds-checked copy's code for a text that does not fit.
 */
uint32_t ConfConfigGetLocalIpv4(uint32_t interfaceId, void* buffer);

/**
 * @brief As `ConfConfigGetLocalIpv4`, for the IPv6 address.
 * @param interfaceId  The device manager's number of the interface.
 * @param buffer       As for `ConfConfigGetLocalIpv4`.
 * @return as `ConfConfigGetLocalIpv4`.
 */
uint32_t ConfConfigGetLocalIpv6(uint32_t interfaceId, void* buffer);

/** @brief Flag "Conf.SecurityParam.enableEofb" of the configuration service. @return it; 1 on failure. */
int32_t GetEnableEofb(void);

/** @brief Writes the flag. @param flag  Its low 8 bits count. @return 0, or 1 on failure. */
uint32_t SetEnableEofb(uint32_t flag);

/** @brief Flag "Conf.SIPCallParam.PreventAttack" of the configuration service. @return it; 1 on failure. */
int32_t GetSipPreventAttack(void);

/** @brief Writes the flag. @param flag  Its low 8 bits count. @return 0, or 1 on failure. */
uint32_t SetSipPreventAttack(uint32_t flag);

TARN_EXTERN_C_END

#endif
