// The table-driven parser on the tokenizer's callbacks.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/own_names.h"
#include "util/xml/context.h"

using vos::XmlBuffer;

namespace {

constexpr size_t kChunkSize = 4096;
constexpr uint32_t kMinCapacity = 64;
constexpr const char *kBlanks = "\t\n\r ";
constexpr const char *kXmlnsPrefix = "xmlns:";

// Trace events; begin, end and value have the handlers' numbers.
constexpr int kTraceAttribute = 4;

// A name with its terminator.
// Contract: a longer one than a name may be ends the process.
struct Name {
    char text[vos::kXmlMaxName + 1];

    Name(const char *name, uint32_t len) {
        if (len > vos::kXmlMaxName) {
            abort();
        }
        memcpy(text, name, len);
        text[len] = '\0';
    }
};

// Contract: nobody sets the flags; a debugger may, to see what is parsed.
void trace(const XmlContext *ctx, int event, const char *text) {
    if ((ctx->traceFlags & vos::kXmlTraceOn) != 0 && ctx->trace != nullptr) {
        ctx->trace(event, text);
    }
}

// Contract: what the parser reports, unknown names and handlers' errors, is formatted nowhere and shown nowhere.
[[gnu::format(printf, 1, 2)]] void parse_error(const char *format, ...) {
    if (strstr(format, "attribute") != nullptr) {
        return;
    }
}

template <typename... Arguments>
void report(const XmlContext *ctx, const char *format, Arguments... arguments) {
    if (ctx->reporter != nullptr) {
        ctx->reporter(format, arguments...);
    }
}

bool xmlnsPrefix(const char *name) {
    return strncmp(name, kXmlnsPrefix, strlen(kXmlnsPrefix)) == 0;
}

// What a namespace is bound to. The caller's row only shows it: handlers and other threads may be parsing by the same
// table. Rows outside the table are all the caller's.
const char *boundPrefix(const XmlContext *ctx, const XmlNamespace *ns) {
    const auto offset = reinterpret_cast<uintptr_t>(ns) - reinterpret_cast<uintptr_t>(ctx->namespaces);
    if (offset >= ctx->namespaceCount * sizeof *ns) {
        return ns->prefix;
    }
    return ctx->prefixes == nullptr ? nullptr : ctx->prefixes[offset / sizeof *ns];
}

bool nameCmp(const XmlContext *ctx, const char *name, const XmlNode *row) {
    const char *colon = strchr(name, ':');
    if (colon == nullptr) {
        return strcmp(name, row->name) == 0;
    }
    if (row->ns != nullptr && row->ns != XML_ANY_NAMESPACE) {
        // Contract: a bound prefix has no colon, so any prefix matches once one is bound.
        const auto length = static_cast<size_t>(colon - name) + 1;
        const char *prefix = boundPrefix(ctx, row->ns);
        if (prefix == nullptr || strncmp(name, prefix, length) == 0) {
            return false;
        }
    }
    return strcmp(colon + 1, row->name) == 0;
}

// The first row of the current table for a name; NULL without.
const XmlNode *findRow(const XmlContext *ctx, const char *name) {
    for (const XmlNode *row = ctx->table; row != nullptr && row->name != nullptr; row++) {
        if (nameCmp(ctx, name, row)) {
            return row;
        }
    }
    return nullptr;
}

int call(const XmlNode *row, const char *name, int event, const char *value) {
    return row->handler == nullptr ? 0 : row->handler(name, event, value);
}

bool append(XmlBuffer *buffer, const char *text, uint32_t len) {
    const uint64_t needed = uint64_t{buffer->length} + len + 1;
    if (needed > buffer->capacity) {
        const uint64_t wanted = std::max<uint64_t>({needed, 2 * uint64_t{buffer->capacity}, kMinCapacity});
        const auto capacity = static_cast<uint32_t>(std::min<uint64_t>(wanted, UINT32_MAX));
        void *larger = needed > UINT32_MAX       ? nullptr
                       : buffer->text == nullptr ? VOS_MALLOC_FLAGS(capacity, 0)
                                                 : vosMem_realloc(buffer->text, capacity, __func__, __LINE__);
        if (larger == nullptr) {
            return false;
        }
        buffer->text = static_cast<char *>(larger);
        buffer->capacity = capacity;
    }
    memcpy(buffer->text + buffer->length, text, len);
    buffer->length += len;
    buffer->text[buffer->length] = '\0';
    return true;
}

void release(XmlBuffer *buffer) {
    VOS_FREE(buffer->text);
    *buffer = XmlBuffer{};
}

void unbind(const XmlContext *ctx, size_t i) {
    char *shown = ctx->prefixes[i];
    __atomic_compare_exchange_n(&ctx->namespaces[i].prefix, &shown, nullptr, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED);
    VOS_FREE(ctx->prefixes[i]);
    ctx->prefixes[i] = nullptr;
}

void bindPrefix(XmlContext *ctx, const char *prefix, const char *uri) {
    size_t i = 0;
    while (i < ctx->namespaceCount && strcmp(ctx->namespaces[i].uri, uri) != 0) {
        i++;
    }
    if (i == ctx->namespaceCount) {
        return;
    }
    if (ctx->prefixes == nullptr) {
        ctx->prefixes = vos::allocZeroed<char *>(ctx->namespaceCount * sizeof *ctx->prefixes).release();
        if (ctx->prefixes == nullptr) {
            return;
        }
    }
    unbind(ctx, i);
    ctx->prefixes[i] = vosMem_strdup(prefix, __func__, __LINE__);
    __atomic_store_n(&ctx->namespaces[i].prefix, ctx->prefixes[i], __ATOMIC_RELAXED);
}

void setNamespaces(XmlContext *ctx, XmlNamespace *namespaces) {
    ctx->namespaces = namespaces;
    while (namespaces != nullptr && namespaces[ctx->namespaceCount].uri != nullptr) {
        ctx->namespaceCount++;
    }
}

void unbindAll(XmlContext *ctx) {
    for (size_t i = 0; ctx->prefixes != nullptr && i < ctx->namespaceCount; i++) {
        unbind(ctx, i);
    }
    VOS_FREE(ctx->prefixes);
}

// Remembers what stands around an element that is being opened.
void push(XmlContext *ctx, const XmlNode *row) {
    if (ctx->level >= vos::kXmlMaxLevel) {
        VOS_DBG_ERROR("xml nested deeper than 19 levels");
        ctx->tooDeep = true;
        return;
    }
    ctx->level++;
    ctx->tables[ctx->level] = ctx->table;
    ctx->rows[ctx->level] = row;
    ctx->table = row == nullptr ? nullptr : row->children;
}

char *trimmed(char *text) {
    text += strspn(text, kBlanks);
    size_t length = strlen(text);
    while (length > 0 && strchr(kBlanks, text[length - 1]) != nullptr) {
        length--;
    }
    text[length] = '\0';
    return text;
}

bool readFile(XmlContext *ctx, const char *path) {
    const vos::UniqueFile file{fopen(path, "re")};
    if (!file) {
        VOS_DBG_ERROR("Parser:Could not open file %s", path);
        return false;
    }
    char chunk[kChunkSize];
    size_t got = 0;
    bool first = true;
    do {
        got = fread(chunk, 1, sizeof chunk, file.get());
        // Contract: every chunk has to close the root element.
        if ((got > 0 || first) && vos::own::xmlWrite(ctx, chunk, static_cast<uint32_t>(got), nullptr) < 1) {
            VOS_DBG_ERROR("Parser:invalid xml config in file %s", path);
            return false;
        }
        first = false;
    } while (got == sizeof chunk);
    return true;
}

bool readMemory(XmlContext *ctx, const char *data, uint32_t dataLen) {
    if (vos::own::xmlWrite(ctx, data, dataLen, nullptr) < 1) {
        VOS_DBG_ERROR("parser %s", "invalid xml config in memory");
        return false;
    }
    return true;
}

constexpr XmlCallbacks kCallbacks{vos::own::xmlTagBegin, vos::own::xmlAttr, vos::own::xmlValue, vos::own::xmlData,
                                  vos::own::xmlTagEnd};

}  // namespace

