// Names as the languages write them, and the table of type names.
#include <cstdio>
#include <map>

#include "generate.h"

namespace vosgen {

std::string hex(uint32_t number) {
    char text[11];
    snprintf(text, sizeof text, "0x%08x", number);
    return text;
}

std::string typeNames(const std::vector<iface::Interface> &all) {
    std::map<uint32_t, std::string> names;
    for (const iface::Interface &each : all) {
        for (const iface::Message &message : each.messages) {
            if (!message.constant.empty()) {
                names.emplace(message.type, message.constant);
            }
        }
    }
    Lines out;
    for (const auto &[type, name] : names) {
        out.put("{", hex(type), ", \"", name, "\"},");
    }
    return out.text();
}

}  // namespace vosgen
