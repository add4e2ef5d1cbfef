/**
 * @file conf_xml_param.h
 * @brief Single parameters out of a document that was read, as numbers, texts, or texts given as character codes.
 *
 * A list of character codes is decimal code points (Unicode) with one comma between them, "72,105" for "Hi"; an empty
 * field is code 0. So text in any script travels as digits. There is no state and no lock: a document is used by one
 * thread at a time.
 */
#ifndef TARN_CONFERENCE_CONF_XML_PARAM_H
#define TARN_CONFERENCE_CONF_XML_PARAM_H

#include "tarn_conference/conf_xml.h"

TARN_EXTERN_C_BEGIN

/** Bytes of a parameter's path, its NUL included. */
#define CONF_XML_URL_LEN 68

/** A parameter to read. */
typedef struct ConfXmlParamNote {
    char url[CONF_XML_URL_LEN]; /**< Path as `ConfXmlGetNodeByPath` takes it; NUL-terminated. */
    uint8_t isString;           /**< 0 for a number. */
    void* pValue;               /**< Receives the value: a `uint32_t`, or a text of `strSize` bytes. */
    uint32_t strSize;           /**< Bytes at `pValue` of a text, its NUL included. */
    uint8_t printLog;           /**< Non-zero logs the value at debug level. */
    uint8_t isAsciiCode;        /**< Non-zero for a text given as character codes. */
} ConfXmlParamNote;

static_assert(offsetof(ConfXmlParamNote, isString) == 68, "parameter layout is part of the interface");
static_assert(offsetof(ConfXmlParamNote, pValue) == 72, "parameter layout is part of the interface");
static_assert(offsetof(ConfXmlParamNote, strSize) == 72 + sizeof(void*), "parameter layout is part of the interface");
static_assert(offsetof(ConfXmlParamNote, printLog) == 76 + sizeof(void*), "parameter layout is part of the interface");
static_assert(offsetof(ConfXmlParamNote, isAsciiCode) == 77 + sizeof(void*),
              "parameter layout is part of the interface");

/**
 * @brief Reads a parameter.
 * @param rootNode  Where its path starts.
 * @param note      The parameter. The store of a text given as codes is zero-filled by the caller; its last byte is
 *                  never written, and what does not fit is left out, whole characters at a time.
 * @return 0; 1 for null, for no such element or no text in it, for a text that does not fit, and for a list of codes of
 *         1024 characters or more. A bad list of codes is logged and gives 0, with what stands before the bad place;
 *         one without a store gives 0 without a word.
 */
uint32_t ConfXmlParseSingleNote(void* rootNode, ConfXmlParamNote* note);

/**
 * @brief Reads a text.
 * @param url       Its path.
 * @param rootNode  Where the path starts.
 * @param value     Receives the text, NUL-terminated.
 * @param strSize   Bytes at `value`.
 * @param printLog  Whether to log the text at debug level.
 * @return 0; 1 for null, for no such element or no text in it, and for a text that does not fit.
 */
uint32_t ConfXmlParaseStringParams(const char* url, void* rootNode, char* value, uint32_t strSize, bool printLog);

/**
 * @brief Reads a decimal number.
 * @param url       Its path.
 * @param rootNode  Where the path starts.
 * @param value     Receives the number; a negative one wraps. A text that is no number leaves it as the platform does.
 * @param printLog  Whether to log the number at debug level.
 * @return 0, also for a text that is no number; 1 for null, for no such element or no text in it.
 */
uint32_t ConfXmlParaseIntParams(const char* url, void* rootNode, uint32_t* value, bool printLog);

/**
 * @brief Reads the next code of a list.
 * @param str   The list, NUL-terminated.
 * @param len   Its length.
 * @param pos   Where the code starts, at most `len`; moved behind it and its comma.
 * @param code  Receives the code, counted in 32 bits.
 * @return 0; 1 for null, for a character that is no digit, and for more than 255 digits: nothing is changed then.
 */
uint32_t ConfXmlStrGetNextASCII(const char* str, uint32_t len, uint32_t* pos, uint32_t* code);

/**
 * @brief Decodes a list to UTF-8 (RFC 3629), without a NUL at the end.
 * @param codes    The list, NUL-terminated; null counts as empty.
 * @param out      Receives the bytes; zero-filled by the caller.
 * @param outSize  Bytes to write at most. A character that does not fit ends the decoding.
 * @return 0; 1 for null, for a bad list, for a code that is no character (surrogates, beyond U+10FFFF), and when memory
 *         is out: what stands before the bad place is written.
 */
uint32_t ConfXmlGetStringFromAscii(const char* codes, char* out, uint32_t outSize);

TARN_EXTERN_C_END

#endif
