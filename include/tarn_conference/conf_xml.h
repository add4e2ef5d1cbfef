/**
 * @file conf_xml.h
 * @brief XML elements as plain handles: reading, building, printing and saving documents (XML 1.0 over tinyxml2).
 *
 * A handle is an element of a document that the library made; null stands for no element. Who gets a root from
 * `ConfXmlCreateRootNode`, `ConfXmlParseFileGetRoot` or `ConfXmlParseBodyGetRoot` owns its document and releases it
 * with `ConfXmlFreeRootNode`, after which no handle of it may be used. Names, texts and printed bodies that are
 * returned belong to the document and stay valid until it is changed or released.
 *
 * A path is element names with one blank between them: "Conf Param Item".
 *
 * Bad arguments are answered, most of them with a record, and never followed. There is no lock: one document is used by
 * one thread at a time, different documents by any threads.
 */
#ifndef TARN_CONFERENCE_CONF_XML_H
#define TARN_CONFERENCE_CONF_XML_H

#include <stdbool.h>

#include "tarn_platform/platform_base.h"

#ifdef __cplusplus
#include <tinyxml2.h>

#include <string>
#endif

/** Results of the XML functions. */
enum {
    CONF_XML_OK = 0,
    CONF_XML_UNSUPPORTED = 2,   /**< A value type that the call does not write. */
    CONF_XML_BAD_ARGUMENT = 15, /**< Null, a value type out of range, or memory is out. */
    CONF_XML_FORMAT_FAILED = 16 /**< A formatter refused. */
};

/** How a value passed by its address is written. */
typedef enum ConfXmlValueType {
    CONF_XML_STRING = 0, /**< The address is a NUL-terminated UTF-8 text. */
    CONF_XML_INT = 1,    /**< 32-bit signed. */
    CONF_XML_UINT = 2,   /**< 32-bit unsigned. */
    CONF_XML_INT8 = 3,   /**< Texts only. */
    CONF_XML_UINT8 = 4,  /**< Texts only. */
    CONF_XML_INT16 = 5,
    CONF_XML_UINT16 = 6,
    CONF_XML_INT32 = 7,  /**< As `CONF_XML_INT`; texts only. */
    CONF_XML_UINT32 = 8, /**< As `CONF_XML_UINT`; texts only. */
    CONF_XML_INT64 = 9,
    CONF_XML_UINT64 = 10,
    CONF_XML_BOOL = 11, /**< 8 bits; "true" or "false". */
    CONF_XML_DOUBLE = 12,
    CONF_XML_FLOAT = 13
} ConfXmlValueType;

TARN_EXTERN_C_BEGIN

/**
 * @brief Makes a document with an empty root element and no declaration.
 * @param name  The root's name, copied.
 * @return the root, whose document the caller owns; null for a null name or when memory is out.
 */
void* ConfXmlCreateRootNode(const char* name);

/**
 * @brief Reads a file.
 * @param pszXmlFile  Its path.
 * @return the root, whose document the caller owns; null for null, for what cannot be opened or is no XML, for more
 *         than 98 nested elements, and for a document without an element.
 *
 * The stream stays open to the end of the process, and so does the memory of an empty document (some 600 bytes) when
 * the file cannot be opened: read files seldom.
 */
void* ConfXmlParseFileGetRoot(const char* pszXmlFile);

/**
 * @brief Reads a NUL-terminated text.
 * @param body  The text; not kept.
 * @return the root, whose document the caller owns; null for null, for what is no XML, for more than 98 nested elements
 *         and for a document without an element.
 */
void* ConfXmlParseBodyGetRoot(const char* body);

/**
 * @brief Releases the whole document of an element, root or not.
 * @param node  Any element of it; null is logged.
 */
void ConfXmlFreeRootNode(void* node);

/**
 * @brief The root of an element's document.
 * @param node  The element.
 * @return the root; null for null.
 */
void* ConfXmlGetRootNode(void* node);

/**
 * @brief Whether an element is its document's root.
 * @param node  The element.
 * @return true for the root; false for null.
 */
bool ConfXmlIsRootNode(void* node);

/**
 * @brief Number of child elements. Texts and comments are none.
 * @param parentNode  The element.
 * @return the number; 0 for null.
 */
uint32_t ConfXmlGetNodeChildNum(void* parentNode);

/**
 * @brief First child element.
 * @param parentNode  The element.
 * @return it; null for null or for none, both logged at debug level.
 */
void* ConfXmlGetNodeFirstChild(void* parentNode);

/**
 * @brief Next sibling element, of any name.
 * @param node  The element.
 * @return it; null for null (logged at debug level) or for none.
 */
void* ConfXmlGetNodeNextSibling(void* node);

/**
 * @brief Parent element.
 * @param node  The element.
 * @return it; null for the root, which is logged as an error, and for null.
 */
void* ConfXmlGetNodeParenet(void* node);

