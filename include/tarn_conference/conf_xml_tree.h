/**
 * @file conf_xml_tree.h
 * @brief Program variables kept in an XML file with a backup.
 *
 * The caller describes its variables once, as an index table: a document of "cfg" elements (groups) and "val" elements,
 * whose text is the address of a variable as `strtoull` reads it in base 0. `ConfXmlSave` writes a file of the same
 * shape with the values in place of the addresses, `ConfXmlLoad` reads it back. Elements are matched by their attribute
 * "name" and, for groups that occur several times, "InstID"; of several that match the first counts. Names have at most
 * 32 bytes. The index table's root is a group named "Root".
 *
 * | type | variable |
 * |---|---|
 * | "UINT8", "INT8" | 1 byte |
 * | "UINT16", "INT16" | 2 bytes |
 * | "UINT32", "INT32" | 4 bytes |
 * | "CHAR" | a NUL-terminated text in a buffer of "CharLen" bytes |
 *
 * XML cannot hold every text: one of white space only comes back empty, "\r\n" and a lone "\r" as "\n".
 *
 * Results are 0 for success and 1 for failure unless told otherwise. There is no lock: no other thread may change the
 * variables during a load or save, and a file is used by one of them at a time.
 */
#ifndef TARN_CONFERENCE_CONF_XML_TREE_H
#define TARN_CONFERENCE_CONF_XML_TREE_H

#include "tarn_conference/conf_xml.h"

/** Bytes of an element's name and of its "name" attribute, their NULs included. */
#define CONF_XML_NAME_LEN 33

/** Type of a variable. */
enum {
    CONF_XML_ATTR_UINT8 = 0,
    CONF_XML_ATTR_INT8 = 1,
    CONF_XML_ATTR_UINT16 = 2,
    CONF_XML_ATTR_INT16 = 3,
    CONF_XML_ATTR_UINT32 = 4,
    CONF_XML_ATTR_INT32 = 5,
    CONF_XML_ATTR_CHAR = 6,
    CONF_XML_ATTR_NONE = 255 /**< The attribute is absent or names no type. */
};
/** A `CONF_XML_ATTR_...` value in one byte. */
typedef uint8_t ConfXmlAttrType;

/** What an element says about itself. */
typedef struct tagCONF_XML_NODE_INFO {
    void* node;                       /**< The element. */
    char nodeName[CONF_XML_NAME_LEN]; /**< "cfg" or "val". */
    char name[CONF_XML_NAME_LEN];     /**< Attribute "name"; empty when absent. */
    ConfXmlAttrType type;             /**< Attribute "type". */
    uint16_t instId;                  /**< Attribute "InstID"; 0 when absent. */
    uint16_t numOfInst;               /**< Attribute "NumOfInst"; 0 when absent. */
    uint16_t charLen;                 /**< Attribute "CharLen" of a "CHAR"; else 0. */
} tagCONF_XML_NODE_INFO;

static_assert(offsetof(tagCONF_XML_NODE_INFO, nodeName) == sizeof(void*),
              "description layout is part of the interface");
static_assert(offsetof(tagCONF_XML_NODE_INFO, name) == sizeof(void*) + 33,
              "description layout is part of the interface");
static_assert(offsetof(tagCONF_XML_NODE_INFO, type) == sizeof(void*) + 66,
              "description layout is part of the interface");
static_assert(offsetof(tagCONF_XML_NODE_INFO, instId) == sizeof(void*) + 68,
              "description layout is part of the interface");
static_assert(offsetof(tagCONF_XML_NODE_INFO, numOfInst) == sizeof(void*) + 70,
              "description layout is part of the interface");
static_assert(offsetof(tagCONF_XML_NODE_INFO, charLen) == sizeof(void*) + 72,
              "description layout is part of the interface");

/** A value on its way between an element's text and a variable. */
typedef struct tagCONF_XML_VALUE {
    ConfXmlAttrType type; /**< Which member of `value` counts. */
    union {
        uint8_t byte;     /**< Of the types of 1 byte. */
        uint16_t word;    /**< Of the types of 2 bytes. */
        uint32_t number;  /**< Of the types of 4 bytes. */
        const char* text; /**< Belongs to the document or is the variable; may be null. */
    } value;              /**< The value. */
} tagCONF_XML_VALUE;

static_assert(offsetof(tagCONF_XML_VALUE, value) == sizeof(void*), "value layout is part of the interface");

/** What a "val" element is made with. */
typedef struct ValueSpec {
    uint8_t type;     /**< A `ConfXmlAttrType` below 7. */
    const char* text; /**< The variable's address, as text. */
    uint32_t length;  /**< Bytes of a "CHAR" variable; its low 16 bits count. */
} ValueSpec;

static_assert(offsetof(ValueSpec, text) == sizeof(void*), "value layout is part of the interface");
static_assert(offsetof(ValueSpec, length) == 2 * sizeof(void*), "value layout is part of the interface");

