/**
 * @file conf_config_value.h
 * @brief Configuration values in three forms: a typed holder (V), a program variable (D), and the plain value of a
 * type.
 *
 * The names spell the direction: `ConfConfigInt2V` makes a holder from an integer, `ConfConfigV2Int` reads one,
 * `ConfConfigD2Int` reads a variable into a holder, `ConfConfigInt2D` writes a holder into a variable.
 *
 * A holder owns nothing: its text or bytes are the caller's and must outlive it. Nothing here allocates or keeps state;
 * every function may be called from any thread. Who writes a variable keeps other threads off it meanwhile.
 */
#ifndef TARN_CONFERENCE_CONF_CONFIG_VALUE_H
#define TARN_CONFERENCE_CONF_CONFIG_VALUE_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Result of a failed call: -1 in 32 bits. */
#define CONF_CONFIG_FAILED 0xFFFFFFFFU
/** Result of a variable writer that found the value there already and wrote nothing. */
#define CONF_CONFIG_UNCHANGED 1U

/** Type codes. */
typedef enum ConfConfigValueType {
    CONF_CONFIG_TYPE_NONE = 0, /**< No value; refused, or read as zero. */
    CONF_CONFIG_TYPE_INT = 1,
    CONF_CONFIG_TYPE_UINT = 2,
    CONF_CONFIG_TYPE_FLOAT = 3,
    CONF_CONFIG_TYPE_BOOL = 4,
    CONF_CONFIG_TYPE_STR = 5,
    CONF_CONFIG_TYPE_DATA = 6
} ConfConfigValueType;

/** What a holder holds; its type says which. */
typedef union ConfConfigPayload {
    int64_t asInt;      /**< Of `CONF_CONFIG_TYPE_INT`. */
    uint64_t asUInt;    /**< Of `CONF_CONFIG_TYPE_UINT`. */
    double asFloat;     /**< Of `CONF_CONFIG_TYPE_FLOAT`. */
    uint8_t asBool;     /**< Of `CONF_CONFIG_TYPE_BOOL`: 0 is false. */
    const char* asStr;  /**< Of `CONF_CONFIG_TYPE_STR`: NUL-terminated. */
    const void* asData; /**< Of `CONF_CONFIG_TYPE_DATA`. */
} ConfConfigPayload;

/** The typed holder. */
typedef struct ConfConfigValue {
    uint32_t type;           /**< A `ConfConfigValueType`. */
    ConfConfigPayload value; /**< The value. */
    uint32_t len;            /**< Text: bytes with the NUL; data: bytes; else unused. */
} ConfConfigValue;

static_assert(sizeof(ConfConfigPayload) == 8, "the payload is 64 bits wide");
static_assert(offsetof(ConfConfigValue, type) == 0, "holder layout is part of the interface");
static_assert(offsetof(ConfConfigValue, value) == 8, "holder layout is part of the interface");
static_assert(offsetof(ConfConfigValue, len) == 16, "holder layout is part of the interface");
static_assert(sizeof(ConfConfigValue) == 24, "holder size is part of the interface");

/**
 * @name Makers
 * Each overwrites the holder.
 */
/**@{*/
/**
 * @brief Makes a holder of a signed integer.
 * @param value   Receives the value.
 * @param number  The integer.
 * @return 0; `CONF_CONFIG_FAILED` for a null holder.
 */
uint32_t ConfConfigInt2V(ConfConfigValue* value, int64_t number);
/**
 * @brief Makes a holder of an unsigned integer.
 * @param value   Receives the value.
 * @param number  The integer.
 * @return 0; `CONF_CONFIG_FAILED` for a null holder.
 */
uint32_t ConfConfigUInt2V(ConfConfigValue* value, uint64_t number);
/**
 * @brief Makes a holder of a double.
 * @param value   Receives the value.
 * @param number  The double.
 * @return 0; `CONF_CONFIG_FAILED` for a null holder.
 */
uint32_t ConfConfigFloat2V(ConfConfigValue* value, double number);
/**
 * @brief Makes a holder of a truth value.
 * @param value  Receives the value.
 * @param flag   Its low byte counts.
 * @return 0; `CONF_CONFIG_FAILED` for a null holder.
 */
