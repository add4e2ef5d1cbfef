/**
 * @file conf_param.h
 * @brief Checks and conversions for values that come from users, configuration and the network.
 *
 * Every function here is free of state and may be called from any thread; a text is only ever read or changed by the
 * call that it is given to.
 */
#ifndef TARN_CONFERENCE_CONF_PARAM_H
#define TARN_CONFERENCE_CONF_PARAM_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Bytes of a two-byte UTF-8 sequence (RFC 3629, section 3), as `ConfParamGetCharNum` counts them: 2. */
extern const uint32_t CONF_PARAM_2BYTE;
/** Bytes of a three-byte UTF-8 sequence, as `ConfParamGetCharNum` counts them: 3. */
extern const uint32_t CONF_PARAM_3BYTE;

/**
 * @brief Removes white space from both ends of a text, in place.
 * @param str  NUL-terminated, of at most 65535 characters; null is logged as an error.
 *
 * White space is the space and the bytes 0x09 to 0x0D, whatever the locale. A text of nothing else becomes empty. An
 * empty text stays as it is and is logged as an error. Lengths count modulo 65536: a longer text loses what lies behind
 * that length, one of exactly 65536 characters stays as it is; nothing outside the text is touched.
 */
void ConfTrim(char* str);

/**
 * @brief Tells whether a text consists of allowed characters.
 * @param str         NUL-terminated text.
 * @param digitsOnly  Non-zero allows `0` to `9`; zero allows digits, ASCII letters, the space and
 *                    ``!#$%&'()*+,-.:;<=>?@_`~|^{}/``.
 * @return 0 when all are allowed; 1 for another character, for an empty text and for null.
 */
uint32_t ConfParamCheckContainValidChar(const char* str, int digitsOnly);

/**
 * @brief Tells whether a text is an IPv4 or IPv6 address as POSIX inet_pton takes them.
 * @param str  NUL-terminated text.
 * @return 0 for an address; 1 for any other text and for null. A scope ("%eth0"), a port or brackets make it none.
 */
uint32_t ConfParamCheckValidIp(const char* str);

/**
 * @brief The family of an address.
 * @param str  NUL-terminated text.
 * @return 2 for IPv4, the platform's IPv6 family (10 on Linux) for IPv6, 0xFFFFFFFF for any other text and for null.
 */
uint32_t ConfParamCheckIpType(const char* str);

/**
 * @brief Counts the characters in the first bytes of a UTF-8 text.
 * @param str      At least `byteLen` readable bytes; a NUL among them counts as a
 *                 character and ends nothing. Null counts 0.
 * @param byteLen  Bytes to count in.
 * @return the count. Sequences of one to three bytes count one, also when cut by `byteLen`. From the first other byte
 * on (a four-byte lead or a stray continuation byte) every remaining byte counts one.
 */
uint32_t ConfParamGetCharNum(const char* str, uint32_t byteLen);

/**
 * @brief Converts a text to a number, or answers with a default.
 * @param str           Decimal, hexadecimal behind `0x`, or octal behind `0`, as strtol with base 0 takes them (C11
 *                      7.22.1.4): leading white space and a sign are allowed, nothing may follow. Null gives the
 * default.
 * @param defaultValue  Returned, and logged as an error, when the text is no number or does not fit a long.
 * @return the number cut to its low 32 bits, or the default.
 */
int ConfGetAtoi(const char* str, int defaultValue);

TARN_EXTERN_C_END

#endif
