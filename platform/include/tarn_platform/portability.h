/**
 * @file portability.h
 * @brief Text and address helpers of the platform's portability layer.
 */
#ifndef TARN_PLATFORM_PORTABILITY_H
#define TARN_PLATFORM_PORTABILITY_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief Length of a text in bytes.
 * @param text  NUL-terminated; may be null.
 * @return the length; 0 for null.
 */
uint32_t MOSS_StrLen(const char* text);

/**
 * @brief Compares as strcmp does; a null text is less than any other.
 * @param left   May be null.
 * @param right  May be null.
 * @return below, equal to or above 0, as strcmp.
 */
int MOSS_StrCmp(const char* left, const char* right);

/**
 * @brief Compares as `MOSS_StrCmp` does, ignoring ASCII case.
 * @param left   May be null.
 * @param right  May be null.
 * @return as `MOSS_StrCmp`.
 */
int MOSS_StriCmp(const char* left, const char* right);

/**
 * @brief First occurrence of `part` in `text`.
 * @param text  Where to look.
 * @param part  What to look for.
 * @return where it begins, or null.
 */
char* MOSS_StrStr(const char* text, const char* part);

/**
 * @brief Parses a decimal text as a 32-bit number.
 * @param text  NUL-terminated text.
 * @param out   Receives the number.
 * @return 0, or non-zero for anything else; `out` is then untouched.
 */
int MOSS_StrToInt32(const char* text, int32_t* out);

/**
 * @brief Parses an address as POSIX inet_pton does.
 * @param family   2 for IPv4, 10 for IPv6.
 * @param text     The address.
 * @param address  Receives 4 or 16 bytes in network order.
 * @return 1 for an address, 0 for a text that is none, -1 for another family.
 */
int MOSS_Inet_Pton(int family, const char* text, void* address);

/**
 * @brief Encodes code points as UTF-8 (RFC 3629).
 * @param codePoints  Code points, ended by a zero.
 * @return a new NUL-terminated text, released with `OSMemTypeFreeMon`; null for surrogates, for code points beyond
 *         U+10FFFF and when memory is out.
 */
char* ZOR_UnicodeToUtf8(const uint32_t* codePoints);

/**
 * @brief The platform's number of the IPv6 address family.
 * @return the number; 10 on Linux.
 */
int ZOR_Socket_Get_AF_INET6(void);

TARN_EXTERN_C_END

#endif
