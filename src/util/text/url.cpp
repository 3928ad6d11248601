// URLs taken apart.
#include <array>
#include <cstdlib>
#include <string_view>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "internal/slice.h"
#include "vos/text.h"

using std::string_view;
using vos::slice;

namespace {

constexpr size_t kMaxScheme = 16;
constexpr size_t kPartSize = 1024;  // host and path, each with its terminator
constexpr size_t kMaxPortDigits = 15;
constexpr std::array<string_view, 4> kSchemes{"http", "https", "ftp", "tftp"};  // in order of their number

vos::MemPtr<char> duplicate(string_view text) {
    return vos::MemPtr<char>{vosMem_strndup(text.data(), static_cast<uint32_t>(text.size()), __func__, __LINE__)};
}

bool parseScheme(const char *url, string_view *rest, uint32_t *proto) {
    const size_t colon = rest->find(':');
    if (colon == string_view::npos) {
        return false;
    }
    if (colon > kMaxScheme) {
        abort();  // Contract: a longer scheme is a fatal error.
    }
    const string_view scheme = slice(*rest, 0, colon);
    rest->remove_prefix(colon + 1);
    for (uint32_t i = 0; i < kSchemes.size(); i++) {
        if (scheme == kSchemes[i]) {
            *proto = i;
            return true;
        }
    }
    VOS_DBG_ERROR("unrecognized proto in URL %s", url);
    return false;
}

bool parseHost(const char *url, string_view *rest, string_view *host) {
    if (!vos::startsWith(*rest, "//")) {
        return false;
    }
    rest->remove_prefix(2);
    if (rest->starts_with('[')) {
        const size_t end = rest->find(']');
        if (end == string_view::npos) {
            return false;
        }
        *host = slice(*rest, 1, end - 1);
        rest->remove_prefix(end + 1);
    } else {
        *host = slice(*rest, 0, rest->find_first_of(":/"));
        rest->remove_prefix(host->size());
    }
    if (host->empty()) {
        VOS_DBG_ERROR("unrecognized host in URL %s", url);
        return false;
    }
    return host->size() < kPartSize;
}

bool parsePort(const char *url, string_view *rest, uint16_t *port) {
    if (!rest->starts_with(':')) {
        return true;
    }
    rest->remove_prefix(1);
    const string_view digits = slice(*rest, 0, rest->find_first_not_of("0123456789"));
    if (digits.empty()) {
        VOS_DBG_ERROR("unrecognized port in URL %s", url);
        return false;
    }
    if (digits.size() > kMaxPortDigits) {
        return false;
    }
    uint64_t value = 0;
    for (const char digit : digits) {
        value = value * 10 + static_cast<uint64_t>(digit - '0');
    }
    *port = static_cast<uint16_t>(value);
    rest->remove_prefix(digits.size());
    return true;
}

}  // namespace

VosRet util_parseUrl(const char *url, uint32_t *proto, char **host, uint16_t *port, char **path) {
    if (proto == nullptr || host == nullptr || port == nullptr || path == nullptr) {
        return VOS_RET_BAD_ARG;
    }
    *host = nullptr;
    *path = nullptr;
    if (url == nullptr) {
        VOS_DBG_DEBUG("url is NULL");
        return VOS_RET_BAD_ARG;
    }
    *port = 0;
    string_view rest{url};
    string_view hostPart;
    if (!parseScheme(url, &rest, proto) || !parseHost(url, &rest, &hostPart) || !parsePort(url, &rest, port)) {
        return VOS_RET_BAD_ARG;
    }
    const string_view pathPart = rest.starts_with('/') ? rest : "/";
    if (pathPart.size() >= kPartSize) {
        return VOS_RET_BAD_ARG;
    }
    vos::MemPtr<char> hostCopy = duplicate(hostPart);
    vos::MemPtr<char> pathCopy = duplicate(pathPart);
    if (!hostCopy || !pathCopy) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return VOS_RET_NO_RESOURCE;
    }
    *host = hostCopy.release();
    *path = pathCopy.release();
    return VOS_RET_OK;
}
