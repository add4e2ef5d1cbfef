/**
 * @file om_path.h
 * @brief Customisation paths of the device.
 */
#ifndef TARN_PLATFORM_OM_PATH_H
#define TARN_PLATFORM_OM_PATH_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief The product configuration directory, without a trailing slash.
 * @param reserved  0; kept for the platform.
 * @return the path; the text stays the platform's.
 */
const char* TarnOmCustUtilGetCfgPath(uint32_t reserved);

/**
 * @brief The writable storage directory, without a trailing slash.
 * @return the path, or null; the text stays the platform's.
 */
const char* TarnOmCustUtilGetStoragePath(void);

TARN_EXTERN_C_END

#endif
