/**
 * @file om_key.h
 * @brief Key management: encryption of values that must not be stored in the clear.
 */
#ifndef TARN_PLATFORM_OM_KEY_H
#define TARN_PLATFORM_OM_KEY_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Largest output of `TarnOmKeymEncrypt` in bytes, its NUL included. */
#define OM_KEY_MAX_OUTPUT 312

/**
 * @brief Encrypts a value to text.
 * @param owner         Name of the process that owns the value.
 * @param plain         The value.
 * @param plainLength   Bytes at `plain`.
 * @param output        Buffer of `OM_KEY_MAX_OUTPUT` bytes; receives NUL-terminated text.
 * @param outputLength  Receives the text's length without its NUL.
 * @return 0, or the platform's code; a value whose text would not fit is refused.
 */
uint32_t TarnOmKeymEncrypt(const char* owner, const char* plain, uint32_t plainLength, char* output,
                           uint32_t* outputLength);

TARN_EXTERN_C_END

#endif
