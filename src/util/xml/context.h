// What tokenizer and table-driven parser keep about a document.
#pragma once

#include <cstddef>

#include "vos/xml.h"

namespace vos {

constexpr size_t kXmlMaxName = 128;
constexpr int32_t kXmlMaxLevel = 19;
constexpr uint32_t kXmlTraceOn = 1;

enum class XmlState : uint32_t {
    kFresh,        // in front of the document, see prologue
    kText,         // outside a tag
    kTagStart,     // behind '<'
    kEndName,      // behind "</"
    kInTag,        // between attributes
    kAfterName,    // behind an attribute's name
    kAfterEquals,  // behind '='
    kValue,        // inside a value
    kTagClose      // waiting for '>'
};

// How far the text in front of the document has been understood.
enum class XmlPrologue : uint32_t { kBlank, kLess, kDeclaration, kQuestionMark };

/** Text that grows as chunks arrive. */
struct XmlBuffer {
    char *text;
    uint32_t length;
    uint32_t capacity;
};

}  // namespace vos

struct XmlContext {
    XmlCallbacks callbacks;
    vos::XmlState state;
    char nameCache[vos::kXmlMaxName];  // a name that a chunk's end has cut
    uint32_t nameCached;
    uint32_t skipWhiteSpace;
    int64_t tagDepth;
    vos::XmlPrologue prologue;

    // The table-driven parser's.
    uint32_t traceFlags;
    XmlNamespace *namespaces;
    size_t namespaceCount;
    char **prefixes;  // what this document has bound each namespace to; NULL before the first
    void (*trace)(int event, const char *text);
    void (*reporter)(const char *format, ...);
    const XmlNode *table;  // where the next name is looked up; NULL below an unknown element
    int32_t level;
    char attribute[vos::kXmlMaxName + 1];
    const XmlNode *tables[vos::kXmlMaxLevel + 1];  // in front of each open element
    const XmlNode *rows[vos::kXmlMaxLevel + 1];    // what each open element matched
    vos::XmlBuffer value;
    vos::XmlBuffer data;
    bool tooDeep;
};
