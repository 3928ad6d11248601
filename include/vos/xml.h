/** @file
 *  A small streaming reader for XML configuration, in two layers.
 *
 *  The tokenizer (xmlOpen, xmlWrite, xmlClose) takes a document in chunks, cut anywhere, and reports tags, attributes
 *  and text to five callbacks. parseGeneric() puts a table-driven parser on it: the caller describes the document as a
 *  tree of node tables, and each matching row's handler is called.
 *
 *  It is no general XML processor: entities arrive undecoded, and there are no comments, CDATA sections, single-quoted
 *  values or checks of well-formedness beyond matching names with tables. Documents nest 19 levels deep at most. Names
 *  have 128 characters at most; a longer one in a document that parseGeneric() reads ends the process, so only
 *  documents from a trusted writer go there.
 *
 *  A context belongs to one thread at a time; nothing is shared between contexts, so a handler may parse again
 *  and threads may parse by the same tables. Only what a table shows as bound prefix is then anybody's.
 */
#ifndef VOS_XML_H
#define VOS_XML_H

#include "vos/ret.h"

/** A document being read; opaque. */
typedef struct XmlContext XmlContext;

/** What the tokenizer reports; NULL callbacks are skipped, none may throw. Texts are not terminated and live until the
 *  callback returns. */
typedef struct {
    void (*tagBegin)(XmlContext *ctx, const char *name, uint32_t len);               /**< start tag */
    void (*attrName)(XmlContext *ctx, const char *name, uint32_t len);               /**< attribute */
    void (*attrValue)(XmlContext *ctx, const char *text, uint32_t len, int partial); /**< its value, or a part of it */
    void (*data)(XmlContext *ctx, const char *text, uint32_t len, int partial);      /**< text, or a part of it */
    void (*tagEnd)(XmlContext *ctx, const char *name, uint32_t len);                 /**< end tag; "" for "<a/>" */
} XmlCallbacks;
VOS_STATIC_ASSERT(sizeof(XmlCallbacks) == 40, "callers fill in the callbacks");
VOS_STATIC_ASSERT(offsetof(XmlCallbacks, attrName) == 8, "callers fill in the callbacks");
VOS_STATIC_ASSERT(offsetof(XmlCallbacks, attrValue) == 16, "callers fill in the callbacks");
VOS_STATIC_ASSERT(offsetof(XmlCallbacks, data) == 24, "callers fill in the callbacks");
VOS_STATIC_ASSERT(offsetof(XmlCallbacks, tagEnd) == 32, "callers fill in the callbacks");

/** Events of a node's handler. */
enum {
    XML_EVENT_BEGIN = 1, /**< element starts; value NULL */
    XML_EVENT_END = 2,   /**< element ends; value NULL, name empty for the short form "<a/>" */
    XML_EVENT_DATA = 3,  /**< text of an element, trimmed; name is the row's */
    XML_EVENT_VALUE = 5  /**< value of an attribute; name is the attribute's as written */
};

/** A namespace; an array ends with a NULL uri. */
typedef struct {
    char *prefix;    /**< NULL; bound while parsing, freed and NULL again afterwards */
    void *reserved;  /**< the caller's */
    const char *uri; /**< what xmlns:PREFIX binds */
} XmlNamespace;
VOS_STATIC_ASSERT(sizeof(XmlNamespace) == 24, "callers lay out the tables");
VOS_STATIC_ASSERT(offsetof(XmlNamespace, reserved) == 8, "callers lay out the tables");
VOS_STATIC_ASSERT(offsetof(XmlNamespace, uri) == 16, "callers lay out the tables");

/** XmlNode.ns: any prefix will do, as with NULL. */
#define XML_ANY_NAMESPACE ((const XmlNamespace *)UINTPTR_MAX)

/** An element or attribute; a table ends with a NULL name, and the first row that matches counts. A prefixed name
 *  matches a row with a namespace when that namespace has been bound, whatever the prefix. Handlers must not throw. */
typedef struct XmlNode {
    const XmlNamespace *ns; /**< namespace that a prefixed name must have; NULL or XML_ANY_NAMESPACE: any */
    const char *name;       /**< local name */
    int (*handler)(const char *name, int event, const char *value); /**< may be NULL; non-zero is an error, not shown */
    const struct XmlNode *children; /**< table of child elements and of attributes, or NULL */
} XmlNode;
VOS_STATIC_ASSERT(sizeof(XmlNode) == 32, "callers lay out the tables");
VOS_STATIC_ASSERT(offsetof(XmlNode, name) == 8, "callers lay out the tables");
VOS_STATIC_ASSERT(offsetof(XmlNode, handler) == 16, "callers lay out the tables");
VOS_STATIC_ASSERT(offsetof(XmlNode, children) == 24, "callers lay out the tables");

/** What parseGeneric() reads by. */
typedef struct {
    const XmlNode *root;      /**< table with the root element */
    XmlNamespace *namespaces; /**< or NULL */
} XmlTables;
VOS_STATIC_ASSERT(sizeof(XmlTables) == 16, "callers lay out the tables");
VOS_STATIC_ASSERT(offsetof(XmlTables, namespaces) == 8, "callers lay out the tables");

VOS_BEGIN_DECLS

/** Begins a document; 1, or 0 when memory is short. Released with xmlClose(). */
int xmlOpen(XmlContext **ctx, const XmlCallbacks *callbacks);

/** Takes the next chunk. White space around tags and in front of text and values is skipped, and so is one "<?…?>" in
 *  front of the document.
 *
 *  @param stop  may be NULL; receives the position reached
 *  @return 1 when this chunk closed the root element; else 0, also for NULL
 */
int xmlWrite(XmlContext *ctx, const char *data, uint32_t len, const char **stop);

/** Releases a context; NULL does nothing. */
void xmlClose(XmlContext *ctx);

/** Reads a document from a file or, with a NULL @p path, from memory.
 *
 *  The result tells whether the root element was closed, nothing else: unknown names are skipped and handlers' errors
 *  change nothing. A file is read in chunks of 4096 bytes of which each must close the root element, so its root
 *  element ends within the first 4096 bytes.
 *
 *  @return 0; 1 for a document that does not end or nests too deep, an unreadable file, missing tables, and when both
 *          or none of @p path and @p data are given
 */
int parseGeneric(const char *path, const char *data, uint32_t dataLen, const XmlTables *tables);

/** @name The callbacks that parseGeneric() gives to the tokenizer
 *  @{ */
/** A callback of parseGeneric(), see XmlCallbacks; only for contexts that it opened. */
void xmlTagBegin(XmlContext *ctx, const char *name, uint32_t len);
void xmlAttr(XmlContext *ctx, const char *name, uint32_t len);
void xmlValue(XmlContext *ctx, const char *text, uint32_t len, int partial);
void xmlData(XmlContext *ctx, const char *text, uint32_t len, int partial);
void xmlTagEnd(XmlContext *ctx, const char *name, uint32_t len);
/** @} */

VOS_END_DECLS

#endif