/** Passed down a walk by value: what a callback writes is seen by its element's children only. */
typedef struct TransXMLContext {
    void* node; /**< Of the other tree: what corresponds to the parent of the element that is visited. */
    void* user; /**< The caller's; null in loads and saves. */
} TransXMLContext;

/** Visits an element of an index table. @return 0; anything else leaves out its children. */
typedef uint32_t (*ConfXmlTraverseCallBack)(tagCONF_XML_NODE_INFO* info, TransXMLContext* context);

/** Compares two descriptions. @return 0 for a match. `reserved` is 0. */
typedef int32_t (*ConfXmlCompareCallBack)(const tagCONF_XML_NODE_INFO* first, const tagCONF_XML_NODE_INFO* second,
                                          uint32_t reserved);

/** Makes an index table, for loading (mode 0) or saving (mode 1). @return its root, which the caller releases. */
typedef void* (*ConfXmlCreateIndexTable)(uint32_t mode);

TARN_EXTERN_C_BEGIN

/**
 * @brief Makes a group.
 * @param parent  Where to append it; null makes it the root of a new document.
 * @param name    Its "name".
 * @return it; null for a null name (it stays in the parent without one) or when memory is out.
 */
void* ConfXmlAddSingleStructNode(void* parent, const char* name);

/**
 * @brief Appends a group that holds the instances of another.
 * @param parent     Where to append it.
 * @param name       Its "name".
 * @param numOfInst  Its "NumOfInst"; the low 16 bits count.
 * @return it; null for a null parent, for a null name (it stays in the parent without one) or when memory is out.
 */
void* ConfXmlAddMultiInstanceNode(void* parent, const char* name, int32_t numOfInst);

/**
 * @brief Appends an instance.
 * @param parent  Where to append it. When the element cannot be made, for want of memory, the parent's whole document
 *                is released.
 * @param name    Its "name".
 * @param instId  Its "InstID"; the low 16 bits count.
 * @return it; null for a null parent, for a null name (it stays in the parent without one) or when memory is out.
 */
void* ConfXmlAddMultiStructNode(void* parent, const char* name, uint32_t instId);

/**
 * @brief Appends a value.
 * @param parent       Where to append it.
 * @param nameAndType  Its "name" and its "type".
 * @param spec         Its type, text and length.
 * @return it; null for null, a type of 7 or more, or when memory is out: the element stays, half made.
 */
void* ConfXmlAddSingleValueNode(void* parent, const char* const nameAndType[2], const ValueSpec* spec);

/**
 * @brief The type of a name, in exactly this case.
 * @param str  The name.
 * @param out  Receives the type.
 * @return 0; 1 for null or another text: `out` is untouched.
 */
uint32_t ConfXmlAttrTypeStrToEnum(const char* str, uint8_t* out);

/**
 * @brief Fills node, name, type and charLen of a description.
 * @param node  The element.
 * @param info  The description.
 * @return 0; 1 for a null `info` and for a name of 33 bytes or more. A null `node` is logged and described as an
 *         element without attributes.
 */
uint32_t ConfXmlGetXmlNodeAttr(void* node, tagCONF_XML_NODE_INFO* info);

/**
 * @brief Fills a whole description, which the caller has zero-filled.
 * @param node  The element.
 * @param info  The description.
 * @return 0; 1 for null and for names of 33 bytes or more.
 */
uint32_t ConfXmlGetXmlNodeAttrAndValue(void* node, tagCONF_XML_NODE_INFO* info);

/**
 * @brief Whether a description is that of a "val" element.
 * @param info  The description.
 * @return 1 for one; else 0, also for null.
 */
uint32_t ConfXmlIsValueNode(const tagCONF_XML_NODE_INFO* info);

/**
 * @brief Compares names, then instance numbers.
 * @param first     One description.
 * @param second    The other.
 * @param reserved  Not used.
 * @return 0 for a match; what strcmp says of the names; 1 when only the instance numbers differ, and for null.
 */
int32_t ConfXmlCompareNode(const tagCONF_XML_NODE_INFO* first, const tagCONF_XML_NODE_INFO* second,
                           uint32_t reserved
#ifdef __cplusplus
                           = 0
#endif
);

/**
 * @brief Compares two elements.
 * @param first    One element.
 * @param second   The other.
 * @param compare  Says what matches.
 * @return what `compare` says; 1 when one of them cannot be described or for a null `compare`.
 */
uint32_t ConfXmlMatchNode(void* first, void* second, ConfXmlCompareCallBack compare);

/**
 * @brief Looks for the first child that matches.
 * @param indexNode  What to look for.
 * @param parent     Whose children to look through.
 * @param compare    Says what matches.
 * @param found      Receives the child; untouched when there is none.
 * @return 0; 1 for none, for null, and when a child before it cannot be described.
 */
uint32_t ConfXmlFindMatchNode(void* indexNode, void* parent, ConfXmlCompareCallBack compare, void** found);

