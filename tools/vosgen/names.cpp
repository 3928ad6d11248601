// Names as the languages write them, and the table of type names.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>

#include "generate.h"

namespace vosgen {

std::string upperFirst(const std::string &name) {
    std::string result = name;
    result[0] = static_cast<char>(toupper(static_cast<unsigned char>(result[0])));
    return result;
}

std::string upperSnake(const std::string &name) {
    std::string result;
    for (size_t i = 0; i < name.size(); i++) {
        const auto at = [&name](size_t index) { return static_cast<unsigned char>(name[index]); };
        const bool begins = i > 0 && isupper(at(i)) != 0 &&
                            (isupper(at(i - 1)) == 0 || (i + 1 < name.size() && islower(at(i + 1)) != 0));
        result += begins && result.back() != '_' ? "_" : "";
        result += static_cast<char>(toupper(at(i)));
    }
    return result;
}

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