VOS_OPEN_NAME int parseGeneric(const char *path, const char *data, uint32_t dataLen, const XmlTables *tables) {
    if (path != nullptr && data != nullptr) {
        VOS_DBG_ERROR("parser: %s", "internal error: parse_generic() can not parse both from file and memory\n");
        return 1;
    }
    if (tables == nullptr || tables->root == nullptr || (path == nullptr && data == nullptr)) {
        VOS_DBG_ERROR("parser: %s", "internal error: parse_generic() needs a document and tables\n");
        return 1;
    }
    XmlContext *ctx = nullptr;
    if (vos::own::xmlOpen(&ctx, &kCallbacks) == 0) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return 1;
    }
    ctx->table = tables->root;
    ctx->tables[0] = tables->root;
    setNamespaces(ctx, tables->namespaces);
    ctx->reporter = parse_error;
    const bool read = path != nullptr ? readFile(ctx, path) : readMemory(ctx, data, dataLen);
    const bool sound = read && !ctx->tooDeep;
    unbindAll(ctx);
    vos::own::xmlClose(ctx);
    return sound ? 0 : 1;
}

void vos::own::xmlTagBegin(XmlContext *ctx, const char *name, uint32_t len) {
    const Name tag{name, len};
    if (ctx->tooDeep) {
        return;
    }
    VOS_DBG_DEBUG("tag=%s lth=%d xmllevel=%d", tag.text, static_cast<int>(len), ctx->level);
    trace(ctx, XML_EVENT_BEGIN, tag.text);
    const XmlNode *row = findRow(ctx, tag.text);
    if (row == nullptr) {
        VOS_DBG_DEBUG("tag=%s not found", tag.text);
    } else if (call(row, tag.text, XML_EVENT_BEGIN, nullptr) != 0) {
        report(ctx, "Parse error at begin Tag = %s ", tag.text);
    }
    push(ctx, row);
}