/**
 * @brief Whether a text is one or more digits 0 to 9.
 * @param str  The text.
 * @return 1 for one; else 0, also for null.
 */
uint32_t ConfXmlIsNumericStr(const char* str);

/**
 * @brief Reads an element's text.
 * @param node  The element.
 * @param type  How to read it: numbers as 32-bit signed ones, cut to the type's bytes, 0 for no number.
 * @param out   Receives type and value; a text may be null.
 * @return 0; 1 for a null `out` or a type of 7 or more, which is stored in `out` all the same. A null `node` is logged
 *         and reads as 0 or no text.
 */
uint32_t ConfXmlGetValue(void* node, uint8_t type, tagCONF_XML_VALUE* out);

/**
 * @brief Reads a variable by `info->type`.
 * @param info     Its description.
 * @param address  The variable.
 * @param out      Receives type and value.
 * @return 0; 1 for null or a type of 7 or more.
 */
uint32_t ConfXmlCopyIndexValueToXmlNode(const tagCONF_XML_NODE_INFO* info, const void* address, tagCONF_XML_VALUE* out);

/**
 * @brief Sets an element's text.
 * @param node   The element.
 * @param value  The value.
 * @return 0; 1 for a null value; 2 for a type of 7 or more; 15 for another null.
 */
uint32_t ConfXmlSetXmlNodeValue(void* node, const tagCONF_XML_VALUE* value);

/**
 * @brief Stores a value in a variable by `info->type`; `value` must hold a text exactly when that is "CHAR". A null
 *        text empties the variable.
 * @param value    The value.
 * @param info     The variable's description.
 * @param address  The variable.
 * @return 0; 1 for null, for a type of 7 or more, and for a text that does not fit `info->charLen`.
 */
uint32_t ConfXmlCopyXmlNodeValueToIndex(const tagCONF_XML_VALUE* value, const tagCONF_XML_NODE_INFO* info,
                                        void* address);

/**
 * @brief Walks an index table from its root down. A "val" element has no children.
 * @param hAddrTable  The root.
 * @param context     Copied for the root's visit.
 * @param callback    Called for every element that is reached.
 * @return 0, also when elements below the root failed; 1 when the root did, and for null.
 */
uint32_t ConfXmlTraverseXmlTree(void* hAddrTable, const TransXMLContext* context, ConfXmlTraverseCallBack callback);

/**
 * @brief Visit of a load: `context->node` is the loaded element that matched the parent (for the root: the root).
 * @param info     The element that is visited.
 * @param context  As told; receives the counterpart for the element's children.
 * @return 0; anything else leaves out the element's children.
 */
uint32_t ConfXmlLoadCallBack(tagCONF_XML_NODE_INFO* info, TransXMLContext* context);

/**
 * @brief Visit of a save: `context->node` is the written parent (for the root: the root).
 * @param info     The element that is visited.
 * @param context  As told; receives the counterpart for the element's children.
 * @return 0; anything else leaves out the element's children.
 */
uint32_t ConfXmlWriteCallBack(tagCONF_XML_NODE_INFO* info, TransXMLContext* context);

/**
 * @brief Reads a file into the variables. Those whose element is missing, has no known type or another kind of value
 *        that is not 0 or empty keep what they have.
 * @param createIndexTable  Makes the index table.
 * @param file              The file.
 * @param bakFile           Read when `file` cannot be opened or is no XML.
 * @return 0; 1 when neither is XML, without an index table, and when the roots do not match. A null path counts as a
 *         file that cannot be opened.
 *
 * Each file that could be opened stays open to the end of the process (see `ConfXmlParseFileGetRoot`): load at the
 * start, not in a loop.
 */
uint32_t ConfXmlLoad(ConfXmlCreateIndexTable createIndexTable, const char* file, const char* bakFile);

/**
 * @brief Writes the variables to a file, and that to its backup.
 * @param createIndexTable  Makes the index table.
 * @param file              The file, written in place.
 * @param bakFile           The backup; its failure is only logged.
 * @return 0; 1 without an index table, when the file cannot be written whole, or when memory is out. The backup is left
 *         alone then.
 */
uint32_t ConfXmlSave(ConfXmlCreateIndexTable createIndexTable, const char* file, const char* bakFile);

/**
 * @brief Copies a file to its backup and brings both to the disk. Failures are logged.
 * @param file     The file.
 * @param bakFile  Its backup, replaced.
 */
void ConfXmlBakFile(const char* file, const char* bakFile);

TARN_EXTERN_C_END

#ifdef __cplusplus
TARN_EXPORT_BEGIN
/**
 * @brief Appends an empty element with the name and attributes of a described one.
 * @param parent  Where to append it. When an attribute cannot be added, for want of memory, the parent's whole document
 *                is released.
 * @param info    The description; `node` is asked which attributes there are.
 * @return it; null for null or when memory is out.
 */
void* ConfXmlCloneSelfAsLastChildNode(void* parent, tagCONF_XML_NODE_INFO* info);
TARN_EXPORT_END
#endif

#endif
