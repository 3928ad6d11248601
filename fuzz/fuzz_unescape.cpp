// Any text with XML entities: unescaping undoes escaping and never makes a text longer.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "vos/codec.h"
#include "vos/mem.h"

namespace {

std::string convert(VosRet (*function)(const char *, char **), const std::string &in) {
    char *out = nullptr;
    if (function(in.c_str(), &out) != VOS_RET_OK) {
        abort();
    }
    std::string text{out};
    VOS_FREE(out);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text{std::string(reinterpret_cast<const char *>(data), size).c_str()};
    if (convert(utilXml_unescapeString, text).size() > text.size()) {
        abort();
    }
    if (convert(utilXml_unescapeString, convert(utilXml_escapeString, text)) != text) {
        abort();
    }
    return 0;
}