void vos::own::xmlAttr(XmlContext *ctx, const char *name, uint32_t len) {
    const Name attribute{name, len};
    if (ctx->tooDeep) {
        return;
    }
    trace(ctx, kTraceAttribute, attribute.text);
    const bool declares = xmlnsPrefix(attribute.text);
    if (!declares && (ctx->level < 1 || findRow(ctx, attribute.text) == nullptr)) {
        // Contract: the attribute remembered before stays in place.
        if (ctx->table != nullptr) {
            report(ctx, "Unknow attribute %s\n", attribute.text);
        }
        VOS_DBG_DEBUG("xmlAttr attr=%s not found at level %d", attribute.text, ctx->level);
        return;
    }
    memcpy(ctx->attribute, attribute.text, len + 1);
    if (!declares) {
        VOS_DBG_DEBUG("xmlAttr attr=%s found at level %d", attribute.text, ctx->level);
    }
}

void vos::own::xmlValue(XmlContext *ctx, const char *text, uint32_t len, int partial) {
    if (ctx->tooDeep) {
        return;
    }
    if (!append(&ctx->value, text, len)) {
        report(ctx, "Parser value allocation buffer failure at %d", ctx->level);
        return;
    }
    if (partial != 0) {
        return;
    }
    const char *value = ctx->value.text;
    trace(ctx, XML_EVENT_VALUE, value);
    if (xmlnsPrefix(ctx->attribute)) {
        bindPrefix(ctx, ctx->attribute + strlen(kXmlnsPrefix), value);
    } else if (const XmlNode *row = ctx->level < 1 ? nullptr : findRow(ctx, ctx->attribute); row != nullptr) {
        if (call(row, ctx->attribute, XML_EVENT_VALUE, value) != 0) {
            report(ctx, "Attribute value error for %s=\"%s\"", ctx->attribute, value);
        }
        VOS_DBG_DEBUG("xmlValue attr=%s value=%s found at level %d", ctx->attribute, value, ctx->level);
    } else {
        if (ctx->table != nullptr) {
            report(ctx, "Unknown attribute for value=%s at level %d", value, ctx->level);
        }
        VOS_DBG_DEBUG("xmlValue attr=%s not found at level %d", ctx->attribute, ctx->level);
    }
    release(&ctx->value);
}

