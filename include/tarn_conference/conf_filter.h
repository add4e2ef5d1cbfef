/**
 * @file conf_filter.h
 * @brief Masks numbers, identities and addresses with '*', so that a text can be logged.
 *
 * How much of a value of L characters stays visible:
 *
 * | L          | masked (index from 0)             | example                    |
 * |------------|-----------------------------------|----------------------------|
 * | 0 to 3     | nothing                           | abc stays abc              |
 * | 4 to 5     | L-2                               | abcd becomes ab*d          |
 * | 6 to 7     | L-5 to L-3                        | abcdef becomes a***ef      |
 * | 8 to 10    | L-6 to L-3                        | abcdefgh becomes ab****gh  |
 * | 11 or more | 3 to L-3                          | abcdefghijk becomes abc******jk |
 *
 * Any thread may call any function; a text that is changed in place must not be in use elsewhere meanwhile.
 */
#ifndef TARN_CONFERENCE_CONF_FILTER_H
#define TARN_CONFERENCE_CONF_FILTER_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Bytes that every destination of a masked value must have at least. */
enum { CONF_FILTER_MIN_BUFFER = 129 };

/** A masking function as a value: `ConfFilterStr` or `ConfFilterIPAddrStr`. */
typedef uint32_t (*ConfFilterFunc)(const char* src, char* dst, uint32_t dstLen);

/**
 * @brief Masks a whole value into another buffer.
 * @param src     The value, NUL-terminated.
 * @param dst     Receives the masked value, and zero bytes behind it up to `dstLen`; must not overlap `src`.
 * @param dstLen  Bytes at `dst`.
 * @return 0; 1 for a null argument or a `dstLen` below 129 (`dst` is then untouched), or when a copy fails.
 *
 * A value of 11 characters or more always gives 11: its first three, six stars and its last two, so that the result
 * does not tell its length.
 */
uint32_t ConfFilterStr(const char* src, char* dst, uint32_t dstLen);

/**
 * @brief Masks an address by its own rules into another buffer.
 * @param ip      NUL-terminated.
 * @param dst     Receives the masked address, and zero bytes behind it up to `dstLen`; must not overlap `ip`.
 * @param dstLen  Bytes at `dst`.
 * @return 0; 1 for a null argument or a `dstLen` below 129 (`dst` is then untouched), or when a copy fails.
 *
 * 10.1.2.7 becomes 10.**.**.7; fe80::1:2:3:4 becomes fe80:****:****:3:4 (an empty group vanishes). What is no address,
 * has fewer than 7 characters, or as IPv6 fewer than four groups or an embedded IPv4 address, is masked by
 * `ConfFilterStr`.
 */
uint32_t ConfFilterIPAddrStr(const char* ip, char* dst, uint32_t dstLen);

/**
 * @brief Masks the bytes from `start` up to, not including, `end`, in place; the length stays.
 * @param start  First byte of the value.
 * @param end    Behind its last byte. Null pointers and an end before the start mask nothing.
 */
void ConfFilterNonSecurityWordExImpl(char* start, char* end);

/**
 * @brief Masks the value behind every occurrence of a keyword, in place.
 * @param text        NUL-terminated; its length stays.
 * @param keyword     What stands before a value, letter by letter; empty, it stands before every character.
 * @param terminator  What ends a value.
 * @return non-zero for a null argument, which changes nothing; else a value without meaning.
 *
 * A value ends at the next terminator. A carriage return before it means that there is no value; a missing terminator
 * ends the work. Only values behind the keyword "tel:" also end at a carriage return. An empty value is passed over
 * together with as many characters as the terminator has.
 *
 * A keyword that contains "-eid" stands before a list. Every ';' from the value on, up to the line's carriage return
 * (without one: up to the end of the text) ends an item that is masked by itself, also behind the terminator; what is
 * left before the terminator is the last item.
 *
 * The time grows with the length of the text, whatever it holds.
 */
uint32_t ConfFilterNonSecurityWordEx(char* text, const char* keyword, const char* terminator);

/**
 * @brief Stores the device's own address for `ConfReplaceIPAddrStr`.
 * @param ip  NUL-terminated, copied.
 * @return 0; 1 for null, for 45 characters or more, or when the copy fails: the stored address then stays.
 */
uint32_t ConfFilterSetIPStr(const char* ip);

/**
 * @brief Replaces the device's own address, masked, in a text.
 * @param text     NUL-terminated, not empty; not changed.
 * @param outText  Receives a new NUL-terminated text; the caller releases it with `OSMemTypeFreeMon`.
 * @param outLen   Receives its length in bytes.
 * @return 0; 1 for a null argument, an empty text or a stored address of fewer than 7 characters (none is stored at
 * start), and for want of memory or when a copy fails: `outText` is then null or untouched.
 *
 * The result has at most 98 bytes more than `text`: a masked IPv6 address can be longer than the address itself, and a
 * text with many of them is cut there.
 */
uint32_t ConfReplaceIPAddrStr(const char* text, char** outText, uint32_t* outLen);

/**
 * @brief Calls a masking function that is passed as a value.
 * @param filter  The function.
 * @param src     Its first argument.
 * @param dst     Its second argument.
 * @param dstLen  Its third argument.
 * @return its result; 1 for a null function.
 */
uint32_t ConfFilterCallFilterFn(ConfFilterFunc filter, const char* src, char* dst, uint32_t dstLen);

TARN_EXTERN_C_END

#endif
