// Operator names of plug-ins.
#include <cstring>

#include "internal/dbg.h"
#include "internal/guards.h"
#include "vos/plugin.h"
#include "vos/text.h"

namespace {

constexpr const char *kPrefix = VOS_PLUGIN_OPERATOR_PREFIX;
constexpr const char *kMainCustomer = "marlow";

VosRet rewrite(char **name, const char *customer) {
    if (name == nullptr || *name == nullptr || strstr(*name, "com.") == nullptr || strstr(*name, ".all.") != nullptr) {
        return VOS_RET_OK;
    }
    const char *base = strrchr(*name, '.') + 1;
    char *rewritten = nullptr;
    util_sprintf_alloc(__func__, __LINE__, &rewritten, "%s%s.smartgateway.%s", kPrefix, customer, base);
    if (rewritten == nullptr) {
        VOS_DBG_ERROR("Fail to alloc");
        return VOS_RET_OK;
    }
    VOS_FREE(*name);
    *name = rewritten;
    return VOS_RET_OK;
}

}  // namespace

VosRet UTIL_pluginCustormerNameToBase(char **name) {
    return rewrite(name, kMainCustomer);
}

VosRet UTIL_pluginSetPluginNameByCustomer(char **name, const char *customer) {
    return rewrite(name, customer == nullptr ? "" : customer);
}

VosRet UTIL_replacePluginGetNamebase(char **name) {
    // Contract: the empty customer leaves a doubled dot.
    return rewrite(name, "");
}

char *UTIL_pluginGetCustomer(const char *name, char **customerOut) {
    const char *prefix = name == nullptr ? nullptr : strstr(name, kPrefix);
    if (prefix == nullptr || customerOut == nullptr) {
        return nullptr;
    }
    const char *customer = prefix + strlen(kPrefix);
    const char *end = strchr(customer, '.');
    if (end == nullptr) {
        return nullptr;
    }
    char *copy = vosMem_strndup(customer, static_cast<uint32_t>(end - customer), __func__, __LINE__);
    if (copy == nullptr) {
        VOS_DBG_ERROR("VOS_MALLOC_FLAGS failed");
        return nullptr;
    }
    *customerOut = copy;
    return copy;
}