/**
 * @brief The element that follows in document order, over the whole document: first child, else the next sibling of the
 *        nearest element upwards, itself included, that has one.
 * @param pstNode  The element.
 * @return null behind the last one, which logs the root's missing parent as an error; null for null.
 */
void* ConfXmlGetNodeIterator(void* pstNode);

/**
 * @brief Name of an element.
 * @param node  The element.
 * @return it, which belongs to the document; null for null.
 */
const char* ConfXmlGetNodeName(void* node);

/**
 * @brief Text of an element: that of its first child, comments passed over, if that is a text.
 * @param node  The element.
 * @return it, which belongs to the document; null for null or for none.
 */
const char* ConfXmlGetNodeText(void* node);

/**
 * @brief Text of an element as a number: decimal, or hexadecimal behind "0x".
 * @param node  The element.
 * @return the number; 0 for null or for no number.
 */
int32_t ConfXmlGetNodeIntText(void* node);

/**
 * @brief Value of an attribute.
 * @param node  The element.
 * @param name  The attribute's name.
 * @return it, which belongs to the document; null for null or for none.
 */
const char* ConfXmlGetNodeStrAttr(void* node, const char* name);

/**
 * @brief Value of an attribute as a number.
 * @param node  The element.
 * @param name  The attribute's name.
 * @return the number; 0 for null, for none or for no number.
 */
int32_t ConfXmlGetNodeIntAttr(void* node, const char* name);

/**
 * @brief Value of an attribute as an unsigned number.
 * @param node  The element.
 * @param name  The attribute's name.
 * @return the number; 0 for null, for none or for no number.
 */
uint32_t ConfXmlGetNodeUintAttr(void* node, const char* name);

/**
 * @brief Follows a path.
 * @param node  Where to start.
 * @param path  Names with one blank between them. Each step goes to the first child of that name; a name that the
 *              current element has itself stays there, except the path's last one. Behind a blank at the end nothing
 *              more is looked for.
 * @return the element; null when there is none, for a null argument and for an empty path.
 */
void* ConfXmlGetNodeByPath(void* node, const char* path);

/**
 * @brief Adds an empty element as first child.
 * @param parentNode  The element.
 * @param name        The child's name, copied.
 * @return it; null for a null argument or when memory is out.
 */
void* ConfXmlCreateFirstChildNode(void* parentNode, const char* name);

/**
 * @brief Adds an empty element as last child.
 * @param parentNode  The element.
 * @param name        The child's name, copied.
 * @return it; null for a null argument or when memory is out.
 */
void* ConfXmlCreateLastChildNode(void* parentNode, const char* name);

/**
 * @brief Sets an attribute, new or not.
 * @param node   The element.
 * @param name   The attribute's name, copied.
 * @param type   A `ConfXmlValueType`.
 * @param value  Address of the value, which needs no alignment.
 * @return 0; 2 for the types that only texts take; 15 for null, a type above 13, or when memory is out: an attribute
 *         that was there before may then be gone.
 */
uint32_t ConfXmlAddAttr(void* node, const char* name, uint32_t type, const void* value);

/**
 * @brief Removes an attribute if it is there.
 * @param node  The element.
 * @param name  The attribute's name.
 * @return 0; 2 for null.
 */
uint32_t ConfXmlDeleteAttr(void* node, const char* name);

/**
 * @brief Replaces the text of an element.
 * @param node   The element.
 * @param type   A `ConfXmlValueType`.
 * @param value  Address of the value, which needs no alignment.
 * @return 0; 2 for a negative type; 15 for null, a type above 13, or when memory is out: the text may then be gone.
 */
uint32_t ConfXmlSetNodeText(void* node, int32_t type, const void* value);

/**
 * @brief Prints a whole document without line breaks or indentation.
 * @param rootNode  Its root; any other element is refused.
 * @return the text, valid until the next call for this document; null for null, for another element, or when memory is
 *         out.
 */
const char* ConfXmlTransformStr(void* rootNode);

/**
 * @brief Saves a whole document, indented.
 * @param rootNode  Any element of it.
 * @param fileName  The file, written in place.
 * @return 0; 15 for null or when memory is out; else tinyxml2's `XMLError`: 4 when the file cannot be opened. Bytes
 *         that the disk does not take are not noticed; `ConfXmlSave` notices them.
 */
uint32_t ConfXmlTransformFile(void* rootNode, const char* fileName);

TARN_EXTERN_C_END

#ifdef __cplusplus
TARN_EXPORT_BEGIN
/** A document as this library makes them: with entities, white space preserved, and its printed body kept. */
class ConfXMLDocument : public tinyxml2::XMLDocument {
 public:
    ConfXMLDocument();
    virtual ~ConfXMLDocument();

    /**
     * @brief Prints the document as `ConfXmlTransformStr` does.
     * @return the text, valid until the next call; null when memory is out.
     */
    const char* GetXmlBody();

 private:
    std::string body_;
};
TARN_EXPORT_END
#endif

#endif
