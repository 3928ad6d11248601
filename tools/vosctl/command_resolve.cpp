// vosctl resolve: one DNS question to one server.
#include <net/if.h>
#include <sys/socket.h>

#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "arguments.h"
#include "command.h"
#include "output.h"
#include "vos/addr.h"
#include "vos/dns.h"
#include "vos/ret.h"

namespace {

struct Options {
    std::string name;
    std::string server;
    std::string interface;
    bool ipv6 = false;
    bool ipv4 = false;
    bool json = false;
};

std::string configuredServer() {
    std::ifstream file{"/etc/resolv.conf"};
    std::string word;
    std::string value;
    for (std::string line; std::getline(file, line);) {
        if (std::istringstream{line} >> word >> value && word == "nameserver") {
            return value;
        }
    }
    throw vosctl::Failure{"/etc/resolv.conf names no server; give one with --server"};
}

void run(const Options &options) {
    const std::string server = options.server.empty() ? configuredServer() : options.server;
    const bool overIpv6 = server.find(':') != std::string::npos;
    if (!util_isValidIpAddress(overIpv6 ? AF_INET6 : AF_INET, server.c_str()) ||
        server.find('/') != std::string::npos) {
        throw vosctl::Failure{"'" + server + "' is no IP address; give the server's address with --server",
                              vosctl::Exit::kUsage};
    }
    if (options.ipv6 && !overIpv6) {
        throw vosctl::Failure{"IPv6 addresses are asked for over IPv6 only; give an IPv6 server with --server",
                              vosctl::Exit::kUsage};
    }
    if (!options.interface.empty() && if_nametoindex(options.interface.c_str()) == 0) {
        throw vosctl::Failure{"there is no interface '" + options.interface + "'; 'vosctl if' lists them"};
    }
    std::string found(2048, '\0');
    const auto room = static_cast<uint32_t>(found.size());
    const char *interface = options.interface.c_str();
    const bool askForIpv6 = overIpv6 && !options.ipv4;
    const VosRet ret = overIpv6 ? UTIL_dnsDoIpv6Query(options.name.c_str(), interface, server.c_str(), found.data(),
                                                      room, askForIpv6 ? 1 : 0)
                                : UTIL_dnsDoQuery(options.name.c_str(), interface, server.c_str(), found.data(), room);
    if (ret != VOS_RET_OK) {
        throw vosctl::Failure{"no " + std::string{askForIpv6 ? "IPv6" : "IPv4"} + " address of '" + options.name +
                              "' from " + server + "; check the name, the server and the route to it"};
    }
    std::istringstream addresses{found.c_str()};
    auto all = nlohmann::ordered_json::array();
    for (std::string address; std::getline(addresses, address, '\t');) {
        all.push_back(address);
    }
    if (options.json) {
        return vosctl::printJson({{"name", options.name}, {"server", server}, {"addresses", all}});
    }
    for (const auto &address : all) {
        puts(address.get_ref<const std::string &>().c_str());
    }
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("name", options->name, "host name").required();
    app.option("--server", options->server,
               "IPv4 or IPv6 address of the server; default: the first one in "
               "/etc/resolv.conf")
        .called("IP");
    app.option("--if", options->interface, "interface to ask through").called("NAME");
    const vosctl::Argument ipv6 = app.flag("-6", options->ipv6, "IPv6 addresses (default with an IPv6 server)");
    app.flag("-4", options->ipv4, "IPv4 addresses (default with an IPv4 server)").excludes(ipv6);
    vosctl::addJson(app, options->json);
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"resolve", "ask a DNS server for a host's addresses", setUp};

}  // namespace
