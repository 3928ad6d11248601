// Documents cut at random: the tokenizer gives the same events as without cuts, and the table walk survives anything
// whose names are short enough.
#include <cstdlib>
#include <string>
#include <vector>

#include "vos/xml.h"

namespace {

std::string *g_events = nullptr;

void add(char kind, const char *text, uint32_t len, int partial) {
    static bool open = false;
    if (!open) {
        *g_events += kind;
    }
    g_events->append(text, len);
    open = partial != 0;
    if (!open) {
        *g_events += '\n';
    }
}

constexpr XmlCallbacks kRecording{
    [](XmlContext *, const char *name, uint32_t len) { add('<', name, len, 0); },
    [](XmlContext *, const char *name, uint32_t len) { add('@', name, len, 0); },
    [](XmlContext *, const char *text, uint32_t len, int partial) { add('=', text, len, partial); },
    [](XmlContext *, const char *text, uint32_t len, int partial) { add('\'', text, len, partial); },
    [](XmlContext *, const char *name, uint32_t len) { add('>', name, len, 0); },
};

// Stops where the document does. An unfinished text is ended by hand, so that the events compare.
std::string tokens(const std::string &document, size_t chunk) {
    std::string events;
    g_events = &events;
    XmlContext *ctx = nullptr;
    if (xmlOpen(&ctx, &kRecording) != 1) {
        abort();
    }
    for (size_t at = 0; at < document.size(); at += chunk) {
        const std::string piece = document.substr(at, chunk);
        const std::vector<char> exact(piece.begin(), piece.end());
        if (xmlWrite(ctx, exact.data(), static_cast<uint32_t>(exact.size()), nullptr) != 0) {
            break;
        }
    }
    xmlClose(ctx);
    add('.', "", 0, 0);
    return events;
}

int handler(const char *, int, const char *) {
    return 0;
}

XmlNamespace g_namespaces[] = {{nullptr, nullptr, "u"}, {nullptr, nullptr, nullptr}};
extern const XmlNode kNodes[];
const XmlNode kNodes[] = {
    {nullptr, "a", handler, kNodes}, {&g_namespaces[0], "b", handler, kNodes}, {nullptr, nullptr, nullptr, nullptr}};
const XmlTables kTables{kNodes, g_namespaces};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1 || size > 4096) {
        return 0;
    }
    const std::string document{reinterpret_cast<const char *>(data) + 1, size - 1};
    // A name of 129 characters ends the process, and a cut one loses what is beyond 128.
    size_t run = 0;
    for (const char c : document) {
        run = std::string{" \t\r\n>"}.find(c) == std::string::npos ? run + 1 : 0;
        if (run > 128) {
            return 0;
        }
    }
    if (tokens(document, document.size() + 1) != tokens(document, data[0] % 16u + 1)) {
        abort();
    }
    parseGeneric(nullptr, document.data(), static_cast<uint32_t>(document.size()), &kTables);
    return 0;
}
