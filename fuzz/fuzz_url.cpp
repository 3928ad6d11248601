// URLs from configuration files and the network: the parts that come out are parts of what went in.
#include <cstdlib>
#include <cstring>
#include <string>

#include "vos/mem.h"
#include "vos/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text{reinterpret_cast<const char *>(data), size};
    char *url = strdup(text.c_str());
    const size_t colon = strcspn(url, ":");
    uint32_t proto = 0;
    uint16_t port = 0;
    char *host = nullptr;
    char *path = nullptr;
    if (colon <= 16) {  // a longer scheme ends the process by contract
        const VosRet ret = util_parseUrl(url, &proto, &host, &port, &path);
        const bool found = host != nullptr && path != nullptr && proto <= UTIL_URL_TFTP && host[0] != '\0' &&
                           path[0] == '/' && strlen(host) < 1024 && strlen(path) < 1024 &&
                           strstr(url, host) != nullptr && (strcmp(path, "/") == 0 || strstr(url, path) != nullptr);
        if (ret == VOS_RET_OK ? !found : host != nullptr || path != nullptr) {
            abort();
        }
    }
    VOS_FREE(host);
    VOS_FREE(path);
    free(url);
    return 0;
}
