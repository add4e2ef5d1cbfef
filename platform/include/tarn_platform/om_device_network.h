/**
 * @file om_device_network.h
 * @brief The device manager's network data.
 */
#ifndef TARN_PLATFORM_OM_DEVICE_NETWORK_H
#define TARN_PLATFORM_OM_DEVICE_NETWORK_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Bytes of an address block. */
#define OM_DEVICE_NETWORK_BLOCK_LEN 42

/**
 * @brief Fills the IPv4 address block of an interface.
 * @param interfaceId  The device manager's number of the interface.
 * @param buffer       Receives `OM_DEVICE_NETWORK_BLOCK_LEN` bytes.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmDevmNetGetIpv4Block(uint32_t interfaceId, void* buffer);

/**
 * @brief Fills the IPv6 address block of an interface.
 * @param interfaceId  The device manager's number of the interface.
 * @param buffer       Receives `OM_DEVICE_NETWORK_BLOCK_LEN` bytes.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmDevmNetGetIpv6Block(uint32_t interfaceId, void* buffer);

TARN_EXTERN_C_END

#endif
