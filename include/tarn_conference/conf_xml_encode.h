/**
 * @file conf_xml_encode.h
 * @brief Small XML bodies out of flat descriptions, and single values out of bodies that were read.
 *
 * Descriptions belong to the caller and are only read. Attributes and texts are written as they are given, as UTF-8.
 * What is added to a caller's document before a failure stays there. There is no state and no lock: a document is used
 * by one thread at a time.
 */
#ifndef TARN_CONFERENCE_CONF_XML_ENCODE_H
#define TARN_CONFERENCE_CONF_XML_ENCODE_H

#include "tarn_conference/conf_xml.h"

TARN_EXTERN_C_BEGIN

/** One attribute. */
typedef struct ConfXmlAttrItem {
    const char* name;  /**< Not null. */
    const char* value; /**< Not null. */
} ConfXmlAttrItem;

/** One element without children. */
typedef struct ConfXmlNodeSet {
    const char* name;       /**< Not null. */
    const char* text;       /**< Null for none. */
    uint32_t attrNum;       /**< Attributes at `attrs`. */
    ConfXmlAttrItem* attrs; /**< `attrNum` of them. */
} ConfXmlNodeSet;

/** What `ConfXmlAdptEncode` writes. */
typedef struct ConfXmlEncodeReq {
    const char* rootName;       /**< Not null. */
    ConfXmlNodeSet* childNodes; /**< Not null, even for none. */
    uint32_t childNum;          /**< Elements at `childNodes`. */
} ConfXmlEncodeReq;

/** An element and its children. */
typedef struct ConfXmlEncodeTree {
    ConfXmlNodeSet* rootNode;   /**< Not null. */
    ConfXmlNodeSet* childNodes; /**< Not null, even for none. */
    uint32_t childNum;          /**< Elements at `childNodes`. */
} ConfXmlEncodeTree;

static_assert(offsetof(ConfXmlAttrItem, value) == sizeof(void*), "attribute layout is part of the interface");
static_assert(offsetof(ConfXmlNodeSet, text) == sizeof(void*), "element layout is part of the interface");
static_assert(offsetof(ConfXmlNodeSet, attrNum) == 2 * sizeof(void*), "element layout is part of the interface");
static_assert(offsetof(ConfXmlNodeSet, attrs) == 3 * sizeof(void*), "element layout is part of the interface");
static_assert(offsetof(ConfXmlEncodeReq, childNodes) == sizeof(void*), "request layout is part of the interface");
static_assert(offsetof(ConfXmlEncodeReq, childNum) == 2 * sizeof(void*), "request layout is part of the interface");
static_assert(offsetof(ConfXmlEncodeTree, childNodes) == sizeof(void*), "tree layout is part of the interface");
static_assert(offsetof(ConfXmlEncodeTree, childNum) == 2 * sizeof(void*), "tree layout is part of the interface");

/**
 * @brief Adds attributes to an element, in order.
 * @param node   The element.
 * @param attrs  `num` of them; not null, even for none.
 * @param num    Number of attributes.
 * @return 0; 15 for null, in an attribute too, or when memory is out: those before it stay.
 */
uint32_t ConfXmlAdptAddNodeAttrs(void* node, const ConfXmlAttrItem* attrs, uint32_t num);

/**
 * @brief Adds elements to an element: the first as its first child, the others as its last.
 * @param parent  The element.
 * @param nodes   `num` of them; not null, even for none.
 * @param num     Number of elements.
 * @return 0; 15 for null, for an element or attribute without a name, or when memory is out: what was added stays.
 */
uint32_t ConfXmlAdptAddChildNodes(void* parent, const ConfXmlNodeSet* nodes, uint32_t num);

/**
 * @brief Makes a document of a description. A text or attribute that cannot be added is left out; the first child that
 *        cannot be made or filled ends the children.
 * @param tree  The description.
 * @return its root, released with `ConfXmlFreeRootNode`; null without a name or when memory is out.
 */
void* ConfXmlCreateRootNodeByNodeSet(ConfXmlEncodeTree tree);

/**
 * @brief The same as last child of an element.
 * @param parent  The element.
 * @param tree    The description.
 * @return it; null for null, without a name, or when memory is out.
 */
void* ConfXmlCreateChildNodeByNodeSet(void* parent, ConfXmlEncodeTree tree);

/**
 * @brief Prints a description as `ConfXmlTransformStr` does.
 * @param req  The description.
 * @return an accounted text, released with `OSMemTypeFreeMon`; null when anything cannot be added.
 */
char* ConfXmlAdptEncode(const ConfXmlEncodeReq* req);

/**
 * @brief As `ConfXmlAdptEncode`, with text and attributes at the root.
 * @param req  The description.
 * @return as `ConfXmlAdptEncode`.
 */
char* ConfXmlAdptEncodeWithRootAttr(const ConfXmlEncodeTree* req);

/**
 * @brief Puts the XML declaration, for UTF-8 and with a line feed behind it, before a body.
 * @param xmlBody            The body.
 * @param xmlBodyWithHeader  Receives an accounted text, released with `OSMemTypeFreeMon`; untouched on failure.
 * @return 0; 15 for null or when memory is out; 16 when the formatter refuses, which leaves a block behind.
 */
uint32_t ConfXmlDumpWithHeader(const char* xmlBody, char** xmlBodyWithHeader);

/**
 * @brief Text of the element that a path leads to.
 * @param rootNode  Where to start.
 * @param url       A path as `ConfXmlGetNodeByPath` takes it.
 * @return the text, which belongs to the document; null for null, no such element, or none.
 */
const char* ConfXmlAdptGetNodeValueByUrl(void* rootNode, const char* url);

/**
 * @brief Value of an attribute of the element that a path leads to.
 * @param rootNode  Where to start.
 * @param url       A path as `ConfXmlGetNodeByPath` takes it.
 * @param attrName  The attribute's name.
 * @return the value, which belongs to the document; null for null, no such element, or none.
 */
const char* ConfXmlAdptGetNodeAttrByUrl(void* rootNode, const char* url, const char* attrName);

TARN_EXTERN_C_END

#endif