void vos::own::xmlData(XmlContext *ctx, const char *text, uint32_t len, int partial) {
    if (ctx->tooDeep) {
        return;
    }
    if (!append(&ctx->data, text, len)) {
        report(ctx, "Parser data allocation buffer failure at %d", ctx->level);
        return;
    }
    if (partial != 0) {
        return;
    }
    if (const XmlNode *row = ctx->rows[ctx->level]; row != nullptr) {
        const char *data = row->handler == nullptr ? ctx->data.text : trimmed(ctx->data.text);
        if (call(row, row->name, XML_EVENT_DATA, data) != 0) {
            report(ctx, "Tag data error for %s=\"%s\"", row->name, data);
        }
        VOS_DBG_DEBUG("xmlDATA tag=%s data=%s found at level %d", row->name, data, ctx->level);
    } else {
        if (ctx->table != nullptr) {
            report(ctx, "Unknown data=%s at level %d", ctx->data.text, ctx->level);
        }
        VOS_DBG_DEBUG("xmlDATA at level %d", ctx->level);
    }
    release(&ctx->data);
}

void vos::own::xmlTagEnd(XmlContext *ctx, const char *name, uint32_t len) {
    const Name tag{name, len};
    release(&ctx->value);
    release(&ctx->data);
    if (ctx->tooDeep) {
        return;
    }
    if (ctx->level == 0) {
        report(ctx, "Bad xml tree fromat tag=%s", tag.text);
        return;
    }
    const XmlNode *row = ctx->rows[ctx->level];
    ctx->table = ctx->tables[ctx->level];
    ctx->level--;
    if (row == nullptr) {
        trace(ctx, XML_EVENT_END, tag.text);
        VOS_DBG_DEBUG("xmlTagEnd tag=%s xml node not found at level %d", tag.text, ctx->level);
        return;
    }
    if (len == 0) {
        VOS_DBG_DEBUG("xmlTagEnd shortform tag=%s xmllevel=%d", tag.text, ctx->level);
    } else if (!nameCmp(ctx, tag.text, row)) {
        VOS_DBG_DEBUG("xmlTagEnd tag=%s internal nodepointer error level=%d", tag.text, ctx->level);
        return;
    }
    if (call(row, tag.text, XML_EVENT_END, nullptr) != 0) {
        report(ctx, "Configuration function error at tag=%s ", tag.text);
    }
    if (len != 0) {
        VOS_DBG_DEBUG("xmlTagEnd tag=%s found at level %d", tag.text, ctx->level);
    }
}

VOS_OPEN_NAME void xmlTagBegin(XmlContext *ctx, const char *name, uint32_t len) {
    vos::own::xmlTagBegin(ctx, name, len);
}

VOS_OPEN_NAME void xmlAttr(XmlContext *ctx, const char *name, uint32_t len) {
    vos::own::xmlAttr(ctx, name, len);
}

VOS_OPEN_NAME void xmlValue(XmlContext *ctx, const char *text, uint32_t len, int partial) {
    vos::own::xmlValue(ctx, text, len, partial);
}

VOS_OPEN_NAME void xmlData(XmlContext *ctx, const char *text, uint32_t len, int partial) {
    vos::own::xmlData(ctx, text, len, partial);
}

VOS_OPEN_NAME void xmlTagEnd(XmlContext *ctx, const char *name, uint32_t len) {
    vos::own::xmlTagEnd(ctx, name, len);
}
