// Values out of a description's tables: what is not there as it must be stops with the line and with what to write
// instead.
#pragma once

#define TOML_EXCEPTIONS 0
#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "common/interface/taken_words.h"

namespace iface {

/** A mistake: where, and what to write instead. */
struct Stop {
    int line;
    std::string text;
};

inline int lineOf(const toml::node &node) {
    return static_cast<int>(node.source().begin.line);
}

inline std::string quote(std::string_view text) {
    return "'" + std::string{text} + "'";
}

/** A mistake is a line, whatever stands in the file's words. */
inline std::string oneLine(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return iscntrl(static_cast<unsigned char>(c)) != 0; }, '?');
    return text;
}

inline const toml::table &table(const toml::node &node, std::string_view what) {
    if (const toml::table *found = node.as_table()) {
        return *found;
    }
    throw Stop{lineOf(node), quote(what) + " is no table; write [" + std::string{what} + "]"};
}

inline void refuseTaken(const std::string &name, const std::set<std::string_view> &taken, int line) {
    if (taken.contains(name)) {
        throw Stop{line, quote(name) + " means something in generated code; write another name, like " +
                             quote(name + "Value")};
    }
}

inline void checkName(const std::string &name, int line) {
    if (!isName(name)) {
        throw Stop{line, quote(name) + " is no name; write a letter, then letters, digits and _"};
    }
    refuseTaken(name, kTakenWords, line);
}

inline void knownKeys(const toml::table &where, const std::string &what,
                      std::initializer_list<std::string_view> known) {
    for (const auto &[key, value] : where) {
        if (std::ranges::find(known, key.str()) == known.end()) {
            std::string text = "unknown key " + quote(key.str()) + " in " + what;
            const char *before = "; write one of: ";
            for (const auto each : known) {
                text.append(before).append(each);
                before = ", ";
            }
            throw Stop{static_cast<int>(key.source().begin.line), text};
        }
    }
}

// A text that must or may be there.
inline std::string text(const toml::table &where, std::string_view key, const char *instead) {
    const toml::node *node = where.get(key);
    const auto value = node != nullptr ? node->value_exact<std::string>() : std::nullopt;
    const auto breaks = [](char c) { return iscntrl(static_cast<unsigned char>(c)) != 0; };
    if ((node == nullptr && instead != nullptr) ||
        (node != nullptr && (!value || std::ranges::any_of(*value, breaks)))) {
        throw Stop{node != nullptr ? lineOf(*node) : lineOf(where),
                   quote(key) + (node != nullptr ? " is no text of one line" : " is missing") + "; write " +
                       std::string{key} + " = \"" + (instead != nullptr ? instead : "…") + "\""};
    }
    return value.value_or("");
}

inline std::string doc(const toml::table &where) {
    std::string said = text(where, "doc", "what it is, in one line");
    if (said.find("*/") != std::string::npos || said.find("/*") != std::string::npos) {
        throw Stop{lineOf(*where.get("doc")), "'doc' becomes a comment in C; leave /* and */ out"};
    }
    return said;
}

inline std::optional<int64_t> number(const toml::table &where, std::string_view key, int64_t least, int64_t most) {
    const toml::node *node = where.get(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const auto value = node->value_exact<int64_t>();
    if (!value || *value < least || *value > most) {
        throw Stop{lineOf(*node), quote(key) + " is no number between " + std::to_string(least) + " and " +
                                      std::to_string(most) + "; write " + std::string{key} + " = " +
                                      std::to_string(std::max<int64_t>(least, 0))};
    }
    return value;
}

inline int64_t needed(const toml::table &where, std::string_view key, int64_t least, int64_t most) {
    const auto value = number(where, key, least, most);
    if (!value) {
        throw Stop{lineOf(where), quote(key) + " is missing; write " + std::string{key} + " = " +
                                      std::to_string(std::max<int64_t>(least, 0))};
    }
    return *value;
}

inline void claim(std::set<std::string> &names, const std::string &name, int line) {
    if (!names.insert(name).second) {
        throw Stop{line, quote(name) + " is there already; write another name"};
    }
}

}  // namespace iface
