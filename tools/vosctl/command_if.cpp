// vosctl if: what the library knows about network interfaces.
#include <net/if.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command.h"
#include "output.h"
#include "vos/netif.h"
#include "vos/ret.h"
#include "vos/text.h"

namespace {

struct Options {
    std::string name;
    bool json = false;
};

struct Ipv6 {
    std::string address;
    uint32_t prefixLen;
    bool linkLocal;
};

struct Interface {
    std::string name;
    bool up = false;
    std::string mac;
    std::string address;
    std::string mask;
    std::string subnet;
    std::vector<Ipv6> ipv6;
};

std::string text(int (*query)(const char *, char *, uint32_t), const std::string &name) {
    char buffer[32];
    return query(name.c_str(), buffer, sizeof buffer) == 1 ? buffer : "";
}

Interface look(const std::string &name) {
    Interface found;
    found.name = name;
    uint8_t up = 0;
    found.up = UTIL_checkInterfaceUp(name.c_str(), &up) == VOS_RET_OK && up != 0;
    uint8_t mac[6] = {};
    char macText[18] = "";
    if (UTIL_getIfMacAddr(name.c_str(), mac) == 0 && util_macNumToStr(mac, macText, sizeof macText) == VOS_RET_OK) {
        found.mac = macText;
    }
    found.address = text(UTIL_getIfAddr, name);
    found.mask = text(UTIL_getIfMask, name);
    found.subnet = text(UTIL_getIfSubnet, name);
    char address[VOS_IF_ADDR6_SIZE];
    uint32_t ifIndex = 0;
    uint32_t prefixLen = 0;
    uint32_t scope = 0;
    uint32_t flags = 0;
    for (uint32_t i = 0; UTIL_getIfAddr6(name.c_str(), i, address, &ifIndex, &prefixLen, &scope, &flags) == VOS_RET_OK;
         i++) {
        found.ipv6.push_back({address, prefixLen, scope == VOS_IF_SCOPE_LINK_LOCAL});
    }
    return found;
}

void printTable(const Interface &found) {
    printf("%-15s %-4s %-17s %-15s %-15s %s\n", found.name.c_str(), found.up ? "up" : "down", found.mac.c_str(),
           found.address.c_str(), found.mask.c_str(), found.subnet.c_str());
    for (const Ipv6 &ipv6 : found.ipv6) {
        printf("%-15s %s/%u%s\n", "", ipv6.address.c_str(), ipv6.prefixLen, ipv6.linkLocal ? " link-local" : "");
    }
}

void printJson(const Interface &found) {
    auto ipv6 = nlohmann::ordered_json::array();
    for (const Ipv6 &each : found.ipv6) {
        ipv6.push_back({{"address", each.address}, {"prefixLen", each.prefixLen}, {"linkLocal", each.linkLocal}});
    }
    vosctl::printJson({{"name", found.name},
                       {"up", found.up},
                       {"mac", found.mac},
                       {"address", found.address},
                       {"mask", found.mask},
                       {"subnet", found.subnet},
                       {"ipv6", ipv6}});
}

void run(const Options &options) {
    std::vector<std::string> names;
    if (!options.name.empty()) {
        if (UTIL_isInterfaceExisted(options.name.c_str()) == 0) {
            throw vosctl::Failure{"there is no interface '" + options.name + "'; 'vosctl if' lists them"};
        }
        names.push_back(options.name);
    } else {
        const std::unique_ptr<struct if_nameindex, decltype(&if_freenameindex)> all{::if_nameindex(), if_freenameindex};
        if (!all) {
            throw vosctl::Failure{std::string{"cannot list the interfaces: "} + strerror(errno)};
        }
        for (const struct if_nameindex *entry = all.get(); entry != nullptr && entry->if_index != 0; entry++) {
            names.emplace_back(entry->if_name);
        }
    }
    if (!options.json) {
        printf("%-15s %-4s %-17s %-15s %-15s %s\n", "INTERFACE", "", "MAC", "ADDRESS", "MASK", "SUBNET");
    }
    for (const std::string &name : names) {
        options.json ? printJson(look(name)) : printTable(look(name));
    }
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("name", options->name, "one interface; default: all");
    app.flag("--json", options->json, "one JSON object a line");
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"if", "show network interfaces and their addresses", setUp};

}  // namespace