uint32_t ConfConfigBool2V(ConfConfigValue* value, uint32_t flag);
/**
 * @brief Makes a holder that borrows a NUL-terminated text.
 * @param value  Receives the value.
 * @param text   Stays the caller's and must outlive the holder.
 * @return 0; `CONF_CONFIG_FAILED` for a null argument.
 */
uint32_t ConfConfigStr2V(ConfConfigValue* value, const char* text);
/**
 * @brief Makes a holder that borrows bytes.
 * @param value   Receives the value.
 * @param data    Stay the caller's and must outlive the holder.
 * @param length  Bytes at `data`.
 * @return 0; `CONF_CONFIG_FAILED` for a null argument.
 */
uint32_t ConfConfigData2V(ConfConfigValue* value, const void* data, uint32_t length);
/**@}*/

/**
 * @name Readers
 * A text is parsed as a number from its start; one that does not parse reads as zero, and one that ends before any
 * number (an empty one) is logged as an error besides. No value, data and unknown types read as zero.
 */
/**@{*/
/**
 * @brief Reads a signed integer; a float is cut toward zero and kept within the range, NaN is 0.
 * @param value  The holder.
 * @return the number; -1 for null.
 */
int64_t ConfConfigV2Int(const ConfConfigValue* value);
/**
 * @brief Reads an unsigned integer; a float is cut toward zero and kept within the range, NaN is 0.
 * @param value  The holder.
 * @return the number; all bits set for null.
 */
uint64_t ConfConfigV2UInt(const ConfConfigValue* value);
/**
 * @brief Reads a double.
 * @param value  The holder.
 * @return the number; 0.0 for null.
 */
double ConfConfigV2Float(const ConfConfigValue* value);
/**
 * @brief Reads a truth value. Numbers are true unless zero. A text that begins with a digit is read as an 8-bit number,
 *        so "256" is false; any other is true when it begins with 'T' or 't'.
 * @param value  The holder.
 * @return the truth value; of a bool holder its byte as it stands; 0 for null.
 */
uint32_t ConfConfigV2Bool(const ConfConfigValue* value);
/**@}*/

/**
 * @brief Renders a holder as text: integers in decimal, floats with six decimals, "TRUE" or "FALSE", a text as it is.
 * @param value       Types 1 to 5.
 * @param buffer      Receives the NUL-terminated text; of no use after a failure.
 * @param bufferSize  Bytes at `buffer`.
 * @return 0; `CONF_CONFIG_FAILED` for null, another type, or a number that does not fit; a bounds-checked copy's code
 *         for a text or bool that does not fit.
 */
uint32_t ConfConfigV2Str(const ConfConfigValue* value, char* buffer, uint32_t bufferSize);

/**
 * @brief Copies the bytes of a data holder.
 * @param value       Type 6 with a pointer.
 * @param buffer      Receives `value->len` bytes; of no use after a failure.
 * @param bufferSize  Bytes at `buffer`.
 * @return 0; `CONF_CONFIG_FAILED` for another holder; a bounds-checked copy's code for bytes that do not fit.
 */
uint32_t ConfConfigV2Data(const ConfConfigValue* value, void* buffer, uint32_t bufferSize);

/**
 * @name Variable readers
 * `address` need not be aligned.
 */
/**@{*/
/**
 * @brief Reads a signed integer.
 * @param value    Receives the variable's value.
 * @param address  The variable.
 * @param width    Its bytes: 1, 2, 4 or 8.
 * @return 0; `CONF_CONFIG_FAILED` for null or another width.
 */
uint32_t ConfConfigD2Int(ConfConfigValue* value, const void* address, uint32_t width);
/**
 * @brief Reads an unsigned integer.
 * @param value    Receives the variable's value.
 * @param address  The variable.
 * @param width    Its bytes: 1, 2, 4 or 8.
 * @return 0; `CONF_CONFIG_FAILED` for null or another width.
 */
uint32_t ConfConfigD2UInt(ConfConfigValue* value, const void* address, uint32_t width);
/**
 * @brief Reads a floating-point number.
 * @param value    Receives the variable's value.
 * @param address  The variable.
 * @param width    Its bytes: 4 (float) or 8 (double).
 * @return 0; `CONF_CONFIG_FAILED` for null or another width.
 */
uint32_t ConfConfigD2Float(ConfConfigValue* value, const void* address, uint32_t width);
/**
 * @brief Reads a truth value: true when any bit of the whole width is set.
 * @param value    Receives the variable's value.
 * @param address  The variable.
 * @param width    Its bytes: 1, 2, 4 or 8.
 * @return 0; `CONF_CONFIG_FAILED` for null or another width.
 */
