// Reads a directory of descriptions and looks messages up in it.
#include "common/interface/store.h"

#include <algorithm>
#include <filesystem>

#include "vos/msg_types.h"

namespace iface {

Store::Store(const std::string &directory) {
    std::error_code error;
    std::vector<std::filesystem::path> files;
    for (std::filesystem::directory_iterator entry{directory, error}, end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().extension() == ".toml") {
            files.push_back(entry->path());
        }
    }
    std::ranges::sort(files);
    for (const auto &file : files) {
        Parsed parsed = parseFile(file.string());
        mistakes_.insert(mistakes_.end(), parsed.mistakes.begin(), parsed.mistakes.end());
        if (!parsed.interface) {
            continue;
        }
        if (find(parsed.interface->name) != nullptr) {
            mistakes_.push_back(
                {file.string(), 1, "'" + parsed.interface->name + "' is there already; write another name = \"…\""});
            continue;
        }
        interfaces_.push_back(std::move(*parsed.interface));
    }
}

const Interface *Store::find(std::string_view interface) const {
    const auto found = std::ranges::find(interfaces_, interface, &Interface::name);
    return found != interfaces_.end() ? &*found : nullptr;
}

Known Store::find(const std::string &interface, const std::string &message) const {
    const Interface *found = find(interface);
    return {found, found != nullptr ? found->find(message) : nullptr};
}

Known Store::find(uint32_t type, uint16_t flags, uint32_t word) const {
    const bool reply = (flags & VOS_MSG_FLAG_RESPONSE) != 0;
    const bool procedure = (flags & VOS_MSG_FLAG_SRPC) != 0;
    const bool answered = reply || procedure || (flags & VOS_MSG_FLAG_REQUEST) != 0;
    Known second;
    for (const Interface &each : interfaces_) {
        for (const Message &message : each.messages) {
            if (message.type != type || (message.kind == MessageKind::kProcedure && message.number != word)) {
                continue;
            }
            const Known known{&each, &message, reply && message.isAnswered()};
            if (message.isAnswered() == answered && (message.kind == MessageKind::kProcedure) == procedure) {
                return known;
            }
            second = second ? second : known;
        }
    }
    return second;
}

}  // namespace iface