uint32_t ConfConfigD2Bool(ConfConfigValue* value, const void* address, uint32_t width);
/**
 * @brief Reads a variable by a type code: 1 to 4 as above; 5 borrows the NUL-terminated text at `address`, whatever the
 *        width; 6 borrows `width` bytes.
 * @param value    Receives the variable's value.
 * @param address  The variable.
 * @param width    Its bytes.
 * @param type     A `ConfConfigValueType`.
 * @return 0; `CONF_CONFIG_FAILED` for null, another type, or a width that the type does not have.
 */
uint32_t ConfConfigD2VByType(ConfConfigValue* value, const void* address, uint32_t width, uint32_t type);
/**@}*/

/**
 * @name Variable writers
 * Each compares first, at the full width of the type's widest form, and writes the whole variable or nothing: 300 into
 * a signed byte that holds 44 counts as a change and stores 44 again. `address` need not be aligned.
 */
/**@{*/
/**
 * @brief Writes a signed integer.
 * @param value    The holder.
 * @param address  The variable.
 * @param width    Its bytes: 1, 2, 4 or 8.
 * @return 0 when written; `CONF_CONFIG_UNCHANGED`; `CONF_CONFIG_FAILED` for null or another width.
 */
uint32_t ConfConfigInt2D(const ConfConfigValue* value, void* address, uint32_t width);
/**
 * @brief Writes an unsigned integer.
 * @param value    The holder.
 * @param address  The variable.
 * @param width    Its bytes: 1, 2, 4 or 8.
 * @return 0 when written; `CONF_CONFIG_UNCHANGED`; `CONF_CONFIG_FAILED` for null or another width.
 */
uint32_t ConfConfigUInt2D(const ConfConfigValue* value, void* address, uint32_t width);
/**
 * @brief Writes a floating-point number, compared as doubles; a NaN on either side is a change.
 * @param value    The holder.
 * @param address  The variable.
 * @param width    Its bytes: 4 or 8.
 * @return 0 when written; `CONF_CONFIG_UNCHANGED`; `CONF_CONFIG_FAILED` for null or another width.
 */
uint32_t ConfConfigFloat2D(const ConfConfigValue* value, void* address, uint32_t width);
/**
 * @brief Writes a truth value: stores 0 or 1 in the whole width. A variable that holds another value is changed to 1.
 * @param value    The holder.
 * @param address  The variable.
 * @param width    Its bytes: 1, 2, 4 or 8.
 * @return 0 when written; `CONF_CONFIG_UNCHANGED`; `CONF_CONFIG_FAILED` for null or another width.
 */
uint32_t ConfConfigBool2D(const ConfConfigValue* value, void* address, uint32_t width);
/**
 * @brief Renders a holder into a text buffer unless the buffer's text is the same but for ASCII case.
 * @param value       Types 1 to 5. A text of more than 1024 bytes with its NUL is always a change.
 * @param buffer      The text variable.
 * @param bufferSize  Bytes at `buffer`.
 * @return 0 when written; `CONF_CONFIG_UNCHANGED`; `CONF_CONFIG_FAILED` for null, another type, or a text that does not
 *         fit.
 */
uint32_t ConfConfigCheckStr(const ConfConfigValue* value, char* buffer, uint32_t bufferSize);
/**
 * @brief Writes a variable by a type code: 1 to 4 with `size` as the width, 5 as a text and 6 as data with `size` as
 *        the buffer's bytes. Data is always written; it never answers `CONF_CONFIG_UNCHANGED`.
 * @param value    The holder.
 * @param address  The variable.
 * @param size     Its bytes.
 * @param type     A `ConfConfigValueType`.
 * @return 0 when written; `CONF_CONFIG_UNCHANGED`; `CONF_CONFIG_FAILED` for null, another type, or what does not fit.
 */
uint32_t ConfConfigV2DByType(const ConfConfigValue* value, void* address, uint32_t size, uint32_t type);
/**@}*/

/**
 * @brief Compares texts without ASCII case; null counts as the empty text.
 * @param left   One text.
 * @param right  The other.
 * @return 1 when equal, else 0.
 */
uint32_t ConfConfigStrEqual(const char* left, const char* right);

TARN_EXTERN_C_END

#endif
